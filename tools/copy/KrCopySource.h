// A file to copy from: which parts are taken, and whether the new file can store them.
#ifndef KR_TOOLS_COPY_KRCOPYSOURCE_H
#define KR_TOOLS_COPY_KRCOPYSOURCE_H

#include "tools/copy/KrClips.h"
#include "tools/output/KrRecording.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KrTool
{
class CKrReport;
struct SKrCopyOptions;

// Frames of a file, counted from 0.
struct SKrFrameRange
{
    uint64_t first = 0;
    std::optional<uint64_t> last; // inclusive; nothing: to the end
};

struct SKrCopySource
{
    SKrClip clip;
    SKrRecordingFormat format;
    uint64_t firstFrame = 0;
    uint64_t endFrame = 0; // after the last one, in the source; empty ones may be left out
};

// Finds the content of the frames. Reports defects of the file, what is left out, and a first frame that
// needs frames before it. Throws CKrToolError for what the new file cannot store and no option leaves out.
SKrCopySource PrepareCopy(const std::string& path, const SKrFrameRange& range, const SKrCopyOptions& options,
                          CKrReport& report, CKrProgress& progress);

// Copies the frames of one file, or some of them, into a new file.
void CopyFrames(const std::string& file, const SKrFrameRange& range, const SKrCopyOptions& options,
                CKrReport& report, CKrProgress& progress);

// Sample frames until a frame of a file of this format; throws CKrToolError when that exceeds 64
// bits.
uint64_t SampleFramesUntil(uint64_t frame, const SKrRecordingFormat& format);

// Whole sample frames that a clip has.
uint64_t SampleFramesOf(const SKrClip& clip, const SKrRecordingFormat& format);
} // namespace KrTool

#endif
