// A verb's arguments as the manual page and the shells need them, read from the table that also makes --help.
#ifndef KR_TOOLS_MANUAL_KROPTIONTEXT_H
#define KR_TOOLS_MANUAL_KROPTIONTEXT_H

#include "tools/command/KrVerbTable.h"

#include <string>
#include <vector>

namespace KrTool
{
struct SKrOptionText
{
    std::vector<std::string> names;  // with their dashes; of a positional argument its one name
    std::string argument;            // what stands behind the name; empty for a switch
    std::string about;               // one line
    std::vector<std::string> values; // the possible ones, when there are few
    bool isPositional = false;
    bool isRequired = false;
    bool takesMany = false;
    bool takesFile = false; // the name of a file
};

std::vector<SKrOptionText> OptionTexts(const CKrVerbTable& verbs, const CLI::App& verb);

// "kravi extract [OPTIONS] FILE"
std::string UsageLine(const CKrVerbTable& verbs, const CKrVerbTable::SKrVerb& verb);
} // namespace KrTool

#endif
