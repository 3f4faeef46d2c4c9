// Buffered reads of a file: consecutive ones become few and large, those that jump from header to header
// stay small.
#ifndef KR_TOOLS_AVI_KRFILEWINDOW_H
#define KR_TOOLS_AVI_KRFILEWINDOW_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace KrTool
{
class CKrByteSource;

class CKrFileWindow
{
public:
    static constexpr size_t kLargest = size_t{1} << 18;

    explicit CKrFileWindow(const CKrByteSource& file) : m_file(file) {}

    // Of the same file, with bytes of its own.
    [[nodiscard]] CKrFileWindow Another() const { return CKrFileWindow(m_file); }

    // Exactly `count` bytes from a position on, or fewer at the end of the file. Valid until the next call.
    // `count` is at most kLargest. Throws CKrToolError when the file cannot be read.
    std::span<const uint8_t> At(uint64_t position, size_t count);

    // The same with the buffered bytes after them.
    std::span<const uint8_t> From(uint64_t position, size_t count);

private:
    static constexpr size_t kSmallest = 4096;

    void Load(uint64_t position, size_t count);
    [[nodiscard]] std::span<const uint8_t> Bytes() const { return {m_bytes.get(), m_size}; }

    const CKrByteSource& m_file;
    uint64_t m_position = 0;
    size_t m_reach = kSmallest;
    std::unique_ptr<uint8_t[]> m_bytes; // not cleared: each load fills all that it uses
    size_t m_capacity = 0;
    size_t m_size = 0;
};

// The entries of a table, as far as the file has them. Calls `take` with the bytes of each and their position
// while it returns true; `take` must not use the window.
template <class TAKE>
void ForEachEntry(CKrFileWindow& window, uint64_t position, uint64_t count, size_t entrySize, TAKE&& take)
{
    const uint64_t atOnce = CKrFileWindow::kLargest / entrySize;
    while (count != 0)
    {
        const uint64_t wanted = std::min(count, atOnce);
        const std::span<const uint8_t> block = window.At(position, static_cast<size_t>(wanted) * entrySize);
        const size_t whole = block.size() / entrySize;
        for (size_t entry = 0; entry < whole; ++entry)
        {
            if (!take(block.subspan(entry * entrySize, entrySize), position + entry * entrySize))
                return;
        }
        if (whole < wanted)
            return; // the file ends here
        position += wanted * entrySize;
        count -= wanted;
    }
}
} // namespace KrTool

#endif
