#define FMT_HEADER_ONLY // only here, since it adds seconds to each source
#include "tools/command/KrFormat.h"

#include <fmt/format.h>

namespace KrTool
{
std::string FormatArguments(fmt::string_view text, fmt::format_args values)
{
    return fmt::vformat(text, values);
}

std::string Joined(const std::vector<std::string>& words, std::string_view between)
{
    return fmt::format("{}", fmt::join(words, between));
}
} // namespace KrTool
