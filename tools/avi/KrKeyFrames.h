// Which frames are key frames according to the indexes.
#ifndef KR_TOOLS_AVI_KRKEYFRAMES_H
#define KR_TOOLS_AVI_KRKEYFRAMES_H

#include "tools/avi/KrStreamChunks.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
class CKrAviFile;
struct SKrAviFacts;

// Whether each frame is a key frame. Frames without an entry count as key frames; so do all frames of an
// index without key frames, as some programs write it.
std::vector<bool> KeyFrames(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t stream,
                            const Chunks& frames);

// A note for non-key frames copied to a new file: "2 frames of stream 0 depend ...".
std::string DependingText(uint64_t frames, uint32_t stream);
} // namespace KrTool

#endif
