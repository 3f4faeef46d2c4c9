#include "platform/posix/KrNativePath.h"

#include <cstdint>

static_assert(sizeof(wchar_t) == 4, "a wide character is a code point");

namespace
{
// Appends a code point; false when it is none (a surrogate, or beyond the last plane).
bool AppendUtf8(std::string& out, uint32_t codePoint)
{
    const auto tail = [codePoint](int shift)
    {
        return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80)
    {
        out += static_cast<char>(codePoint);
    }
    else if (codePoint < 0x800)
    {
        out += {static_cast<char>(0xC0 | (codePoint >> 6)), tail(0)};
    }
    else if (codePoint < 0x10000)
    {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF)
            return false;
        out += {static_cast<char>(0xE0 | (codePoint >> 12)), tail(6), tail(0)};
    }
    else
    {
        if (codePoint > 0x10FFFF)
            return false;
        out += {static_cast<char>(0xF0 | (codePoint >> 18)), tail(12), tail(6), tail(0)};
    }
    return true;
}

} // namespace

std::optional<std::string> NativePath(const wchar_t* path)
{
    if (path == nullptr)
        return std::nullopt;
    std::string native;
    for (; *path != L'\0'; ++path)
    {
        if (!AppendUtf8(native, static_cast<uint32_t>(*path)))
            return std::nullopt;
    }
    return native;
}
