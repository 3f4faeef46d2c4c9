// Tags of sound formats, as a WAVEFORMATEX has them.
#ifndef KR_TOOLS_INPUT_KRFORMATTAGS_H
#define KR_TOOLS_INPUT_KRFORMATTAGS_H

#include <cstdint>

namespace KrTool
{
inline constexpr uint16_t kTagPcm = 1;
inline constexpr uint16_t kTagFloat = 3;
inline constexpr uint16_t kTagALaw = 6;
inline constexpr uint16_t kTagMuLaw = 7;
inline constexpr uint16_t kTagExtensible = 0xFFFE; // the tag stands in its sub-format
} // namespace KrTool

#endif
