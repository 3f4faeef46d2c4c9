// What a disk may hold after the power went.
#ifndef KR_TESTS_SUPPORT_KRCRASHFILESYSTEM_H
#define KR_TESTS_SUPPORT_KRCRASHFILESYSTEM_H

#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>

namespace KrTest
{
// Passes everything on to another file system and records each write, patch, flush and cut of the files that
// are written, which is one file at a time. A crash keeps what a successful flush has covered: what was done
// before that flush began. Of the rest each sector holds any version that it ever had since, and the file
// ends anywhere between where it ended then and where it was going to. May be used from any thread.
class CKrCrashFileSystem : public IKrFileSystem
{
public:
    explicit CKrCrashFileSystem(IKrFileSystem& inner);
    virtual ~CKrCrashFileSystem();

    static constexpr size_t kSector = 512;

    // Events so far. A crash happens after any number of them.
    [[nodiscard]] size_t Events() const;

    // How many bytes of the file were written, from its start, before the flush that a crash at that moment
    // relies on.
    [[nodiscard]] uint64_t DurableSize(size_t events) const;

    [[nodiscard]] KrBytes Crash(size_t events, std::mt19937_64& random) const;

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override;
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override;
    bool Exists(const wchar_t* path) override;
    bool Delete(const wchar_t* path) override;
    uint32_t BytesPerSector(const wchar_t* folder) override;

    struct SKrRecord; // private to the implementation

private:
    IKrFileSystem& m_inner;
    std::shared_ptr<SKrRecord> m_record;
};
} // namespace KrTest

#endif
