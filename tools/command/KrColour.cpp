#include "tools/command/KrColour.h"

#include "platform/KrConsole.h"
#include "tools/command/KrFormat.h"

#include <cstdlib>
#include <string_view>

namespace KrTool
{
namespace
{
// Set to anything but nothing: no colours.
bool IsColourRefused()
{
    const char* const refusal = std::getenv("NO_COLOR");
    return refusal != nullptr && *refusal != '\0';
}

bool HasColours()
{
    static const bool has = !IsColourRefused() && StandardOutputTakesColours();
    return has;
}
} // namespace

std::string Coloured(EKrColour colour, const std::string& text)
{
    static constexpr int kCodes[] = {31, 32, 33, 36};
    return HasColours() ? Format("\x1b[{}m{}\x1b[0m", kCodes[static_cast<size_t>(colour)], text) : text;
}
} // namespace KrTool
