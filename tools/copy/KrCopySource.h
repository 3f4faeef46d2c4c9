// A file whose frames and sound are copied into a new one: what of it is taken, and whether the new file can
// carry it.
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
    std::vector<uint8_t> moreVideoFormat; // which the new file does not carry
    std::vector<uint8_t> moreAudioFormat;
    uint64_t firstFrame = 0;
    uint64_t endFrame = 0; // behind the last one, in the source; some of them may be left out as empty
};

// Finds what belongs to the frames. The report learns what is wrong with the file, what is left out, and
// where a first frame needs frames before it. Throws CKrToolError for what the new file cannot carry and no
// option leaves out.
SKrCopySource PrepareCopy(const std::string& path, const SKrFrameRange& range, const SKrCopyOptions& options,
                          CKrReport& report, CKrProgress& progress);

// Sample frames until a frame of a file of this format; throws CKrToolError when that is no number of 64
// bits.
uint64_t SampleFramesUntil(uint64_t frame, const SKrRecordingFormat& format);

// Whole sample frames that a clip has.
uint64_t SampleFramesOf(const SKrClip& clip, const SKrRecordingFormat& format);
} // namespace KrTool

#endif
