#include "tools/command/KrText.h"

#include "platform/KrUtf8.h"
#include "tools/command/KrFormat.h"

#include <algorithm>
#include <optional>

namespace KrTool
{
namespace
{
void AppendHex(std::string& out, unsigned char byte)
{
    out += Format("\\x{:02X}", byte);
}

bool IsControl(uint32_t codePoint)
{
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}
} // namespace

std::string Printable(std::string_view text)
{
    std::string out;
    while (!text.empty())
    {
        const std::string_view before = text;
        const std::optional<uint32_t> codePoint = TakeCodePoint(text);
        const size_t length = codePoint ? before.size() - text.size() : 1;
        if (codePoint && !IsControl(*codePoint) && !IsSurrogate(*codePoint))
        {
            out += before.substr(0, length);
            continue;
        }
        for (const char byte : before.substr(0, length))
            AppendHex(out, static_cast<unsigned char>(byte));
        text = before.substr(length);
    }
    return out;
}

bool IsPrintableFourCc(uint32_t fourCc)
{
    for (int shift = 0; shift < 32; shift += 8)
    {
        const uint32_t byte = fourCc >> shift & 0xFF;
        if (byte < 0x20 || byte > 0x7E)
            return false;
    }
    return true;
}

std::string FourCcText(uint32_t fourCc)
{
    std::string out;
    for (int shift = 0; shift < 32; shift += 8)
    {
        const auto byte = static_cast<unsigned char>(fourCc >> shift);
        if (byte == '\\')
            out += "\\\\";
        else if (byte >= 0x20 && byte < 0x7F)
            out += static_cast<char>(byte);
        else
            AppendHex(out, byte);
    }
    return out;
}

std::string WithEscapes(std::string_view text, std::span<const SKrEscape> escapes)
{
    std::string out;
    for (const char character : text)
    {
        const auto escape = std::ranges::find(escapes, character, &SKrEscape::character);
        if (escape != escapes.end())
            out += escape->text;
        else
            out += character;
    }
    return out;
}

std::string Counted(uint64_t count, std::string_view noun)
{
    std::string text = Format("{} {}", count, noun);
    if (count == 1)
        return text;
    if (text.back() != 'y')
        return text + 's';
    text.pop_back();
    return text + "ies";
}
} // namespace KrTool
