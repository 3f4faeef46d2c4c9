// The one seam between the library and the operating system. Backends lie in win32/ and posix/; tests put
// their own file systems here, which fail, shorten, count, or live in memory.
#ifndef KR_PLATFORM_KRPLATFORM_H
#define KR_PLATFORM_KRPLATFORM_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

// What a read did. A read that ends early at the end of the file is no failure: it brings fewer bytes.
struct SKrTransfer
{
    size_t bytes = 0;     // bytes that came
    uint32_t osError = 0; // the system's error number; 0 when nothing failed

    bool Failed() const { return osError != 0; }
};

// An open file. Closed by its destructor. Reads carry their position and may run on several threads at once.
class IKrFile
{
public:
    virtual ~IKrFile() = default;

    // Length in bytes, or nothing when the system does not tell.
    [[nodiscard]] virtual std::optional<uint64_t> Size() = 0;

    // Moves the system's own file pointer, which no read here depends on.
    [[nodiscard]] virtual bool Seek(uint64_t position) = 0;

    // Reads up to `count` bytes at an absolute position. Transfers are repeated until all came, the file
    // ended, or the system reported an error; bytes that came before an error are not counted.
    [[nodiscard]] virtual SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) = 0;
};

class IKrFileSystem
{
public:
    virtual ~IKrFileSystem() = default;

    // Opens an existing regular file, shared with other readers only: null when it is missing, is not a
    // regular file, or is open for writing elsewhere.
    [[nodiscard]] virtual std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) = 0;
};

namespace KrPlatform
{
// Positions in files have 63 bits: beyond that a seek fails and a read brings nothing but an error, whatever
// the system would make of such a number.
constexpr bool IsFilePosition(uint64_t position)
{
    return position <= INT64_MAX;
}

// The operating system's files.
IKrFileSystem& OsFileSystem();

// The file system that newly opened files come from: the operating system's, unless a test put another here.
IKrFileSystem& FileSystem();

// Whether two paths are equal without regard to case, by the rule of the platform's own tables.
bool EqualIgnoringCase(std::wstring_view left, std::wstring_view right);

// Puts another file system in place while it lives. For tests, from one thread.
class CFileSystemScope
{
public:
    explicit CFileSystemScope(IKrFileSystem& fileSystem);
    ~CFileSystemScope();
    CFileSystemScope(const CFileSystemScope&) = delete;
    CFileSystemScope& operator=(const CFileSystemScope&) = delete;

private:
    IKrFileSystem* m_previous;
};
} // namespace KrPlatform

#endif
