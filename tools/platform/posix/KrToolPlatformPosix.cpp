// Arguments, console and files of POSIX systems, as the tool needs them.
#include "tools/platform/KrToolPlatform.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <system_error>

namespace
{
// The most that one call is asked for; some systems refuse or cut what does not fit 31 bits.
constexpr size_t kMostBytesPerCall = size_t{1} << 30;

std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

void NoteInterruption(int)
{
    g_interrupted = true;
}

KrTool::SKrOsResult ResultOf(bool done)
{
    if (done)
        return {};
    return {static_cast<uint32_t>(errno), errno == EEXIST};
}

KrTool::SKrFileProbe FailedProbe(int error)
{
    using enum KrTool::EKrReadability;
    if (error == ENOENT || error == ENOTDIR)
        return {Missing, 0, {}};
    if (error == EACCES || error == EPERM)
        return {NotAllowed, 0, {}};
    return {Failing, 0, KrTool::OsErrorText(static_cast<uint32_t>(error))};
}

KrTool::SKrFileProbe ProbeOpenFile(int descriptor)
{
    using enum KrTool::EKrReadability;
    struct stat facts = {};
    if (::fstat(descriptor, &facts) != 0)
        return FailedProbe(errno);
    if (S_ISDIR(facts.st_mode))
        return {Folder, 0, {}};
    if (!S_ISREG(facts.st_mode))
        return {NotRegular, 0, {}};
    if (::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return {InUse, 0, {}};
    return {Readable, static_cast<uint64_t>(facts.st_size), {}};
}

bool RenameToFreeName(const char* from, const char* to)
{
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // A file system without that kind of rename: a second name is made instead, which never replaces.
    if (::link(from, to) == 0)
        return ::unlink(from) == 0;
    if (errno != EPERM && errno != ENOSYS && errno != EOPNOTSUPP)
        return false;
    struct stat facts = {};
    if (::lstat(to, &facts) == 0)
    {
        errno = EEXIST;
        return false;
    }
    return ::rename(from, to) == 0;
}
} // namespace

namespace KrTool
{
std::vector<std::string> Utf8Arguments(int argc, char** argv)
{
    return {argv + std::min(argc, 1), argv + argc};
}

unsigned PrepareConsole()
{
    return 0; // bytes pass as they are
}

void RestoreConsole(unsigned) {}

bool IsStandardErrorTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

void CatchInterruptions()
{
    struct sigaction action = {};
    action.sa_handler = NoteInterruption;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
    {
        struct sigaction before = {};
        if (::sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    }
    ::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit for files fails, and what was written goes away
}

bool InterruptionRequested()
{
    return g_interrupted;
}

SKrFileProbe ProbeForReading(const std::string& path)
{
    // Non-blocking, so that a pipe without a writer does not hold us up.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return FailedProbe(errno);
    SKrFileProbe probe = ProbeOpenFile(descriptor);
    ::close(descriptor);
    return probe;
}

EKrTarget TargetAt(const std::string& path)
{
    struct stat facts = {};
    if (::lstat(path.c_str(), &facts) != 0)
        return EKrTarget::Free;
    if (S_ISLNK(facts.st_mode) && ::stat(path.c_str(), &facts) != 0)
        return EKrTarget::Other; // a link that leads nowhere
    if (S_ISDIR(facts.st_mode))
        return EKrTarget::Folder;
    return S_ISREG(facts.st_mode) ? EKrTarget::RegularFile : EKrTarget::Other;
}

bool IsSameFile(const std::string& left, const std::string& right)
{
    struct stat one = {};
    struct stat two = {};
    return ::stat(left.c_str(), &one) == 0 && ::stat(right.c_str(), &two) == 0 && one.st_dev == two.st_dev &&
           one.st_ino == two.st_ino;
}

std::string OsErrorText(uint32_t error)
{
    return std::generic_category().message(static_cast<int>(error));
}

std::string FolderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

void CKrNewFile::Discard()
{
    if (m_handle != kClosed)
        ::close(static_cast<int>(m_handle));
    m_handle = kClosed;
}

SKrOsResult CKrNewFile::Create(const std::string& path)
{
    m_handle = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
    return ResultOf(m_handle != kClosed);
}

SKrOsResult CKrNewFile::Write(const void* data, size_t size)
{
    const char* from = static_cast<const char*>(data);
    while (size > 0)
    {
        const ssize_t went = ::write(static_cast<int>(m_handle), from, std::min(size, kMostBytesPerCall));
        if (went < 0 && errno == EINTR)
            continue;
        if (went < 0)
            return ResultOf(false);
        from += went;
        size -= static_cast<size_t>(went);
    }
    return {};
}

SKrOsResult CKrNewFile::SeekTo(uint64_t position)
{
    return ResultOf(::lseek(static_cast<int>(m_handle), static_cast<off_t>(position), SEEK_SET) >= 0);
}

SKrOsResult CKrNewFile::Close()
{
    const int descriptor = static_cast<int>(m_handle);
    m_handle = kClosed;
    return ResultOf(::close(descriptor) == 0);
}

SKrOsResult MoveIntoPlace(const std::string& from, const std::string& to, bool replace)
{
    return ResultOf(replace ? ::rename(from.c_str(), to.c_str()) == 0
                            : RenameToFreeName(from.c_str(), to.c_str()));
}

void RemoveFile(const std::string& path)
{
    ::unlink(path.c_str());
}

unsigned ProcessNumber()
{
    return static_cast<unsigned>(::getpid());
}
} // namespace KrTool
