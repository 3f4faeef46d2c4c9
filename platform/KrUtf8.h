// UTF-8: the one encoder and decoder. Paths are wide at the library's interface and UTF-8 in kravi.
#ifndef KR_PLATFORM_KRUTF8_H
#define KR_PLATFORM_KRUTF8_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

constexpr uint32_t kLastCodePoint = 0x10FFFF;

constexpr bool IsSurrogate(uint32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

// Appends a code point; surrogates pass, so callers reject those that they do not take.
inline void AppendUtf8(std::string& out, uint32_t codePoint)
{
    const auto tail = [codePoint](int shift)
    {
        return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80)
        out += static_cast<char>(codePoint);
    else if (codePoint < 0x800)
        out += {static_cast<char>(0xC0 | (codePoint >> 6)), tail(0)};
    else if (codePoint < 0x10000)
        out += {static_cast<char>(0xE0 | (codePoint >> 12)), tail(6), tail(0)};
    else
        out += {static_cast<char>(0xF0 | (codePoint >> 18)), tail(12), tail(6), tail(0)};
}

// What follows is linked into kravi only.

// The code point at the start of the text, which is cut off; nothing, with the text unchanged, when there is
// none. Surrogates pass here as well.
std::optional<uint32_t> TakeCodePoint(std::string_view& text);

// UTF-8 to wide, or nothing when the bytes are not UTF-8 or contain a zero. Where wide characters have 16
// bits, lone surrogates pass both ways, since file names there may contain them.
std::optional<std::wstring> Widen(std::string_view utf8);
std::string Narrow(std::wstring_view wide);

#endif
