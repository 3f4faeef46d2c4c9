// What a DV frame says of itself, in the packs of its blocks.
#ifndef KR_TOOLS_INFO_KRDVFRAME_H
#define KR_TOOLS_INFO_KRDVFRAME_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace KrTool
{
inline constexpr size_t kDvHeadSize = 480; // of a frame: its header, subcode and VAUX blocks

struct SKrDvFacts
{
    uint32_t lines = 0;         // of the picture: 480 or 576
    std::optional<bool> isWide; // 16:9, not 4:3
    EKrScanMode scan = EKrScanMode::Unknown;
};

// Nothing for bytes that do not begin a DV frame.
std::optional<SKrDvFacts> ReadDvFrame(std::span<const uint8_t> head);
} // namespace KrTool

#endif
