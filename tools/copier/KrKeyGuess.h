// Whether a frame that no index names can be decoded alone, from its first bytes.
#ifndef KR_TOOLS_COPIER_KRKEYGUESS_H
#define KR_TOOLS_COPIER_KRKEYGUESS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace KrTool
{
inline constexpr size_t kBytesForKey = 512; // of a frame, that it takes

// Nothing for codecs whose frames do not say so, or not there.
[[nodiscard]] std::optional<bool> IsKeyByItsBytes(uint32_t codec, std::span<const uint8_t> bytes);
} // namespace KrTool

#endif
