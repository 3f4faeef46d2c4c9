#include "platform/posix/KrWritableFilePosix.h"

#include "platform/KrFileRange.h"
#include "platform/KrOsTransfer.h"
#include "platform/posix/KrFileDescriptor.h"
#include "platform/posix/KrOpenFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fstream>
#include <utility>

namespace
{
constexpr uint32_t kUsualSectorSize = 512;
constexpr size_t kMostParts = IOV_MAX < 64 ? IOV_MAX : 64; // of one call
constexpr size_t kFewBytes = 8192; // copied together faster than the system takes them apart

class CPosixView final : public IKrMappedView
{
public:
    CPosixView() = default;
    ~CPosixView() override
    {
        if (m_start != MAP_FAILED)
            ::munmap(m_start, m_length);
    }
    CPosixView(const CPosixView&) = delete;
    CPosixView& operator=(const CPosixView&) = delete;

    // Maps a range that lies in the file. Once at most.
    [[nodiscard]] bool Map(const CKrFileDescriptor& file, uint64_t position, size_t length)
    {
        static const auto pageSize = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
        m_before = static_cast<size_t>(position % pageSize);
        m_length = m_before + length;
        m_start = ::mmap(nullptr, m_length, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(),
                         static_cast<off_t>(position - m_before));
        return m_start != MAP_FAILED;
    }

    uint8_t* Data() override { return static_cast<uint8_t*>(m_start) + m_before; }

private:
    void* m_start = MAP_FAILED;
    size_t m_length = 0;
    size_t m_before = 0; // bytes of the view before the range
};

// The rest of the parts after the first `done` bytes, up to what one call takes.
int PartsAfter(std::span<const KrByteSpan> parts, size_t done, iovec (&out)[kMostParts])
{
    size_t count = 0;
    size_t room = kMostBytesPerCall;
    for (const KrByteSpan& part : parts)
    {
        const size_t skipped = std::min(done, part.size());
        done -= skipped;
        if (skipped == part.size())
            continue;
        out[count].iov_base = const_cast<uint8_t*>(part.data() + skipped);
        out[count].iov_len = std::min(part.size() - skipped, room);
        room -= out[count].iov_len;
        if (++count == kMostParts || room == 0)
            break;
    }
    return static_cast<int>(count);
}

size_t TotalSize(std::span<const KrByteSpan> parts)
{
    size_t total = 0;
    for (const KrByteSpan& part : parts)
        total += part.size();
    return total;
}

// The parts one after another, in a buffer that holds them.
KrByteSpan Join(std::span<const KrByteSpan> parts, uint8_t* buffer)
{
    uint8_t* end = buffer;
    for (const KrByteSpan& part : parts)
        end = std::copy(part.begin(), part.end(), end);
    return {buffer, end};
}

class CPosixWritableFile final : public IKrWritableFile
{
public:
    explicit CPosixWritableFile(CKrFileDescriptor descriptor) : m_descriptor(std::move(descriptor)) {}

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        uint8_t few[kFewBytes];
        if (parts.size() < 2 || TotalSize(parts) > sizeof few)
            return WriteParts(position, parts);
        const KrByteSpan joined = Join(parts, few);
        return WriteParts(position, {&joined, 1});
    }

    SKrFlushOutcome Flush() override
    {
        int result = -1;
        do
            result = ::fdatasync(m_descriptor.Get());
        while (result != 0 && errno == EINTR);
        return {result == 0, result == 0 ? 0 : static_cast<uint32_t>(errno)};
    }

    bool ReserveTo(uint64_t size) override
    {
        struct stat facts
        {
        };
        if (!KrPlatform::IsFilePosition(size) || ::fstat(m_descriptor.Get(), &facts) != 0)
            return false;
        const uint64_t end = static_cast<uint64_t>(facts.st_size);
        return size <= end || ::fallocate(m_descriptor.Get(), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(end),
                                          static_cast<off_t>(size - end)) == 0;
    }

    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
    {
        struct stat facts
        {
        };
        if (::fstat(m_descriptor.Get(), &facts) != 0 ||
            !KrPlatform::IsRangeInside(position, length, static_cast<uint64_t>(facts.st_size)))
            return nullptr;
        auto view = std::make_unique<CPosixView>();
        if (!view->Map(m_descriptor, position, length))
            return nullptr;
        return view;
    }

    bool CutTo(uint64_t size) override
    {
        if (!KrPlatform::IsFilePosition(size))
            return false;
        int result = -1;
        do
            result = ::ftruncate(m_descriptor.Get(), static_cast<off_t>(size));
        while (result != 0 && errno == EINTR);
        return result == 0;
    }

private:
    [[nodiscard]] SKrTransfer WriteParts(uint64_t position, std::span<const KrByteSpan> parts)
    {
        for (size_t done = 0;;)
        {
            iovec left[kMostParts];
            const int count = PartsAfter(parts, done, left);
            if (count == 0)
                return {done, 0};
            if (!KrPlatform::IsFilePosition(position + done))
                return {done, EFBIG};
            const ssize_t written = WriteOnce(static_cast<off_t>(position + done), {left, left + count});
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                return {done, static_cast<uint32_t>(written < 0 ? errno : ENOSPC)};
            done += static_cast<size_t>(written);
        }
    }

    [[nodiscard]] ssize_t WriteOnce(off_t position, std::span<const iovec> parts)
    {
        const int descriptor = m_descriptor.Get();
        return parts.size() == 1
                   ? ::pwrite(descriptor, parts[0].iov_base, parts[0].iov_len, position)
                   : ::pwritev(descriptor, parts.data(), static_cast<int>(parts.size()), position);
    }

    CKrFileDescriptor m_descriptor;
};

// Whether the name still means the file that was opened by it. Between the open and the lock somebody else
// may have deleted the file, and made another one of that name.
bool HasName(const CKrFileDescriptor& file, const std::string& path)
{
    struct stat opened
    {
    };
    struct stat named
    {
    };
    return ::fstat(file.Get(), &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool IsLink(const std::string& path)
{
    struct stat facts
    {
    };
    return ::lstat(path.c_str(), &facts) == 0 && S_ISLNK(facts.st_mode);
}

// How often an open is repeated when the name meant something else afterwards. Some network file systems
// report another file number on every stat, so retries are bounded.
constexpr int kMostOpens = 20;

// Opens a file that nobody else has open, and keeps it so.
CKrFileDescriptor OpenLocked(const std::string& path, int flags)
{
    for (int opens = 1;; ++opens)
    {
        CKrFileDescriptor file = OpenNative(path, flags);
        if (!file.IsOpen() || !IsRegularFile(file) || !HoldLock(file, LOCK_EX))
            return {};
        if (HasName(file, path) || opens == kMostOpens)
            return file;
    }
}

// The number in a file of one line, or 0.
uint32_t NumberIn(const std::string& path)
{
    uint32_t number = 0;
    std::ifstream(path) >> number;
    return number;
}
} // namespace

CKrFileDescriptor OpenWithoutOthers(const std::string& path)
{
    return OpenLocked(path, O_RDWR);
}

std::unique_ptr<IKrWritableFile> MakeWritableFile(CKrFileDescriptor descriptor)
{
    return std::make_unique<CPosixWritableFile>(std::move(descriptor));
}

std::unique_ptr<IKrWritableFile> CreateWritableFile(const std::string& path)
{
    // The open itself does not truncate: first it must be certain that nobody uses the file.
    CKrFileDescriptor file = OpenLocked(path, O_RDWR | O_CREAT);
    if (!file.IsOpen() || ::ftruncate(file.Get(), 0) != 0)
        return nullptr;
    return MakeWritableFile(std::move(file));
}

// The names of a folder's files are its content.
SKrFlushOutcome FlushNameIn(const std::string& path)
{
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const CKrFileDescriptor opened = OpenNative(folder, O_RDONLY | O_DIRECTORY);
    if (!opened.IsOpen())
        return {false, static_cast<uint32_t>(errno)};
    int result = -1;
    do
        result = ::fsync(opened.Get());
    while (result != 0 && errno == EINTR);
    if (result != 0 && errno != EINVAL) // that: a file system whose folders have nothing to flush
        return {false, static_cast<uint32_t>(errno)};
    return {true, 0};
}

bool DeleteUnusedFile(const std::string& path)
{
    for (int opens = 1;; ++opens)
    {
        // What is there and cannot be opened (a dangling link, no right to read it) is nobody's open file.
        const CKrFileDescriptor file = OpenNative(path, O_RDONLY);
        // Devices and pipes are never deleted.
        if (file.IsOpen() ? !IsRegularFile(file) || !HoldLock(file, LOCK_EX)
                          : errno == ENOENT && !IsLink(path))
            return false;
        if (file.IsOpen() && !HasName(file, path) && opens < kMostOpens)
            continue;
        return ::unlink(path.c_str()) == 0;
    }
}

uint32_t SectorSizeBelow(const std::string& folder)
{
    struct stat facts
    {
    };
    if (::stat(folder.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode))
        return 0;
    const std::string device =
        "/sys/dev/block/" + std::to_string(major(facts.st_dev)) + ":" + std::to_string(minor(facts.st_dev));
    for (const char* const queue : {"/queue", "/../queue"}) // a disk's own, or that of a partition's disk
    {
        if (const uint32_t size = NumberIn(device + queue + "/logical_block_size"); size != 0)
            return size;
    }
    return kUsualSectorSize;
}
