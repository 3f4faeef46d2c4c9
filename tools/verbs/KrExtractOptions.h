// The help and the options of kravi extract.
#ifndef KR_TOOLS_VERBS_KREXTRACTOPTIONS_H
#define KR_TOOLS_VERBS_KREXTRACTOPTIONS_H

#include "tools/avi/KrFrameRange.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/input/KrFramePattern.h"

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
inline const SKrVerbHelp kExtractHelp = {
    "extract",
    "Write frames and audio to files, unchanged",
    {
        R"(PATTERN: a name with one %d or %0Nd for the frame number writes a file for each frame; a name without
        it, one file with all frames; %% is a percent sign. Frames count from 0. A chunk without data, a
        repeated frame, becomes an empty file.)",
        R"(With --from or --to, audio is cut to the same time: exact to the sample for uncompressed audio, in
        whole blocks or chunks for compressed audio. Where the headers start the streams at different times
        (see info), the extracted sound is what plays with the frames.)",
        kWhatPlacesAre,
        R"(--y4m writes one file that other programs read from a pipe: uncompressed pictures in the layouts I420, YV12, NV12,
        YUY2, UYVY, Y800 and v210 as they are; bitmaps of 8, 16, 24 and 32 bits converted to BT.601 without
        subsampling.)",
        R"(The name - is the standard output, for --video with all frames in one file, --y4m or --audio; there is no report
        then, and findings go to the error stream.)",
        "Frames are written before the sound. Complete files are kept when a later one fails.",
        R"(--follow writes the frames of a recording as they come, until it ends or the frame of --to is there, and
        its sound then. Frames of recordings without an index, as some programs make them, come at the end.)",
        R"(Streams without an index are found by scanning the file for their chunks, as the report notes; so are
        those whose index has wrong entries or leaves out chunks.)",
        R"(Findings: chunks truncated by the end of the file; wrong and missing index entries; fewer frames than the
        headers announce; frames of zeros; streams without chunks; a recording that was abandoned, or ended
        before --to; and defects of the whole file (see info).)",
    },
    {
        "kravi extract clip.avi --video 'frame-%06d.jpg' --audio sound.wav",
        "kravi extract clip.avi --audio scene.wav --from 250 --to 499",
        "kravi extract clip.avi --y4m - | ffmpeg -i - picture.mkv",
        "kravi extract recording.avi --follow --video 'frame-%06d.jpg'",
    },
};

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

    [[nodiscard]] bool HasRange() const { return from || to; }
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
