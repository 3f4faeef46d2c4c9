// A file system around another that counts the calls.
#ifndef KR_TESTS_SUPPORT_KRCOUNTINGFILESYSTEM_H
#define KR_TESTS_SUPPORT_KRCOUNTINGFILESYSTEM_H

#include "platform/KrPlatform.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace KrTest
{
// One read: the request and its result.
struct SKrReadCall
{
    uint64_t position = 0;
    size_t count = 0; // requested bytes
    size_t bytes = 0; // bytes read

    bool operator==(const SKrReadCall&) const = default;
};

// A read that gets all it asks for.
inline SKrReadCall Exactly(uint64_t position, size_t count)
{
    return {position, count, count};
}

struct SKrFileCalls
{
    uint64_t opens = 0;     // calls to OpenForReading, refused ones included
    uint64_t openFiles = 0; // files currently open
    uint64_t sizes = 0;     // calls to Size
    uint64_t seeks = 0;     // calls to Seek
    uint64_t reads = 0;     // calls to ReadAt
    uint64_t bytes = 0;     // bytes returned by all reads
    uint64_t shares = 0;    // calls to ShareWithReadersOnly

    uint64_t creates = 0; // calls to CreateForWriting, refused ones included
    uint64_t writes = 0;  // calls to WriteAt
    uint64_t written = 0; // bytes of all writes
    uint64_t flushes = 0; // calls to Flush
    uint64_t maps = 0;    // calls to Map
    uint64_t cuts = 0;    // calls to CutTo
    uint64_t reservations = 0;
};

// Counts from any thread. The wrapped file system must outlive the files opened here; the counts live as long
// as anything that updates them.
class CKrCountingFileSystem : public IKrFileSystem
{
public:
    explicit CKrCountingFileSystem(IKrFileSystem& inner);
    virtual ~CKrCountingFileSystem();

    [[nodiscard]] SKrFileCalls Calls() const;

    // The reads since the last Reset, in the order in which they ended.
    [[nodiscard]] std::vector<SKrReadCall> Reads() const;

    // Sets everything to zero except the number of open files.
    void Reset();

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override;
    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override;
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override;
    SKrChangedFile OpenForChanging(const wchar_t* path) override; // both sides of it count as files
    bool Exists(const wchar_t* path) override { return m_inner.Exists(path); }
    bool Delete(const wchar_t* path) override { return m_inner.Delete(path); }
    uint32_t BytesPerSector(const wchar_t* folder) override { return m_inner.BytesPerSector(folder); }

    struct SKrTally; // private to the implementation

private:
    IKrFileSystem& m_inner;
    std::shared_ptr<SKrTally> m_tally;
};
} // namespace KrTest

#endif
