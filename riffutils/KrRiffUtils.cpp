// The exported queries. All share the same steps around a search, by reader or by path.
#include "KrRiffUtils/KrRiffUtils.h"

#include "base/KrReentrantLock.h"
#include "base/KrRef.h"
#include "reader/KrRiffReader.h"
#include "riffutils/KrPrivateChunkQuery.h"
#include "riffutils/KrReaderCache.h"

#include <optional>

namespace
{
// Keeps other threads away from one of the library's own readers during a query, and the reader alive. A
// reader of another implementation has no lock that could be taken.
class CKrQueryScope
{
public:
    explicit CKrQueryScope(IKrRiffReader* reader)
    {
        CKrReentrantLock* const lock = CKrRiffReader::FindLock(reader);
        if (lock == nullptr)
            return;
        m_reader = CKrRef<IKrRiffReader>::Share(reader);
        m_scope.emplace(*lock);
    }

private:
    CKrRef<IKrRiffReader> m_reader; // null for another implementation; released after the lock was left
    std::optional<CKrBalancedLockScope> m_scope;
};

// Asks for the length under the lock: on a reader that has been closed by then, a walk would keep the lock
// for good.
template <class Search>
int Query(IKrRiffReader* reader, Search&& search)
{
    if (reader == nullptr)
        return 0;
    const CKrQueryScope scope(reader);
    return reader->GetFileLength() != 0 && search(*reader) ? 1 : 0;
}

template <class Search>
int QueryByPath(const wchar_t* path, Search&& search)
{
    const CKrRef<IKrRiffReader> reader = CKrReaderCache::OfProcess().Get(path);
    return Query(reader.Get(), search);
}

auto ScanModeSearch(std::optional<int> flavour, EKrScanMode& scanMode)
{
    return [flavour, &scanMode](IKrRiffReader& reader)
    {
        CKrPrivateChunkQuery chunks(reader);
        return KrPrivateValues::ScanMode(chunks, flavour, scanMode);
    };
}

// The stored values are unsigned; hosts get the same bits as signed ones.
bool Store(bool found, const SKrPixelAspect& aspect, int& horizontal, int& vertical)
{
    if (found)
    {
        horizontal = static_cast<int>(aspect.horizontal);
        vertical = static_cast<int>(aspect.vertical);
    }
    return found;
}

auto AspectSearch(std::optional<int> flavour, int& horizontal, int& vertical)
{
    return [flavour, &horizontal, &vertical](IKrRiffReader& reader)
    {
        CKrPrivateChunkQuery chunks(reader);
        SKrPixelAspect aspect;
        return Store(KrPrivateValues::PixelAspect(chunks, flavour, aspect), aspect, horizontal, vertical);
    };
}
} // namespace

int KrRiffUtils::GetAviScanMode(IKrRiffReader* reader, EKrScanMode& scanMode)
{
    return Query(reader, ScanModeSearch(KrPrivateValues::kAnyFlavour, scanMode));
}

int KrRiffUtils::GetAviScanMode(const wchar_t* path, EKrScanMode& scanMode)
{
    return QueryByPath(path, ScanModeSearch(KrPrivateValues::kAnyFlavour, scanMode));
}

int KrRiffUtils::GetAviScanModeFromPrivateChunk(IKrRiffReader* reader, int flavour, EKrScanMode& scanMode)
{
    return Query(reader, ScanModeSearch(flavour, scanMode));
}

int KrRiffUtils::GetAviScanModeFromPrivateChunk(const wchar_t* path, int flavour, EKrScanMode& scanMode)
{
    return QueryByPath(path, ScanModeSearch(flavour, scanMode));
}

int KrRiffUtils::GetAviPixelAspectRatio(IKrRiffReader* reader, int& horizontal, int& vertical)
{
    return Query(reader, AspectSearch(KrPrivateValues::kAnyFlavour, horizontal, vertical));
}

int KrRiffUtils::GetAviPixelAspectRatio(const wchar_t* path, int& horizontal, int& vertical)
{
    return QueryByPath(path, AspectSearch(KrPrivateValues::kAnyFlavour, horizontal, vertical));
}

int KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(IKrRiffReader* reader, int flavour, int& horizontal,
                                                        int& vertical)
{
    return Query(reader, AspectSearch(flavour, horizontal, vertical));
}

int KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(const wchar_t* path, int flavour, int& horizontal,
                                                        int& vertical)
{
    return QueryByPath(path, AspectSearch(flavour, horizontal, vertical));
}

int KrRiffUtils::ClearCache(const wchar_t* path)
{
    CKrReaderCache& cache = CKrReaderCache::OfProcess();
    if (path != nullptr && *path != L'\0')
        return cache.Drop(path) ? 1 : 0;
    cache.DropAll();
    return 1;
}
