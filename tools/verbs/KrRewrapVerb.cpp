// kravi rewrap: the frames and the sound of a file in a new one, unchanged.
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/copy/KrCopyOptions.h"
#include "tools/copy/KrCopySource.h"

namespace KrTool
{
namespace
{
const SKrVerbHelp kRewrapHelp = {
    "rewrap",
    "Copy frames and sound of an AVI file into a new one",
    {
        std::string("Frames and PCM sound are copied unchanged, with complete indexes. ") + kWhatIsRefused,
        "Findings: defects of the input file (see info).",
    },
    {
        "kravi rewrap download.avi clip.avi --audio 1",
    },
};

struct SKrRewrapOptions
{
    std::string file;
    SKrCopyOptions copy;
};
} // namespace

void AddRewrapVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrRewrapOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kRewrapHelp, options->file,
                  [options](auto& report, auto& progress)
                  { CopyFrames(options->file, SKrFrameRange(), options->copy, report, progress); });
    verb.AddArgument("OUTPUT", options->copy.output, "The AVI file to write");
    AddCopyOptions(verb, options->copy);
}
} // namespace KrTool
