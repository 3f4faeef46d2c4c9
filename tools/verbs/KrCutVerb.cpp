// kravi cut: some frames of a file, and the sound that belongs to them, in a new one.
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
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
        R"(Frames count from 0; --to is the last one taken. Frames and PCM sound are copied unchanged. The sound
        of a frame starts at the sample frame nearest to its time, as with extract, so that consecutive
        pieces have each sample frame once; concat joins them. Without --to the sound after the last frame
        is included.)",
        kWhatIsRefused,
        R"(Findings: the first frame is not a key frame and needs frames before it; and defects of the input file
        (see info).)",
    },
    {
        "kravi cut clip.avi scene.avi --from 250 --to 499",
        "kravi cut clip.avi start.avi --to 99 --no-audio",
    },
};

struct SKrCutOptions
{
    std::string file;
    std::optional<uint64_t> from;
    std::optional<uint64_t> to; // inclusive
    SKrCopyOptions copy;
};

void RunCut(const SKrCutOptions& options, CKrReport& report, CKrProgress& progress)
{
    const SKrFrameRange range = {options.from.value_or(0), options.to};
    if (range.last && *range.last < range.first)
        throw CKrToolError({}, "--from is after --to");
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
    verb.AddNumber("--from", options->from, "First frame");
    verb.AddNumber("--to", options->to, "Last frame");
    AddCopyOptions(verb, options->copy);
}
} // namespace KrTool
