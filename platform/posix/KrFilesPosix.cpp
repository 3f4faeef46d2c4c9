// Files of POSIX systems. Share modes, which the system does not have, are kept with flock: whoever reads
// holds a shared lock, whoever writes an exclusive one, and nobody waits.
#include "platform/KrOsTransfer.h"
#include "platform/KrPlatform.h"
#include "platform/posix/KrFileDescriptor.h"
#include "platform/posix/KrNativePath.h"
#include "platform/posix/KrOpenFile.h"
#include "platform/posix/KrWritableFilePosix.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

static_assert(sizeof(off_t) == 8, "positions need 64 bits");

namespace
{
class CPosixFile final : public IKrFile
{
public:
    explicit CPosixFile(CKrFileDescriptor descriptor) : m_descriptor(std::move(descriptor)) {}

    std::optional<uint64_t> Size() override
    {
        struct stat facts
        {
        };
        if (::fstat(m_descriptor.Get(), &facts) != 0 || facts.st_size < 0)
            return std::nullopt;
        return static_cast<uint64_t>(facts.st_size);
    }

    bool Seek(uint64_t position) override
    {
        return KrPlatform::IsFilePosition(position) &&
               ::lseek(m_descriptor.Get(), static_cast<off_t>(position), SEEK_SET) >= 0;
    }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        if (!KrPlatform::IsFilePosition(position))
            return {0, EINVAL};
        size_t done = 0;
        while (done < count)
        {
            const uint64_t from = position + done;
            if (!KrPlatform::IsFilePosition(from))
                break; // no file reaches here
            const ssize_t came = ::pread(m_descriptor.Get(), static_cast<char*>(buffer) + done,
                                         std::min(count - done, kMostBytesPerCall), static_cast<off_t>(from));
            if (came < 0 && errno == EINTR)
                continue;
            if (came < 0)
                return {0, static_cast<uint32_t>(errno)};
            if (came == 0)
                break; // end of the file
            done += static_cast<size_t>(came);
        }
        return {done, 0};
    }

    bool ShareWithReadersOnly() override { return HoldLock(m_descriptor, LOCK_SH); }

private:
    CKrFileDescriptor m_descriptor;
};

class CPosixFileSystem final : public IKrFileSystem
{
public:
    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        const std::optional<std::string> native = NativePath(path);
        if (!native)
            return nullptr;
        CKrFileDescriptor file = OpenNative(*native, O_RDONLY);
        if (!file.IsOpen() || !IsRegularFile(file) || !HoldLock(file, LOCK_SH))
            return nullptr;
        return std::make_unique<CPosixFile>(std::move(file));
    }

    // Without a lock: nobody notices.
    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override
    {
        const std::optional<std::string> native = NativePath(path);
        if (!native)
            return nullptr;
        CKrFileDescriptor file = OpenNative(*native, O_RDONLY);
        if (!file.IsOpen() || !IsRegularFile(file))
            return nullptr;
        return std::make_unique<CPosixFile>(std::move(file));
    }

    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        const std::optional<std::string> native = NativePath(path);
        return native ? CreateWritableFile(*native) : nullptr;
    }

    // The second descriptor shares the lock of the first.
    SKrChangedFile OpenForChanging(const wchar_t* path) override
    {
        const std::optional<std::string> native = NativePath(path);
        CKrFileDescriptor file = native ? OpenWithoutOthers(*native) : CKrFileDescriptor();
        CKrFileDescriptor again(file.IsOpen() ? ::fcntl(file.Get(), F_DUPFD_CLOEXEC, 0) : -1);
        if (!again.IsOpen())
            return {};
        return {std::make_unique<CPosixFile>(std::move(file)), MakeWritableFile(std::move(again))};
    }

    SKrFlushOutcome FlushName(const wchar_t* path) override
    {
        const std::optional<std::string> native = NativePath(path);
        return native ? FlushNameIn(*native) : SKrFlushOutcome{false, ENOENT};
    }

    bool Exists(const wchar_t* path) override
    {
        struct stat facts
        {
        };
        const std::optional<std::string> native = NativePath(path);
        return native && ::lstat(native->c_str(), &facts) == 0;
    }

    bool Delete(const wchar_t* path) override
    {
        const std::optional<std::string> native = NativePath(path);
        return native && DeleteUnusedFile(*native);
    }

    uint32_t BytesPerSector(const wchar_t* folder) override
    {
        const std::optional<std::string> native = NativePath(folder);
        return native ? SectorSizeBelow(native->empty() ? "." : *native) : 0;
    }
};
} // namespace

namespace KrPlatform
{
IKrFileSystem& OsFileSystem()
{
    static CPosixFileSystem fileSystem;
    static_assert(std::is_trivially_destructible_v<CPosixFileSystem>,
                  "hosts may come while the process ends");
    return fileSystem;
}

bool IsSamePath(std::wstring_view left, std::wstring_view right)
{
    return left == right;
}

size_t DrivePrefixLength(std::wstring_view)
{
    return 0; // a colon is a character like any other
}
} // namespace KrPlatform
