// The options of kravi extract.
#ifndef KR_TOOLS_VERBS_KREXTRACTOPTIONS_H
#define KR_TOOLS_VERBS_KREXTRACTOPTIONS_H

#include "tools/avi/KrFrameRange.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbOptions.h"
#include "tools/input/KrFramePattern.h"

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
struct SKrExtractOptions
{
    std::string file;
    std::string video; // pattern or name; empty: no video
    std::string y4m;   // name, in place of video
    std::string audio; // name; empty: no audio
    std::optional<uint64_t> videoStream;
    std::optional<uint64_t> audioStream;
    SKrRangeOptions range;
    std::optional<uint64_t> from; // frames of the range
    std::optional<uint64_t> to;   // inclusive
    bool force = false;
    bool follow = false;
};

inline void AddExtractOptions(CKrVerbOptions& verb, SKrExtractOptions& options)
{
    verb.AddText("--video", options.video, "PATTERN", "Write video frames");
    verb.AddText("--y4m", options.y4m, "NAME", "Write uncompressed pictures as YUV4MPEG2");
    verb.AddText("--audio", options.audio, "NAME", "Write audio as a WAVE file (RF64 above 4 GiB)");
    verb.AddNumber("--video-stream", options.videoStream, "Number of another video stream");
    verb.AddNumber("--audio-stream", options.audioStream, "Number of another audio stream");
    AddRangeOptions(verb, options.range);
    verb.AddSwitch("--follow", options.follow, "Follow a recording until it ends");
    verb.AddSwitch("--force", options.force, "Replace existing files");
}

// --y4m writes the same frames as --video, into one file.
inline void TakePictures(SKrExtractOptions& options)
{
    if (!options.video.empty() || options.follow)
        throw CKrToolError({}, "--y4m goes neither with --video nor with --follow");
    if (CKrFramePattern(options.y4m).IsNumbered())
        throw CKrToolError({}, "--y4m writes one file: its name has no %d");
    options.video = options.y4m;
}
} // namespace KrTool

#endif
