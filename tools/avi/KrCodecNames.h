// Codecs in words.
#ifndef KR_TOOLS_AVI_KRCODECNAMES_H
#define KR_TOOLS_AVI_KRCODECNAMES_H

#include <cstdint>
#include <string_view>

namespace KrTool
{
// Empty for a codec that is not known. `compression`: of the picture's format, or the handler of its stream.
std::string_view PictureCodecName(uint32_t compression);
std::string_view SoundCodecName(uint16_t formatTag);

// Whether the sound consists of packets that are told apart only by their chunks: without these, as in a WAVE
// file, it cannot be decoded.
bool NeedsItsChunks(uint16_t formatTag);

// Whether frames are those of DV, which describe themselves.
bool IsDv(uint32_t fourCc);
} // namespace KrTool

#endif
