// Writes a file on a thread of its own in large blocks, while the caller reads what comes next; large ranges
// of other files are copied by the system.
#ifndef KR_TOOLS_COPIER_KRBLOCKWRITER_H
#define KR_TOOLS_COPIER_KRBLOCKWRITER_H

#include "platform/KrSync.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

class CKrRangeSource;

namespace KrTool
{
class CKrOutputFile;
class CKrProgress;

// All operations are for one thread, and throw what writing threw.
class CKrBlockWriter
{
public:
    // Both must outlive it. Progress is that of the bytes written.
    CKrBlockWriter(CKrOutputFile& output, CKrProgress& progress);
    ~CKrBlockWriter(); // drops what is not written
    CKrBlockWriter(const CKrBlockWriter&) = delete;
    CKrBlockWriter& operator=(const CKrBlockWriter&) = delete;

    // Free bytes at the end of what was put, at least one. They become part of the file with Commit.
    std::span<uint8_t> Free();
    void Commit(size_t count);

    void Put(std::span<const uint8_t> bytes);

    // Puts a range of a file. Returns how many bytes: fewer, or none, where the system cannot copy it.
    [[nodiscard]] uint64_t PutFrom(const CKrRangeSource& source, uint64_t position, uint64_t count);

    // Bytes put so far.
    [[nodiscard]] uint64_t Position() const { return m_position; }

    // Waits until everything is written.
    void Finish();

private:
    struct SBlock
    {
        std::unique_ptr<uint8_t[]> bytes;
        size_t used = 0;
    };

    static constexpr size_t kBlockBytes = size_t{4} << 20;
    static constexpr size_t kBlocks = 4;

    void Send();
    void TakeFreeBlock();
    void WriteAll();
    template <class PREDICATE>
    void WaitUntil(std::unique_lock<CKrMutex>& lock, PREDICATE holds);
    void Run();

    CKrOutputFile& m_output;
    CKrProgress& m_progress;
    SBlock m_current;
    uint64_t m_position = 0;

    CKrMutex m_mutex; // guards the next six
    CKrCondition m_changed;
    std::vector<SBlock> m_free;
    std::deque<SBlock> m_waiting; // the first one is being written
    uint64_t m_written = 0;
    bool m_isEnding = false;
    std::exception_ptr m_failure;

    std::thread m_thread;
};
} // namespace KrTool

#endif
