// Open readers by path, kept for the queries that come with a path.
#ifndef KR_RIFFUTILS_KRREADERCACHE_H
#define KR_RIFFUTILS_KRREADERCACHE_H

#include "KrRiffUtils/IKrRiffReader.h"
#include "base/KrReentrantLock.h"
#include "base/KrRef.h"

#include <functional>
#include <map>
#include <string>

// Maps the exact text of a path to an open reader. A file is opened once, whichever threads ask for it, and
// stays open until its entry is dropped and the last query on it has ended.
class CKrReaderCache
{
public:
    static CKrReaderCache& OfProcess();

    // The reader of a path, opened if need be; null when the file cannot be opened. The reference is the
    // caller's.
    [[nodiscard]] CKrRef<IKrRiffReader> Get(const wchar_t* path);

    // Drops one entry; false when there is none.
    bool Drop(const wchar_t* path);
    void DropAll();

    // Drops all when the module stops. Never waits: a lock that is still held then belongs to a thread that
    // the system has ended, and will never be released.
    void ClearAtModuleStop();

private:
    // Guards the map, also while a file is being opened. A reader's own lock may be taken after it.
    CKrReentrantLock m_lock;
    std::map<std::wstring, CKrRef<IKrRiffReader>, std::less<>> m_readers;
};

#endif
