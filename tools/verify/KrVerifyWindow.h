// The bytes of a file as verifying wants them: reads that follow each other become few and large ones, reads
// that jump from header to header stay small.
#ifndef KR_TOOLS_VERIFY_KRVERIFYWINDOW_H
#define KR_TOOLS_VERIFY_KRVERIFYWINDOW_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KrTool
{
class CKrAviFile;

class CKrVerifyWindow
{
public:
    static constexpr size_t kSmallest = 4096;
    static constexpr size_t kLargest = size_t{1} << 18;

    explicit CKrVerifyWindow(const CKrAviFile& file) : m_file(file) {}

    // Exactly `count` bytes from a position on, or fewer at the end of the file. Valid until the next call.
    // `count` is at most kLargest. Throws CKrToolError when the file cannot be read.
    std::span<const uint8_t> At(uint64_t position, size_t count);

    // The same with whatever else is at hand behind them.
    std::span<const uint8_t> From(uint64_t position, size_t count);

    uint64_t Length() const;

private:
    void Load(uint64_t position, size_t count);

    const CKrAviFile& m_file;
    uint64_t m_position = 0;
    size_t m_reach = kSmallest;
    std::vector<uint8_t> m_bytes;
};
} // namespace KrTool

#endif
