#include "tests/support/KrOsTestFiles.h"

#include "platform/posix/KrFileDescriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>

namespace KrTest
{
namespace
{
bool WriteAt(int descriptor, uint64_t position, const KrBytes& bytes)
{
    size_t done = 0;
    while (done < bytes.size())
    {
        const ssize_t went = ::pwrite(descriptor, bytes.data() + done, bytes.size() - done,
                                      static_cast<off_t>(position + done));
        if (went <= 0)
            return false;
        done += static_cast<size_t>(went);
    }
    return true;
}
} // namespace

namespace Os
{
std::filesystem::path StdPath(const std::wstring& path)
{
    return std::u32string(path.begin(), path.end()); // wide text would be converted according to the locale
}

std::wstring NewTemporaryPath()
{
    static std::atomic<unsigned> next = 0;
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    const std::string name =
        "kr-test-" + std::to_string(::getpid()) + "-" + std::to_string(ticks) + "-" + std::to_string(next++);
    const std::u32string path = (std::filesystem::temp_directory_path() / name).u32string();
    return {path.begin(), path.end()};
}

bool WriteSparseFile(const std::wstring& path, const CKrFileContent& content)
{
    const CKrFileDescriptor file(
        ::open(StdPath(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!file.IsOpen() || ::ftruncate(file.Get(), static_cast<off_t>(content.Size())) != 0)
        return false;
    for (const auto& [position, bytes] : content.Extents())
    {
        if (!WriteAt(file.Get(), position, bytes))
            return false;
    }
    return true;
}

bool MakeFolder(const std::wstring& path)
{
    std::error_code error;
    return std::filesystem::create_directory(StdPath(path), error);
}

bool RemoveFile(const std::wstring& path)
{
    std::error_code error;
    return std::filesystem::remove(StdPath(path), error);
}

bool RemoveTree(const std::wstring& path)
{
    std::error_code error;
    std::filesystem::remove_all(StdPath(path), error);
    return !error;
}

uint64_t AllocatedSize(const std::wstring& path)
{
    struct stat facts
    {
    };
    if (::stat(StdPath(path).c_str(), &facts) != 0)
        return UINT64_MAX;
    return static_cast<uint64_t>(facts.st_blocks) * 512;
}

bool MakeFifo(const std::wstring& path)
{
    return ::mkfifo(StdPath(path).c_str(), 0600) == 0;
}
} // namespace Os

struct CKrForeignWriter::SKrHandle
{
    CKrFileDescriptor file;
};

CKrForeignWriter::CKrForeignWriter(const std::wstring& path)
{
    CKrFileDescriptor file(::open(Os::StdPath(path).c_str(), O_RDWR | O_CLOEXEC));
    if (file.IsOpen() && ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0)
        m_handle = std::make_unique<SKrHandle>(SKrHandle{std::move(file)});
}

CKrForeignWriter::~CKrForeignWriter() = default;
} // namespace KrTest
