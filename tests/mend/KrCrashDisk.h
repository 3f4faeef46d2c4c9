// Files and their names as a disk may hold them after the power went.
#ifndef KR_TESTS_MEND_KRCRASHDISK_H
#define KR_TESTS_MEND_KRCRASHDISK_H

#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>

namespace KrTest
{
// Records writes, cuts and flushes of files and of names, in one order over all files. A crash keeps what a
// flush of the same file has covered. Of the rest each sector holds any version that it ever had since, the
// file ends anywhere between its smallest and largest size since, and a name that was not flushed is there
// or not. For one thread.
class CKrCrashDisk : public IKrFileSystem
{
public:
    using Files = std::map<std::wstring, KrBytes>;

    explicit CKrCrashDisk(const Files& files); // which are on the disk

    static constexpr size_t kSector = 512;

    // Events so far. A crash happens after any number of them.
    [[nodiscard]] size_t Events() const;
    [[nodiscard]] Files Crash(size_t events, std::mt19937_64& random) const;

    [[nodiscard]] Files Now() const;

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override;
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override;
    SKrChangedFile OpenForChanging(const wchar_t* path) override;
    SKrFlushOutcome FlushName(const wchar_t* path) override;
    bool Exists(const wchar_t* path) override;
    bool Delete(const wchar_t* path) override;
    uint32_t BytesPerSector(const wchar_t*) override { return kSector; }

    struct SKrLog; // private to the implementation

    virtual ~CKrCrashDisk();

private:
    CKrMemoryFileSystem m_memory;
    std::shared_ptr<SKrLog> m_log;
};
} // namespace KrTest

#endif
