// kravi cut: some frames of a file, and the sound that belongs to them, in a new one.
#include "tools/avi/KrFrameRange.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/copy/KrCarriedFile.h"
#include "tools/copy/KrCopyOptions.h"
#include "tools/copy/KrCopySource.h"

namespace KrTool
{
namespace
{
const SKrVerbHelp kCutHelp = {
    "cut",
    "Copy some frames of an AVI file, and their sound, into a new one",
    {
        R"(Frames of the first video stream count from 0; --to is the last one taken. All other streams are cut to
        the same time: PCM sound at the sample frame nearest to the frame, as with extract, coded sound between
        its packets; how far that is from the first frame is reported. Consecutive pieces have each frame and
        each packet once; concat joins them. Without --to the sound after the last frame is included.)",
        kWhatPlacesAre,
        kWhatIsCarried,
        kWhatIsRefused,
        R"(Findings: the first frame is not a key frame and needs frames before it, which --key before adds; and
        what rewrap finds.)",
    },
    {
        "kravi cut clip.avi scene.avi --from 250 --to 499",
        "kravi cut clip.avi scene.avi --from 00:00:10:00 --to 20s",
        "kravi cut clip.avi start.avi --to 99 --no-audio",
    },
};

struct SKrCutOptions
{
    std::string file;
    SKrRangeOptions range;
    EKrCutStart key = EKrCutStart::Exact;
    SKrCopyOptions copy;
};

void RunCut(const SKrCutOptions& options, CKrReport& report, CKrProgress& progress)
{
    const SKrFrameNumbers frames =
        ReadRange(options.range, options.file, options.copy.streams.video, progress);
    const SKrFrameRange range = {frames.first.value_or(0), frames.last};
    if (!options.copy.IsRecording())
        return CarryFile(options.file, SKrCutRange{range.first, range.last, options.key}, options.copy,
                         report, progress);
    if (options.key != EKrCutStart::Exact)
        throw CKrToolError({}, "--key is not for --layout recording, which holds key frames only");
    CopyFrames(options.file, range, options.copy, report, progress);
}
} // namespace

void AddCutVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrCutOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kCutHelp, options->file,
                  [options](auto& report, auto& progress) { RunCut(*options, report, progress); });
    verb.AddArgument("OUTPUT", options->copy.output, "The AVI file to write");
    AddRangeOptions(verb, options->range);
    verb.AddChoice<EKrCutStart>("--key", options->key, "START",
                                {{"exact", EKrCutStart::Exact}, {"before", EKrCutStart::KeyBefore}},
                                "Start at the first frame, or at the key frame that it needs");
    AddCopyOptions(verb, options->copy);
}
} // namespace KrTool
