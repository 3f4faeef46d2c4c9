// kravi completion: scripts for the shells.
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/manual/KrCompletion.h"

#include <memory>

namespace KrTool
{
namespace
{
const SKrVerbHelp kCompletionHelp = {
    "completion",
    "Print a shell completion script for kravi",
    {"An installed kravi includes the scripts; otherwise load one from the shell's start file."},
    {
        "source <(kravi completion bash)",
        "kravi completion fish | source",
    },
};

using MakeScript = std::string (*)(const CKrVerbTable&);
} // namespace

void AddCompletionVerb(CKrVerbTable& verbs)
{
    const auto make = std::make_shared<MakeScript>();
    verbs.AddPlain(kCompletionHelp, [&verbs, make](auto&, auto&) { Print((*make)(verbs)); })
        .AddChoice("SHELL", *make, "",
                   {{"bash", BashCompletion}, {"zsh", ZshCompletion}, {"fish", FishCompletion}},
                   "bash, zsh or fish");
}
} // namespace KrTool
