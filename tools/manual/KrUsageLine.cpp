#include "tools/manual/KrUsageLine.h"

#include <fmt/format.h>

namespace KrTool
{
std::string UsageLine(const CKrVerbTable::SKrVerb& verb)
{
    std::string options = fmt::format("kravi {} [OPTIONS]", verb.help.name);
    std::string arguments;
    for (const SKrOptionText& text : verb.options->Texts())
    {
        const std::string name = text.names.front() + (text.takesMany ? "..." : "");
        if (text.isPositional)
            arguments += text.isRequired ? ' ' + name : fmt::format(" [{}]", name);
        else if (text.isRequired)
            options += fmt::format(" {} {}", name, text.argument);
    }
    return options + arguments;
}
} // namespace KrTool
