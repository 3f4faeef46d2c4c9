// Text from a format string that the compiler checks: "{} of {}". Only one source compiles
// the library.
#ifndef KR_TOOLS_COMMAND_KRFORMAT_H
#define KR_TOOLS_COMMAND_KRFORMAT_H

#include <fmt/core.h>

#include <string>
#include <string_view>
#include <vector>

namespace KrTool
{
std::string FormatArguments(fmt::string_view text, fmt::format_args values);

template <class... VALUE>
std::string Format(fmt::format_string<VALUE...> text, const VALUE&... values)
{
    return FormatArguments(text, fmt::make_format_args(values...));
}

std::string Joined(const std::vector<std::string>& words, std::string_view between);
} // namespace KrTool

#endif
