// Paths as the system takes them.
#ifndef KR_PLATFORM_WIN32_KRNATIVEPATH_H
#define KR_PLATFORM_WIN32_KRNATIVEPATH_H

#include "platform/KrUtf8.h"

#include <string>

// The path made absolute, or empty when the system cannot do that.
std::wstring AbsolutePath(const wchar_t* path);

// A path that is too long for the system in the plain form gets the prefix for long ones. That prefix also
// switches off the translation of "." and "..", thus such a path is made absolute before.
std::wstring NativePath(const wchar_t* path);

// The same for UTF-8, for kravi; empty, which no file's path is, when it is not text.
inline std::wstring NativePath(const std::string& utf8)
{
    return NativePath(Widen(utf8).value_or(std::wstring()).c_str());
}

#endif
