// Where the reader stands in its open file, with a small read-ahead for the many short header reads.
#ifndef KR_READER_KRFILECURSOR_H
#define KR_READER_KRFILECURSOR_H

#include "platform/KrPlatform.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// A position in an open file. Not for use from two threads at once; the reader's lock guards it.
//
// Bytes come from two windows: the head of the file, to which every parse and walk returns, and a moving
// one that grows while reads follow each other closely and stays small while they jump; long rows of
// jumps use none. A window that cannot be filled because of unreadable bytes does not fail a read whose own
// bytes are good.
class CKrFileCursor
{
public:
    // Starts at position 0 of a file that the caller owns and keeps until Detach.
    void Attach(IKrFile& file, uint64_t size);
    void Detach();

    // The file has this size now; what was read ahead is read again. The position stays.
    void Resize(uint64_t size);

    uint64_t Size() const { return m_size; } // 0 when detached
    uint64_t Position() const { return m_position; }
    void SeekTo(uint64_t position) { m_position = position; }

    // Reads up to `count` bytes, a header's worth, and moves past them. Returns how many were read: fewer at
    // the end of the file, none after a failure.
    [[nodiscard]] size_t Read(void* buffer, size_t count);

    // The same for at most kMostViewed bytes, without a copy; they stay until the next operation.
    [[nodiscard]] std::span<const uint8_t> View(size_t count)
    {
        if (!m_moving.Holds(m_position, count))
            return ViewElsewhere(count);
        const uint8_t* const bytes = m_moving.bytes.data() + (m_position - m_moving.start);
        m_jumps = 0;
        m_lastRead = m_position;
        m_position += count;
        return {bytes, count};
    }
    static constexpr size_t kMostViewed = 16;

    // Position of the first byte other than zero in [from, limit), or `limit` when there is none. Bytes
    // that cannot be read end the search.
    [[nodiscard]] uint64_t FindNonZero(uint64_t from, uint64_t limit);

    // While one of these exists, FindNonZero remembers the longest run of zeros that it passed, since an open
    // passes a run more than once. Later walks and searches look again: zeros may be overwritten.
    class CZeroMemory
    {
    public:
        explicit CZeroMemory(CKrFileCursor& cursor) : m_cursor(cursor) { m_cursor.m_remembersZeros = true; }
        ~CZeroMemory()
        {
            m_cursor.m_remembersZeros = false;
            m_cursor.m_zeros = {};
        }
        CZeroMemory(const CZeroMemory&) = delete;
        CZeroMemory& operator=(const CZeroMemory&) = delete;

    private:
        CKrFileCursor& m_cursor;
    };

private:
    struct SWindow
    {
        uint64_t start = 0;
        std::vector<uint8_t> bytes;

        bool Holds(uint64_t position, size_t count) const
        {
            return position >= start && position - start <= bytes.size() &&
                   bytes.size() - (position - start) >= count;
        }
    };

    struct SRun
    {
        uint64_t start = 0;
        uint64_t end = 0;
    };

    std::span<const uint8_t> ViewElsewhere(size_t count);
    const SWindow* WindowFor(size_t count);
    size_t NextWindowSize();
    [[nodiscard]] uint64_t PassZeros(uint64_t from, uint64_t limit);
    [[nodiscard]] bool Fill(SWindow& window, uint64_t position, size_t count);

    IKrFile* m_file = nullptr;
    uint64_t m_size = 0;
    uint64_t m_position = 0;
    uint64_t m_lastRead = 0; // position of the previous read
    int m_jumps = 0;         // consecutive
    SWindow m_head;
    SWindow m_moving;
    uint8_t m_viewed[kMostViewed] = {}; // bytes viewed outside of the moving window
    bool m_remembersZeros = false;
    SRun m_zeros; // the longest run, while it is remembered
};

#endif
