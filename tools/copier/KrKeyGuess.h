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

// How the frames of a codec show which of them can be decoded alone.
enum class EKrKeyRule : uint8_t
{
    Unknown,   // they do not
    All,       // each of them can
    Vop,       // MPEG-4: by the type in its header
    Picture,   // MPEG-1 and 2: likewise
    Slice,     // H.264: by the type of its first slice
    FirstByte, // VP8
};

[[nodiscard]] EKrKeyRule KeyRuleOf(uint32_t codec);

// Whether the rule takes bytes of each frame.
[[nodiscard]] constexpr bool NeedsBytes(EKrKeyRule rule)
{
    return rule != EKrKeyRule::Unknown && rule != EKrKeyRule::All;
}

// Nothing where the codec or these bytes do not show it.
[[nodiscard]] std::optional<bool> IsKeyByItsBytes(EKrKeyRule rule, std::span<const uint8_t> bytes);
[[nodiscard]] std::optional<bool> IsKeyByItsBytes(uint32_t codec, std::span<const uint8_t> bytes);
} // namespace KrTool

#endif
