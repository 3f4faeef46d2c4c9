#include "riffutils/KrReaderCache.h"

#include "KrRiffUtils/KrRiffUtils.h"
#include "core/KrImmortal.h"

#include <string_view>

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

    IKrRiffReader* created = nullptr;
    if (KrCreateRiffReader(&created) == 0)
        return {};
    CKrRef<IKrRiffReader> reader = CKrRef<IKrRiffReader>::Adopt(created);
    if (reader->Open(path) == 0)
    {
        reader->Close();
        return {};
    }
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
