// New files of POSIX systems.
#include "platform/KrNewFile.h"
#include "platform/KrOsTransfer.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace
{
SKrOsResult ResultOf(bool done)
{
    if (done)
        return {};
    return {static_cast<uint32_t>(errno), errno == EEXIST};
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
    std::error_code ignored;
    if (std::filesystem::exists(std::filesystem::symlink_status(to, ignored)))
    {
        errno = EEXIST;
        return false;
    }
    return ::rename(from, to) == 0;
}
} // namespace

CKrRangeSource::CKrRangeSource(const std::string& path, const std::optional<SKrFileIdentity>& file)
{
    const int opened = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    struct stat facts = {};
    const bool isSame =
        opened >= 0 && ::fstat(opened, &facts) == 0 && file == SKrFileIdentity{facts.st_dev, facts.st_ino};
    if (isSame)
        m_handle = opened;
    else if (opened >= 0)
        ::close(opened);
}

CKrRangeSource::~CKrRangeSource()
{
    if (m_handle != kClosed)
        ::close(static_cast<int>(m_handle));
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

uint64_t CKrNewFile::CopyFrom(const CKrRangeSource& source, uint64_t position, uint64_t count)
{
    auto from = static_cast<off_t>(position); // moved by each copy
    uint64_t left = count;
    while (left > 0)
    {
        const ssize_t went =
            ::copy_file_range(static_cast<int>(source.m_handle), &from, static_cast<int>(m_handle), nullptr,
                              std::min<uint64_t>(left, kMostBytesPerCall), 0);
        if (went < 0 && errno == EINTR)
            continue;
        if (went <= 0)
            break;
        left -= static_cast<uint64_t>(went);
    }
    return count - left;
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
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

unsigned ProcessNumber()
{
    return static_cast<unsigned>(::getpid());
}
