// The content of a file in memory, with holes of zeros that cost nothing.
#ifndef KR_TESTS_SUPPORT_KRFILECONTENT_H
#define KR_TESTS_SUPPORT_KRFILECONTENT_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace KrTest
{
using KrBytes = std::vector<uint8_t>;

// Bytes at positions; everything between them up to the size is zero. A file of many gigabytes stores only
// the bytes that were set. Converts from plain bytes, so that both are accepted as content.
class CKrFileContent
{
public:
    CKrFileContent() = default;
    CKrFileContent(KrBytes bytes); // implicit on purpose

    [[nodiscard]] uint64_t Size() const { return m_size; }

    // Truncates the content or extends it with a hole.
    void Resize(uint64_t size);

    void Append(std::span<const uint8_t> bytes) { Put(m_size, bytes); }
    void AppendHole(uint64_t count) { Resize(m_size + count); }

    // Overwrites bytes at a position; extends the content if they reach past its end.
    void Put(uint64_t position, std::span<const uint8_t> bytes);

    // The same for a 32-bit value, lowest byte first.
    void PutU32(uint64_t position, uint32_t value);

    // Copies up to `count` bytes from a position and returns how many exist before the end.
    size_t Read(uint64_t position, void* buffer, size_t count) const;

    // The bytes of a range, which must lie inside the content.
    [[nodiscard]] KrBytes Range(uint64_t position, size_t count) const;

    // All bytes, holes included. Throws std::length_error above 256 MiB.
    [[nodiscard]] KrBytes ToBytes() const;

    // The stored parts, by position. They do not overlap.
    [[nodiscard]] const std::map<uint64_t, KrBytes>& Extents() const { return m_extents; }

private:
    std::map<uint64_t, KrBytes> m_extents;
    uint64_t m_size = 0;
};
} // namespace KrTest

#endif
