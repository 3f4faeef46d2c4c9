#include "platform/posix/KrNativePath.h"

#include "platform/KrUtf8.h"

#include <cstdint>

static_assert(sizeof(wchar_t) == 4, "a wide character is a code point");

std::optional<std::string> NativePath(const wchar_t* path)
{
    if (path == nullptr)
        return std::nullopt;
    std::string native;
    for (; *path != L'\0'; ++path)
    {
        const auto codePoint = static_cast<uint32_t>(*path);
        if (IsSurrogate(codePoint) || codePoint > kLastCodePoint)
            return std::nullopt;
        AppendUtf8(native, codePoint);
    }
    return native;
}
