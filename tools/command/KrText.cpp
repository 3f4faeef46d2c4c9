#include "tools/command/KrText.h"

#include <array>
#include <type_traits>

namespace KrTool
{
namespace
{
constexpr uint32_t kLastCodePoint = 0x10FFFF;
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

constexpr bool IsSurrogate(uint32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

// Length of a sequence by its first byte and the bits of the code point in that byte; 0: no first byte.
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

// The code point at the start of the text, which is cut off; nothing, with the text unchanged, when there
// is none. Surrogates pass: who must not have them asks.
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

void AppendUtf8(std::string& out, uint32_t codePoint)
{
    const auto put = [&out](uint32_t byte)
    {
        out += static_cast<char>(byte);
    };
    const auto putTail = [&put, codePoint](int shift)
    {
        put(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80)
    {
        put(codePoint);
    }
    else if (codePoint < 0x800)
    {
        put(0xC0 | codePoint >> 6);
        putTail(0);
    }
    else if (codePoint < 0x10000)
    {
        put(0xE0 | codePoint >> 12);
        putTail(6);
        putTail(0);
    }
    else
    {
        put(0xF0 | codePoint >> 18);
        putTail(12);
        putTail(6);
        putTail(0);
    }
}

void AppendHex(std::string& out, unsigned char byte)
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
}

bool IsControl(uint32_t codePoint)
{
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}
} // namespace

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

std::string Counted(uint64_t count, std::string_view noun)
{
    std::string text = std::to_string(count) + ' ' + std::string(noun);
    if (count == 1)
        return text;
    if (text.back() != 'y')
        return text + 's';
    text.pop_back();
    return text + "ies";
}
} // namespace KrTool
