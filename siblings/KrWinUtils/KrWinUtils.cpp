#include "siblings/KrWinUtils/KrWinUtils.h"

#include "platform/KrPlatform.h"

#include <string_view>

int KrFileUtils::DoesFileExist(const wchar_t* path)
{
    return path != nullptr && *path != L'\0' && KrPlatform::FileSystem().Exists(path) ? 1 : 0;
}

std::wstring KrFileUtils::GetPurePath(const wchar_t* path)
{
    if (path == nullptr)
        return {};
    const std::wstring_view whole(path);
    const size_t separator = whole.find_last_of(L"/\\");
    if (separator == std::wstring_view::npos)
        return std::wstring(whole.substr(0, KrPlatform::DrivePrefixLength(whole)));
    const bool isRoot = separator == 0 || whole[separator - 1] == L':';
    return std::wstring(whole.substr(0, isRoot ? separator + 1 : separator));
}
