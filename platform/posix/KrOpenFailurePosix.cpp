// Why a file could not be opened or created, on POSIX systems.
#include "platform/KrOpenFailure.h"
#include "platform/posix/KrNativePath.h"
#include "platform/posix/KrOpenFile.h"

#include <unistd.h>

#include <cerrno>

namespace
{
SKrOpenFailure FailureOf(int error)
{
    using enum EKrOpenFailure;
    const auto number = static_cast<uint32_t>(error);
    switch (error)
    {
    case ENOENT:
    case ENOTDIR:
        return {NotFound, number};
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
        return {NotAllowed, number};
    case EWOULDBLOCK:
    case ETXTBSY:
    case EBUSY:
        return {InUse, number};
    default:
        return {Other, number};
    }
}

SKrOpenFailure WhyNotOpened(const std::string& path, int lock)
{
    const CKrFileDescriptor file = OpenNative(path, O_RDONLY);
    struct stat facts = {};
    if (!file.IsOpen() || ::fstat(file.Get(), &facts) != 0)
        return FailureOf(errno);
    if (S_ISDIR(facts.st_mode))
        return FailureOf(EISDIR);
    if (!S_ISREG(facts.st_mode))
        return {EKrOpenFailure::NotAllowed, 0};
    return HoldLock(file, lock) ? SKrOpenFailure() : FailureOf(EWOULDBLOCK);
}
} // namespace

SKrOpenFailure WhyNotRead(const wchar_t* path)
{
    const auto native = NativePath(path);
    return native ? WhyNotOpened(*native, LOCK_SH) : FailureOf(EILSEQ);
}

SKrOpenFailure WhyNotWritten(const wchar_t* path)
{
    const auto native = NativePath(path);
    if (!native)
        return FailureOf(EILSEQ);
    const SKrOpenFailure failure = WhyNotOpened(*native, LOCK_EX);
    if (failure.osError != ENOENT)
        return failure;
    const std::string folder =
        native->substr(0, native->rfind('/') + 1); // the file need not exist, its folder must
    return ::access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0 ? FailureOf(errno)
                                                                             : SKrOpenFailure();
}
