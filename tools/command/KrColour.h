// Colours in the text of reports, where the standard output is a terminal and NO_COLOR is not set.
#ifndef KR_TOOLS_COMMAND_KRCOLOUR_H
#define KR_TOOLS_COMMAND_KRCOLOUR_H

#include <cstdint>
#include <string>

namespace KrTool
{
enum class EKrColour : uint8_t
{
    Red,
    Green,
    Yellow,
    Cyan
};

// The text alone where there are no colours.
std::string Coloured(EKrColour colour, const std::string& text);
} // namespace KrTool

#endif
