// kravi rewrap: all that a file holds in a new one, unchanged.
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/copy/KrCarriedFile.h"
#include "tools/copy/KrCopyOptions.h"
#include "tools/copy/KrCopySource.h"

namespace KrTool
{
namespace
{
const SKrVerbHelp kRewrapHelp = {
    "rewrap",
    "Copy an AVI file into a new one with complete indexes",
    {
        kWhatIsCarried,
        R"(Chunks come from the file's indexes. Where entries lead to no chunk, the whole file is scanned for its
        chunks instead; chunks that an index leaves out are copied too.)",
        kWhatIsRefused,
        R"(Findings: wrong, missing and truncated index entries, fewer frames than the headers announce, frames of
        zeros; and defects of the input file (see info).)",
    },
    {
        "kravi rewrap download.avi clip.avi",
        "kravi rewrap download.avi clip.avi --audio 2",
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
                  {
                      if (options->copy.IsRecording())
                          CopyFrames(options->file, SKrFrameRange(), options->copy, report, progress);
                      else
                          CarryFile(options->file, std::nullopt, options->copy, report, progress);
                  });
    verb.AddArgument("OUTPUT", options->copy.output, "The AVI file to write");
    AddCopyOptions(verb, options->copy);
}
} // namespace KrTool
