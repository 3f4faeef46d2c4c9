// Text in and out: FourCCs, and names for the numbers of the public records.
#ifndef KR_TOOLS_COMMAND_KRTEXT_H
#define KR_TOOLS_COMMAND_KRTEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace KrTool
{
// Text from elsewhere, made fit for a terminal: control characters and bytes that are not UTF-8 become \xHH.
std::string Printable(std::string_view text);

// The four characters, lowest byte first; what is not printable ASCII becomes \xHH, a backslash \\.
std::string FourCcText(uint32_t fourCc);

// Whether all four characters are printable ASCII.
bool IsPrintableFourCc(uint32_t fourCc);

// What stands for a character that has a meaning of its own in a format.
struct SKrEscape
{
    char character;
    std::string_view text;
};
std::string WithEscapes(std::string_view text, std::span<const SKrEscape> escapes);

// "1 frame", "2 frames", "3 entries".
std::string Counted(uint64_t count, std::string_view noun);
} // namespace KrTool

#endif
