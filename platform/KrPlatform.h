// The one seam between the library and the operating system. Backends lie in win32/ and posix/; tests put
// their own file systems here, which fail, shorten, count, or live in memory.
#ifndef KR_PLATFORM_KRPLATFORM_H
#define KR_PLATFORM_KRPLATFORM_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

// The result of a read or a write. A read that ends at the end of the file has not failed: it returns fewer
// bytes.
struct SKrTransfer
{
    size_t bytes = 0;     // that were read or written
    uint32_t osError = 0; // the system's error number; 0 when nothing failed

    bool Failed() const { return osError != 0; }
};

// How a flush ended.
struct SKrFlushOutcome
{
    bool done = false;
    uint32_t osError = 0; // the system's error number, where it is not done and the system has one

    explicit operator bool() const { return done; }
};

// An open file. Closed by its destructor. Reads carry their position and may run on several threads at once.
class IKrFile
{
public:
    virtual ~IKrFile() = default;

    // Length in bytes, or nothing when the system does not report it.
    [[nodiscard]] virtual std::optional<uint64_t> Size() = 0;

    // Moves the system's own file pointer, which no read here depends on.
    [[nodiscard]] virtual bool Seek(uint64_t position) = 0;

    // Reads up to `count` bytes at an absolute position. Transfers are repeated until all came, the file
    // ended, or the system reported an error; bytes that came before an error are not counted.
    [[nodiscard]] virtual SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) = 0;

    // For a file of OpenForFollowing: shares it with other readers only from now on, as OpenForReading does.
    // False while somebody has it open for writing. Another file is shared that way already.
    [[nodiscard]] virtual bool ShareWithReadersOnly() { return true; }
};

// A range of a file in memory. What is put there is in the file, also when the process dies. Unmapped by its
// destructor, which must come before that of the file.
class IKrMappedView
{
public:
    virtual ~IKrMappedView() = default;

    // The first byte of the range that was asked for.
    [[nodiscard]] virtual uint8_t* Data() = 0;

    // Changes bytes of the range. Whoever else maps or reads the file never sees a part of 4 bytes that lie
    // at a multiple of 4.
    virtual void Put(size_t offset, std::span<const uint8_t> bytes);
};

using KrByteSpan = std::span<const uint8_t>;

// A file that is being written. Closed by its destructor.
class IKrWritableFile
{
public:
    virtual ~IKrWritableFile() = default;

    // Writes the parts one after the other from an absolute position on, with as few calls as the system
    // allows. Transfers are repeated until all is written or the system reports an error; the bytes that were
    // written before the error are counted.
    [[nodiscard]] virtual SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) = 0;

    // Flushes what was written to the device, through views that are mapped now as well. Not done when any of
    // that failed. Other threads may write, map and unmap meanwhile.
    virtual SKrFlushOutcome Flush() = 0;

    // Sets space of the disk aside for a file of that size, whose length and content stay as they are; what
    // is left of it goes with a cut to the file's own size. False when the system cannot, which does no harm.
    virtual bool ReserveTo(uint64_t size);

    // Maps a range for writing, which must lie inside the file and not be empty: null when the system cannot.
    // The view itself starts at a multiple of the system's allocation granularity.
    [[nodiscard]] virtual std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) = 0;

    // Makes the file end at this size: what lies past it is gone, and what was missing up to it reads as
    // zeros. No view of the file may be mapped past that; Windows may refuse while there is any view. False
    // when the system refuses, and for a size that no file has.
    [[nodiscard]] virtual bool CutTo(uint64_t size) = 0;
};

// A file that is changed in place: both refer to the same open file, and are null when it could not be
// opened.
struct SKrChangedFile
{
    std::unique_ptr<IKrFile> reading;
    std::unique_ptr<IKrWritableFile> writing;
};

// Nobody owns a file system through this: the operating system's must still work when hosts use the library
// from the last of their own destructors, so it has none.
class IKrFileSystem
{
public:
    // Opens an existing regular file, shared with other readers only: null when it is missing, is not a
    // regular file, or is open for writing elsewhere.
    [[nodiscard]] virtual std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) = 0;

    // Opens an existing regular file that somebody may be writing, and keeps nobody from writing, replacing
    // or deleting it. Where it is replaced or deleted the file that was opened stays readable. The one here
    // is for file systems in which nobody writes what is read.
    [[nodiscard]] virtual std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path)
    {
        return OpenForReading(path);
    }

    // Makes a file anew for reading and writing, an old one of that name emptied, shared with readers only:
    // null when that is not possible, also while anybody has it open.
    [[nodiscard]] virtual std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) = 0;

    // Opens an existing regular file for changes in place, shared with readers only: nothing when it is
    // missing, is not a regular file, must not be written, or is open anywhere. The one here is for file
    // systems whose files are never changed.
    [[nodiscard]] virtual SKrChangedFile OpenForChanging(const wchar_t* path);

    // Flushes the name of a file that was created here, where the flush of the file leaves it out.
    virtual SKrFlushOutcome FlushName(const wchar_t* path);

    // Whether anything of that name exists.
    [[nodiscard]] virtual bool Exists(const wchar_t* path) = 0;

    // Deletes a file. False when it is not there, or is open anywhere.
    virtual bool Delete(const wchar_t* path) = 0;

    // Sector size of the volume that a folder lies on, in bytes; 0 when the system does not report it. An
    // empty name means the current folder, a drive alone ("C:") the current one of that drive.
    [[nodiscard]] virtual uint32_t BytesPerSector(const wchar_t* folder) = 0;

protected:
    ~IKrFileSystem() = default;
};

// Time as the writer sees it. Like the file system, it is not owned and never destroyed.
class IKrClock
{
public:
    // Milliseconds from some start, modulo 2^32, in steps of one.
    [[nodiscard]] virtual uint32_t TickCount() = 0;

    // A counter of high resolution, and how often it counts in a second.
    [[nodiscard]] virtual int64_t PerformanceCounter() = 0;
    [[nodiscard]] virtual int64_t PerformanceFrequency() = 0;

    // Waits on the calling thread: never less than that, and little more, also for one millisecond. 0 does
    // not wait.
    virtual void Sleep(uint32_t milliseconds) = 0;

protected:
    ~IKrClock() = default;
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

// The operating system's time.
IKrClock& OsClock();

// The clock that writers take when they are made: the operating system's, unless something else was put here.
IKrClock& Clock();

// Whether two texts are the same path by the system's rule for names: character by character, on Windows
// without regard to case. Two spellings of one file's path may be different paths all the same.
bool IsSamePath(std::wstring_view left, std::wstring_view right);

// Length of the drive that a path begins with, 2 for "C:..."; 0 when there is none, as on systems without
// drives.
size_t DrivePrefixLength(std::wstring_view path);

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

// Puts another clock in place while it lives. From one thread.
class CClockScope
{
public:
    explicit CClockScope(IKrClock& clock);
    ~CClockScope();
    CClockScope(const CClockScope&) = delete;
    CClockScope& operator=(const CClockScope&) = delete;

private:
    IKrClock* m_previous;
};
} // namespace KrPlatform

#endif
