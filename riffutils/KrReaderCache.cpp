#include "riffutils/KrReaderCache.h"

#include "base/KrImmortal.h"
#include "platform/KrPlatform.h"
#include "reader/KrRiffReader.h"

#include <new>
#include <string_view>

namespace
{
// A reader with the file open; null when that fails.
CKrRef<IKrRiffReader> OpenReader(const wchar_t* path)
{
    CKrRef<IKrRiffReader> reader;
    try
    {
        reader = CKrRef<IKrRiffReader>::Adopt(new CKrRiffReader(KrPlatform::FileSystem()));
    }
    catch (const std::bad_alloc&)
    {
        return {};
    }
    if (reader->Open(path) == 0)
    {
        reader->Close();
        return {};
    }
    return reader;
}
} // namespace

CKrReaderCache& CKrReaderCache::OfProcess()
{
    static CKrImmortal<CKrReaderCache> cache;
    return cache.Get();
}

CKrRef<IKrRiffReader> CKrReaderCache::Get(const wchar_t* path)
{
    if (path == nullptr || *path == L'\0')
        return {};
    CKrLockScope scope(m_lock);
    if (const auto cached = m_readers.find(std::wstring_view(path)); cached != m_readers.end())
        return CKrRef<IKrRiffReader>::Share(cached->second.Get());

    CKrRef<IKrRiffReader> reader = OpenReader(path);
    if (!reader)
        return {};
    const auto inserted = m_readers.emplace(path, std::move(reader)).first;
    return CKrRef<IKrRiffReader>::Share(inserted->second.Get());
}

bool CKrReaderCache::Drop(const wchar_t* path)
{
    CKrLockScope scope(m_lock);
    const auto cached = m_readers.find(std::wstring_view(path));
    if (cached == m_readers.end())
        return false;
    m_readers.erase(cached);
    return true;
}

void CKrReaderCache::DropAll()
{
    CKrLockScope scope(m_lock);
    while (!m_readers.empty())
        m_readers.erase(m_readers.begin());
}

void CKrReaderCache::ClearAtModuleStop()
{
    CKrTryLockScope scope(m_lock);
    if (scope.Entered())
        DropAll();
}
