// Which frames stand alone, as the indexes flag them. The reader's index operations do not tell.
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

// One value for each frame: whether it is a key frame. Frames that no index flags count as key frames; so do
// all of them when the index flags none as one, as some programs write it.
std::vector<bool> KeyFrames(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t stream,
                            const Chunks& frames);

// What a note says where frames that are no key frames go into a new file: "2 frames of stream 0 depend ...".
std::string DependingText(uint64_t frames, uint32_t stream);
} // namespace KrTool

#endif
