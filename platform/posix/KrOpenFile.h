// Opening and locking, the same way for files that are read, written or deleted.
#ifndef KR_PLATFORM_POSIX_KROPENFILE_H
#define KR_PLATFORM_POSIX_KROPENFILE_H

#include "platform/posix/KrFileDescriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

// Non-blocking, so that opening a pipe without a partner does not wait before it is refused. The mode is that
// of a file made by this call, less what the process masks.
inline CKrFileDescriptor OpenNative(const std::string& path, int flags)
{
    constexpr mode_t kNewFileMode = 0666;
    int descriptor = -1;
    do
        descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kNewFileMode);
    while (descriptor < 0 && errno == EINTR);
    return CKrFileDescriptor(descriptor);
}

inline bool IsRegularFile(const CKrFileDescriptor& file)
{
    struct stat facts
    {
    };
    return ::fstat(file.Get(), &facts) == 0 && S_ISREG(facts.st_mode);
}

// Takes LOCK_SH or LOCK_EX until the descriptor is closed. False only when somebody else holds a lock;
// file systems without such locks share with everybody.
inline bool HoldLock(const CKrFileDescriptor& file, int kind)
{
    int result = -1;
    do
        result = ::flock(file.Get(), kind | LOCK_NB);
    while (result != 0 && errno == EINTR);
    return result == 0 || errno != EWOULDBLOCK;
}

#endif
