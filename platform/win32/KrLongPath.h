// The form in which Windows takes long paths. Text only, no system call.
#ifndef KR_PLATFORM_WIN32_KRLONGPATH_H
#define KR_PLATFORM_WIN32_KRLONGPATH_H

#include <cstddef>
#include <string>
#include <string_view>

// The longest absolute path that every call takes as it is, without its terminator: files may have 259
// characters, but folders only 247, and a separator is appended to those. Shorter paths keep the form in
// which the caller wrote them; for those in between the prefix does no harm.
constexpr size_t kLongestPlainPath = 247;

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

// The path for a system call, given the absolute one that it stands for: a short name in a deep folder is a
// long path as well.
inline std::wstring WithoutLengthLimit(std::wstring_view path, std::wstring_view absolute)
{
    const bool isPlain =
        HasDevicePrefix(path) || HasDevicePrefix(absolute) || absolute.size() <= kLongestPlainPath;
    return isPlain ? std::wstring(path) : WithLongPathPrefix(absolute);
}

#endif
