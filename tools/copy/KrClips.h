// Frames and sound of files, written one file after the other into a new one.
#ifndef KR_TOOLS_COPY_KRCLIPS_H
#define KR_TOOLS_COPY_KRCLIPS_H

#include "tools/avi/KrInputFile.h"
#include "tools/avi/KrStreamChunks.h"
#include "tools/output/KrRecording.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KrTool
{
class CKrProgress;

struct SKrClip
{
    std::shared_ptr<const CKrByteSource> source;
    Chunks frames;
    Chunks audio;
    uint64_t silence = 0;   // bytes after the audio
    uint64_t turnedRow = 0; // bytes of a row to reverse the rows of whole frames; 0: unchanged
};

// Frames and sound are copied unchanged and in this order, except for reversed rows.
SKrRecordingResult WriteClips(std::vector<SKrClip> clips, const SKrRecordingFormat& format,
                              const std::string& output, bool force, CKrProgress& progress);
} // namespace KrTool

#endif
