#include "tools/manual/KrUsageLine.h"

#include "tools/command/KrFormat.h"

namespace KrTool
{
std::string UsageLine(const CKrVerbTable::SKrVerb& verb)
{
    std::string options = Format("kravi {} [OPTIONS]", verb.help.name);
    std::string arguments;
    for (const SKrOptionText& text : verb.options->Texts())
    {
        const std::string name = text.names.front() + (text.takesMany ? "..." : "");
        if (text.isPositional)
            arguments += text.isRequired ? ' ' + name : Format(" [{}]", name);
        else if (text.isRequired)
            options += Format(" {} {}", name, text.argument);
    }
    return options + arguments;
}
} // namespace KrTool
