// Files of Windows.
#include "platform/KrOsTransfer.h"
#include "platform/KrPlatform.h"
#include "platform/win32/KrFileHandle.h"
#include "platform/win32/KrNativePath.h"
#include "platform/win32/KrWritableFileWin32.h"

#include <algorithm>
#include <climits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace
{
// Whether a path means the file that a handle has open.
bool IsNameOf(const std::wstring& path, HANDLE handle)
{
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const CKrFileHandle named(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    BY_HANDLE_FILE_INFORMATION ours{};
    BY_HANDLE_FILE_INFORMATION theirs{};
    return named.IsOpen() && GetFileInformationByHandle(handle, &ours) &&
           GetFileInformationByHandle(named.Get(), &theirs) &&
           ours.dwVolumeSerialNumber == theirs.dwVolumeSerialNumber &&
           ours.nFileIndexHigh == theirs.nFileIndexHigh && ours.nFileIndexLow == theirs.nFileIndexLow;
}

class CWin32File final : public IKrFile
{
public:
    // `path` is that of a file that is followed.
    explicit CWin32File(CKrFileHandle handle, std::wstring path = {})
        : m_handle(std::move(handle)), m_path(std::move(path))
    {
    }

    std::optional<uint64_t> Size() override
    {
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(m_handle.Get(), &size) || size.QuadPart < 0)
            return std::nullopt;
        return static_cast<uint64_t>(size.QuadPart);
    }

    bool Seek(uint64_t position) override
    {
        LARGE_INTEGER distance{};
        distance.QuadPart = static_cast<LONGLONG>(position);
        return KrPlatform::IsFilePosition(position) &&
               SetFilePointerEx(m_handle.Get(), distance, nullptr, FILE_BEGIN);
    }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        if (!KrPlatform::IsFilePosition(position))
            return {0, ERROR_NEGATIVE_SEEK};
        size_t done = 0;
        while (done < count)
        {
            const uint64_t from = position + done;
            if (!KrPlatform::IsFilePosition(from))
                break; // no file reaches here
            OVERLAPPED place{};
            place.Offset = static_cast<DWORD>(from);
            place.OffsetHigh = static_cast<DWORD>(from >> 32);
            DWORD came = 0;
            const auto wanted = static_cast<DWORD>(std::min(count - done, kMostBytesPerCall));
            if (!ReadFile(m_handle.Get(), static_cast<char*>(buffer) + done, wanted, &came, &place))
            {
                const DWORD error = GetLastError();
                if (error == ERROR_HANDLE_EOF)
                    break;
                return {0, error};
            }
            if (came == 0)
                break; // end of the file
            done += came;
        }
        return {done, 0};
    }

    // The file is opened once more, by its handle: its name may mean another file by now. Whoever has it open
    // for writing does not fit in with that. Where it fails for any other reason (the file is deleted) nobody
    // writes, and nobody will. So it is for a file that lost its name, which nobody could take from it while
    // it was being written; Wine, which opens it by that name after all, needs this. Asked now and then, for
    // it takes several calls.
    bool ShareWithReadersOnly() override
    {
        CKrFileHandle shared(ReOpenFile(m_handle.Get(), GENERIC_READ, FILE_SHARE_READ, 0));
        if (!shared.IsOpen() && GetLastError() == ERROR_SHARING_VIOLATION)
            return m_refusals++ % kRefusalsPerLook == 0 && !IsNameOf(m_path, m_handle.Get());
        m_kept = std::move(shared);
        return true;
    }

private:
    CKrFileHandle m_handle;
    static constexpr unsigned kRefusalsPerLook = 10;

    std::wstring m_path;     // of a file that is followed
    unsigned m_refusals = 0; // of the share mode
    CKrFileHandle m_kept;    // holds the share mode of a reader, where m_handle shares with everybody
};

// Not so for pipes, consoles and "NUL" (no disk), raw volumes (no file facts) and folders.
bool IsRegularFile(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION facts{};
    return GetFileType(handle) == FILE_TYPE_DISK && GetFileInformationByHandle(handle, &facts) &&
           (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool IsOpenElsewhere(const std::wstring& path)
{
    const CKrFileHandle handle(
        CreateFileW(path.c_str(), DELETE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    return !handle.IsOpen() && GetLastError() == ERROR_SHARING_VIOLATION;
}

// A file that somebody follows keeps its name until the last follower closes it, and nobody could make
// another one of that name. So it gets another name first, which the followers do not notice. Whoever reads
// the file in the usual way does not let go of the name either, and the file stays.
bool DeleteUnusedFile(const std::wstring& path)
{
    constexpr int kMostNames = 100;
    if (!IsOpenElsewhere(path))
        return DeleteFileW(path.c_str());
    for (int number = 0; number < kMostNames; ++number)
    {
        const std::wstring aside = path + L".~" + std::to_wstring(number);
        if (MoveFileExW(path.c_str(), aside.c_str(), 0))
            return DeleteFileW(aside.c_str());
        if (GetLastError() != ERROR_ALREADY_EXISTS)
            return false;
    }
    return false;
}

class CWin32FileSystem final : public IKrFileSystem
{
public:
    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        if (path == nullptr)
            return nullptr;
        CKrFileHandle handle(CreateFileW(NativePath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!handle.IsOpen() || !IsRegularFile(handle.Get()))
            return nullptr;
        return std::make_unique<CWin32File>(std::move(handle));
    }

    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override
    {
        if (path == nullptr)
            return nullptr;
        constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
        CKrFileHandle handle(CreateFileW(NativePath(path).c_str(), GENERIC_READ, kShareAll, nullptr,
                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!handle.IsOpen() || !IsRegularFile(handle.Get()))
            return nullptr;
        return std::make_unique<CWin32File>(std::move(handle), NativePath(path));
    }

    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        if (path == nullptr)
            return nullptr;
        CKrFileHandle handle(CreateFileW(NativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                         FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                         nullptr));
        if (!handle.IsOpen() || !IsRegularFile(handle.Get()))
            return nullptr;
        return MakeWritableFile(std::move(handle));
    }

    SKrChangedFile OpenForChanging(const wchar_t* path) override
    {
        if (path == nullptr)
            return {};
        CKrFileHandle handle(CreateFileW(NativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                         FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                         nullptr));
        HANDLE again = INVALID_HANDLE_VALUE;
        if (!handle.IsOpen() || !IsRegularFile(handle.Get()) ||
            !DuplicateHandle(GetCurrentProcess(), handle.Get(), GetCurrentProcess(), &again, 0, FALSE,
                             DUPLICATE_SAME_ACCESS))
            return {};
        CKrFileHandle forWriting(again); // owned before anything can throw
        return {std::make_unique<CWin32File>(std::move(handle)), MakeWritableFile(std::move(forWriting))};
    }

    bool Exists(const wchar_t* path) override
    {
        return path != nullptr && GetFileAttributesW(NativePath(path).c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    bool Delete(const wchar_t* path) override
    {
        return path != nullptr && DeleteUnusedFile(NativePath(path));
    }

    uint32_t BytesPerSector(const wchar_t* folder) override
    {
        if (folder == nullptr)
            return 0;
        // The call requires a separator at the end, and null for the current folder. A drive with a separator
        // is its root: its current folder, which may lie on another volume, has to be spelt out before.
        std::wstring root = *folder == L'\0' ? std::wstring() : NativePath(folder);
        if (root.size() == 2 && KrPlatform::DrivePrefixLength(root) == 2)
            root = NativePath(AbsolutePath(folder).c_str());
        if (!root.empty() && root.back() != L'\\' && root.back() != L'/')
            root += L'\\';
        DWORD sectorsPerCluster = 0;
        DWORD bytesPerSector = 0;
        DWORD freeClusters = 0;
        DWORD clusters = 0;
        return GetDiskFreeSpaceW(root.empty() ? nullptr : root.c_str(), &sectorsPerCluster, &bytesPerSector,
                                 &freeClusters, &clusters)
                   ? bytesPerSector
                   : 0;
    }
};
} // namespace

namespace KrPlatform
{
IKrFileSystem& OsFileSystem()
{
    static CWin32FileSystem fileSystem;
    static_assert(std::is_trivially_destructible_v<CWin32FileSystem>,
                  "hosts may come while the process ends");
    return fileSystem;
}

bool IsSamePath(std::wstring_view left, std::wstring_view right)
{
    // The comparison goes code unit by code unit, so the lengths decide first. It refuses null pointers,
    // which empty views may have, and its lengths are of type int.
    if (left.size() != right.size())
        return false;
    if (left.empty() || left.size() > INT_MAX)
        return left == right;
    const int length = static_cast<int>(left.size());
    return CompareStringOrdinal(left.data(), length, right.data(), length, TRUE) == CSTR_EQUAL;
}

size_t DrivePrefixLength(std::wstring_view path)
{
    const auto isLetter = [](wchar_t character)
    {
        return (character >= L'A' && character <= L'Z') || (character >= L'a' && character <= L'z');
    };
    return path.size() >= 2 && isLetter(path[0]) && path[1] == L':' ? 2 : 0;
}
} // namespace KrPlatform
