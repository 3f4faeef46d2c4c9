#include "platform/KrUtf8.h"

#include <array>
#include <cstddef>
#include <type_traits>

namespace
{
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

// Length of a sequence by its first byte and the bits of the code point in that byte; 0: not a first byte.
struct SKrLead
{
    size_t length;
    uint32_t bits;
};

constexpr SKrLead LeadOf(unsigned char byte)
{
    if (byte < 0x80)
        return {1, byte};
    if (byte >= 0xC2 && byte <= 0xDF)
        return {2, byte & 0x1Fu};
    if (byte >= 0xE0 && byte <= 0xEF)
        return {3, byte & 0x0Fu};
    if (byte >= 0xF0 && byte <= 0xF4)
        return {4, byte & 0x07u};
    return {0, 0};
}
} // namespace

std::optional<uint32_t> TakeCodePoint(std::string_view& text)
{
    static constexpr std::array<uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
    const SKrLead lead = LeadOf(static_cast<unsigned char>(text.front()));
    if (lead.length == 0 || lead.length > text.size())
        return std::nullopt;
    uint32_t codePoint = lead.bits;
    for (size_t index = 1; index < lead.length; ++index)
    {
        const auto byte = static_cast<unsigned char>(text[index]);
        if ((byte & 0xC0) != 0x80)
            return std::nullopt;
        codePoint = codePoint << 6 | (byte & 0x3Fu);
    }
    if (codePoint < kSmallest[lead.length] || codePoint > kLastCodePoint)
        return std::nullopt;
    text.remove_prefix(lead.length);
    return codePoint;
}

std::optional<std::wstring> Widen(std::string_view utf8)
{
    std::wstring wide;
    while (!utf8.empty())
    {
        const std::optional<uint32_t> codePoint = TakeCodePoint(utf8);
        if (!codePoint || *codePoint == 0 || (!kWideIsUtf16 && IsSurrogate(*codePoint)))
            return std::nullopt;
        if (kWideIsUtf16 && *codePoint > 0xFFFF)
        {
            wide += static_cast<wchar_t>(0xD800 + ((*codePoint - 0x10000) >> 10));
            wide += static_cast<wchar_t>(0xDC00 + ((*codePoint - 0x10000) & 0x3FF));
        }
        else
        {
            wide += static_cast<wchar_t>(*codePoint);
        }
    }
    return wide;
}

std::string Narrow(std::wstring_view wide)
{
    const auto unitAt = [wide](size_t index)
    {
        return uint32_t{static_cast<std::make_unsigned_t<wchar_t>>(wide[index])};
    };
    std::string narrow;
    for (size_t index = 0; index < wide.size(); ++index)
    {
        uint32_t codePoint = unitAt(index);
        const bool isHigh = codePoint >= 0xD800 && codePoint < 0xDC00;
        if (isHigh && index + 1 < wide.size() && unitAt(index + 1) >= 0xDC00 && unitAt(index + 1) <= 0xDFFF)
        {
            ++index;
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (unitAt(index) - 0xDC00);
        }
        AppendUtf8(narrow, codePoint);
    }
    return narrow;
}
