#include "tools/manual/KrUsageLine.h"

namespace KrTool
{
std::string UsageLine(const CKrVerbTable::SKrVerb& verb)
{
    std::string options = "kravi " + verb.help.name + " [OPTIONS]";
    std::string arguments;
    for (const SKrOptionText& text : verb.options->Texts())
    {
        const std::string name = text.names.front() + (text.takesMany ? "..." : "");
        if (text.isPositional)
            arguments += text.isRequired ? ' ' + name : " [" + name + ']';
        else if (text.isRequired)
            options += ' ' + name + ' ' + text.argument;
    }
    return options + arguments;
}
} // namespace KrTool
