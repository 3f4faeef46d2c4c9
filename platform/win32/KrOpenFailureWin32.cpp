// Why a file could not be opened or created, on Windows.
#include "platform/KrOpenFailure.h"
#include "platform/win32/KrFileHandle.h"
#include "platform/win32/KrNativePath.h"

namespace
{
SKrOpenFailure FailureOf(DWORD error)
{
    using enum EKrOpenFailure;
    switch (error)
    {
    case ERROR_SUCCESS:
        return {};
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
        return {NotFound, error};
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
        return {NotAllowed, error};
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return {InUse, error};
    default:
        return {Other, error};
    }
}

// What the system answers to the same attempt on a file that exists.
DWORD ErrorOf(const wchar_t* path, DWORD access, DWORD share)
{
    const CKrFileHandle file(CreateFileW(NativePath(path).c_str(), access, share, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    return file.IsOpen() ? ERROR_SUCCESS : GetLastError();
}
} // namespace

SKrOpenFailure WhyNotRead(const wchar_t* path)
{
    return FailureOf(ErrorOf(path, GENERIC_READ, FILE_SHARE_READ));
}

SKrOpenFailure WhyNotWritten(const wchar_t* path)
{
    const DWORD error = ErrorOf(path, GENERIC_READ | GENERIC_WRITE, 0);
    // A file that is not there can be created where its folder is.
    return FailureOf(error == ERROR_FILE_NOT_FOUND ? ERROR_ACCESS_DENIED : error);
}
