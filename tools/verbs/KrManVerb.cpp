// kravi man: the manual page.
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/manual/KrManPage.h"

#if !defined(KR_VERSION)
#error "the build defines KR_VERSION as the version text"
#endif

namespace KrTool
{
namespace
{
const SKrVerbHelp kManHelp = {
    "man",
    "Print the manual page of kravi, for man(1)",
    {"The page is generated from the same table as --help."},
    {"kravi man | man -l -"},
};
} // namespace

void AddManVerb(CKrVerbTable& verbs)
{
    verbs.AddPlain(kManHelp, [&verbs](auto&, auto&) { Print(ManPage(verbs, KR_VERSION)); });
}
} // namespace KrTool
