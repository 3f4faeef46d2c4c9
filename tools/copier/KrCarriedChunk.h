// One data chunk that a copy carries. A file has millions of them, so that they are small.
#ifndef KR_TOOLS_COPIER_KRCARRIEDCHUNK_H
#define KR_TOOLS_COPIER_KRCARRIEDCHUNK_H

#include "format/KrFourCC.h"

#include <cstdint>
#include <vector>

namespace KrTool
{
struct SKrCarriedChunk
{
    static constexpr uint8_t kKeyFrame = 1;
    static constexpr uint8_t kNotIndexed = 2; // as palette changes are by most writers
    static constexpr uint64_t kMade = uint64_t{1}
                                      << 63; // in `position`: bytes of no file, all of the low value

    uint64_t position = 0; // of the payload
    uint32_t size = 0;
    uint16_t kind = 0; // the last two characters of the id
    uint8_t stream = 0;
    uint8_t flags = 0;

    [[nodiscard]] bool IsKeyFrame() const { return (flags & kKeyFrame) != 0; }
    [[nodiscard]] bool IsIndexed() const { return (flags & kNotIndexed) == 0; }

    // Whether it takes time of its stream.
    [[nodiscard]] bool IsPaletteChange() const { return kind == KrFourCC("00pc") >> 16; }

    [[nodiscard]] uint32_t Id() const
    {
        const auto digit = [](unsigned value)
        {
            return uint32_t{'0'} + value;
        };
        return digit(stream / 10U) | digit(stream % 10U) << 8 | uint32_t{kind} << 16;
    }
};
static_assert(sizeof(SKrCarriedChunk) == 16);

// In the order of the file.
using CarriedChunks = std::vector<SKrCarriedChunk>;
} // namespace KrTool

#endif
