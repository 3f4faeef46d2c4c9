// Numbers as files store them: lowest byte first.
#ifndef KR_TOOLS_INPUT_KRLITTLEENDIAN_H
#define KR_TOOLS_INPUT_KRLITTLEENDIAN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KrTool
{
// A number of `bytes` bytes at an offset; what lies behind the data's end reads as zero.
inline uint64_t GetLe(std::span<const uint8_t> data, size_t offset, size_t bytes)
{
    uint64_t value = 0;
    for (size_t index = 0; index < bytes && offset + index < data.size(); ++index)
        value |= uint64_t{data[offset + index]} << (8 * index);
    return value;
}

inline uint16_t GetLe16(std::span<const uint8_t> data, size_t offset)
{
    return static_cast<uint16_t>(GetLe(data, offset, 2));
}

inline uint32_t GetLe32(std::span<const uint8_t> data, size_t offset)
{
    return static_cast<uint32_t>(GetLe(data, offset, 4));
}

inline void PutLe(std::vector<uint8_t>& out, uint64_t value, size_t bytes)
{
    for (size_t index = 0; index < bytes; ++index)
        out.push_back(static_cast<uint8_t>(value >> (8 * index)));
}
} // namespace KrTool

#endif
