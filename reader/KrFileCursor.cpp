#include "reader/KrFileCursor.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr size_t kHeadSize = 8192;       // holds the whole header list of most files
constexpr size_t kSmallestWindow = 512;  // after a jump: this header, and those right after it
constexpr size_t kLargestWindow = 65536; // a run of small chunks
constexpr size_t kSmallestRetry = 512;   // around unreadable bytes: one sector
constexpr uint64_t kClose = 4096;        // reads up to a page apart count as consecutive
constexpr int kJumpsWithWindow = 16;     // after this many, each header is read alone

// Index of the first byte other than zero, or `count`.
size_t FirstNonZero(const uint8_t* bytes, size_t count)
{
    size_t index = 0;
    for (uint64_t words[8]; index + sizeof words <= count; index += sizeof words)
    {
        std::memcpy(words, bytes + index, sizeof words);
        if ((words[0] | words[1] | words[2] | words[3] | words[4] | words[5] | words[6] | words[7]) != 0)
            break;
    }
    while (index < count && bytes[index] == 0)
        ++index;
    return index;
}
} // namespace

void CKrFileCursor::Attach(IKrFile& file, uint64_t size)
{
    Detach();
    m_file = &file;
    m_size = size;
}

void CKrFileCursor::Detach()
{
    *this = CKrFileCursor();
}

void CKrFileCursor::Resize(uint64_t size)
{
    m_size = size;
    m_head = SWindow();
    m_moving = SWindow();
}

size_t CKrFileCursor::Read(void* buffer, size_t count)
{
    if (m_position >= m_size)
        return 0;
    count = static_cast<size_t>(std::min<uint64_t>(count, m_size - m_position));
    size_t got = 0;
    if (const SWindow* const window = WindowFor(count))
    {
        const size_t offset = static_cast<size_t>(m_position - window->start);
        got = std::min(count, window->bytes.size() - offset);
        std::copy_n(window->bytes.begin() + static_cast<ptrdiff_t>(offset), got,
                    static_cast<uint8_t*>(buffer));
    }
    else
    {
        const SKrTransfer read = m_file->ReadAt(m_position, buffer, count);
        got = read.Failed() ? 0 : read.bytes;
    }
    m_lastRead = m_position;
    m_position += got;
    return got;
}

std::span<const uint8_t> CKrFileCursor::ViewElsewhere(size_t count)
{
    return {m_viewed, Read(m_viewed, std::min(count, kMostViewed))};
}

// A window that starts at or before the position, filled with the bytes that could be read; null when there
// are none, or the read is to be done alone.
const CKrFileCursor::SWindow* CKrFileCursor::WindowFor(size_t count)
{
    if (m_head.bytes.empty() && m_position < kHeadSize && !Fill(m_head, 0, kHeadSize))
        m_head = SWindow();
    if (m_head.Holds(m_position, count))
        return &m_head;
    if (m_moving.Holds(m_position, count))
    {
        m_jumps = 0;
        return &m_moving;
    }
    const size_t size = std::max(count, NextWindowSize());
    return size > count && Fill(m_moving, m_position, size) ? &m_moving : nullptr;
}

size_t CKrFileCursor::NextWindowSize()
{
    const bool follows = m_position >= m_lastRead && m_position - m_lastRead <= kClose;
    if (!follows)
    {
        m_jumps = std::min(m_jumps + 1, kJumpsWithWindow + 1);
        return m_jumps > kJumpsWithWindow ? 0 : kSmallestWindow;
    }
    m_jumps = 0;
    return std::clamp(2 * m_moving.bytes.size(), kSmallestWindow, kLargestWindow);
}

// Reads `count` bytes, or what the file holds of them. False after a failed read; the window is then empty.
bool CKrFileCursor::Fill(SWindow& window, uint64_t position, size_t count)
{
    count = static_cast<size_t>(std::min<uint64_t>(count, m_size - position));
    window.bytes.resize(count); // first: when out of memory, the window keeps its bytes and their position
    window.start = position;
    const SKrTransfer read = m_file->ReadAt(position, window.bytes.data(), count);
    window.bytes.resize(read.Failed() ? 0 : read.bytes);
    return !read.Failed();
}

uint64_t CKrFileCursor::FindNonZero(uint64_t from, uint64_t limit)
{
    const bool isKnown = from >= m_zeros.start && from < m_zeros.end;
    const uint64_t start = isKnown ? m_zeros.start : from;
    const uint64_t known = isKnown ? m_zeros.end : from;
    const uint64_t found = PassZeros(known, limit);
    if (m_remembersZeros && (isKnown || found - start > m_zeros.end - m_zeros.start))
        m_zeros = {start, std::max(found, known)};
    return found;
}

// FindNonZero by reading.
uint64_t CKrFileCursor::PassZeros(uint64_t from, uint64_t limit)
{
    limit = std::min(limit, m_size);
    size_t blockSize = kLargestWindow;
    while (from < limit)
    {
        // Blocks end at multiples of their size, so that retries narrow down to whole bad sectors.
        if (!m_moving.Holds(from, 1) &&
            !Fill(m_moving, from, blockSize - static_cast<size_t>(from % blockSize)))
        {
            blockSize /= 2;
            if (blockSize < kSmallestRetry)
                return from;
            continue;
        }
        if (!m_moving.Holds(from, 1))
            return from; // the file is shorter than it was
        const size_t offset = static_cast<size_t>(from - m_moving.start);
        const size_t held = m_moving.bytes.size() - offset;
        const size_t zeros = FirstNonZero(m_moving.bytes.data() + offset, held);
        from += zeros;
        if (zeros < held)
            return std::min(from, limit);
    }
    return limit;
}
