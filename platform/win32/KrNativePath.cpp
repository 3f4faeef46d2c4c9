#include "platform/win32/KrNativePath.h"

#include "platform/win32/KrLongPath.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

std::wstring AbsolutePath(const wchar_t* path)
{
    std::wstring absolute(MAX_PATH, L'\0');
    for (;;)
    {
        // The length, or when the buffer is too small the size it should have: terminator included.
        const DWORD length =
            GetFullPathNameW(path, static_cast<DWORD>(absolute.size()), absolute.data(), nullptr);
        const bool fits = length < absolute.size();
        absolute.resize(length);
        if (fits)
            return absolute;
    }
}

std::wstring NativePath(const wchar_t* path)
{
    return WithoutLengthLimit(path, AbsolutePath(path));
}
