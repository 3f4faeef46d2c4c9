// The form in which Windows takes paths of more than 260 characters. Text only, no system call.
#ifndef KR_PLATFORM_WIN32_KRLONGPATH_H
#define KR_PLATFORM_WIN32_KRLONGPATH_H

#include <string>
#include <string_view>

// Whether the system takes the path literally already ("\\?\...") or as a device ("\\.\...").
inline bool HasDevicePrefix(std::wstring_view path)
{
    return path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\");
}

// The prefixed form of an absolute path that has none: "C:\a" becomes "\\?\C:\a", and "\\server\share\a"
// becomes "\\?\UNC\server\share\a".
inline std::wstring WithLongPathPrefix(std::wstring_view absolute)
{
    if (absolute.starts_with(L"\\\\"))
        return L"\\\\?\\UNC" + std::wstring(absolute.substr(1));
    return L"\\\\?\\" + std::wstring(absolute);
}

#endif
