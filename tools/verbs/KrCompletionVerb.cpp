// kravi completion: scripts for the shells.
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/manual/KrCompletion.h"

#include <memory>

namespace KrTool
{
namespace
{
const SKrVerbHelp kHelp = {
    "completion",
    "Print a script by which a shell completes kravi's arguments",
    {"Installed files do this for every user; otherwise the start file of the shell loads the script."},
    {
        "source <(kravi completion bash)",
        "kravi completion fish | source",
    },
};

void RunCompletion(const CKrVerbTable& verbs, const std::string& shell)
{
    if (shell == "bash")
        Print(BashCompletion(verbs));
    else if (shell == "zsh")
        Print(ZshCompletion(verbs));
    else if (shell == "fish")
        Print(FishCompletion(verbs));
    else
        throw CKrToolError({}, "'" + shell + "' is none of bash, zsh, fish");
}
} // namespace

void AddCompletionVerb(CKrVerbTable& verbs)
{
    const auto shell = std::make_shared<std::string>();
    CLI::App& verb = verbs.AddPlain(kHelp, [&verbs, shell](auto&, auto&) { RunCompletion(verbs, *shell); });
    CLI::Option* const option = verb.add_option("SHELL", *shell, "bash, zsh or fish");
    verbs.Offer(option->required()->type_name(""), {"bash", "zsh", "fish"});
}
} // namespace KrTool
