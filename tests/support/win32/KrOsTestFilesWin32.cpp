#include "tests/support/KrOsTestFiles.h"

#include "platform/win32/KrFileHandle.h"

#include <winioctl.h>

#include <atomic>
#include <chrono>
#include <string>

namespace KrTest
{
namespace
{
// Absolute paths of any length, even for calls that otherwise take only short ones.
std::wstring LongPath(const std::wstring& path)
{
    return L"\\\\?\\" + path;
}

bool WriteAt(HANDLE file, uint64_t position, const KrBytes& bytes)
{
    size_t done = 0;
    while (done < bytes.size())
    {
        const uint64_t from = position + done;
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(from);
        place.OffsetHigh = static_cast<DWORD>(from >> 32);
        constexpr size_t kMostBytesPerCall = size_t{1} << 26;
        const size_t left = bytes.size() - done;
        const auto part = static_cast<DWORD>(left < kMostBytesPerCall ? left : kMostBytesPerCall);
        DWORD went = 0;
        if (!WriteFile(file, bytes.data() + done, part, &went, &place) || went == 0)
            return false;
        done += went;
    }
    return true;
}

bool SetFileLength(HANDLE file, uint64_t size)
{
    LARGE_INTEGER distance{};
    distance.QuadPart = static_cast<LONGLONG>(size);
    return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN) && SetEndOfFile(file);
}
} // namespace

namespace Os
{
std::filesystem::path StdPath(const std::wstring& path)
{
    return path;
}

std::wstring NewTemporaryPath()
{
    static std::atomic<unsigned> next = 0;
    wchar_t folder[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, folder); // ends with a separator
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    return std::wstring(folder) + L"kr-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(ticks) + L"-" + std::to_wstring(next++);
}

bool WriteSparseFile(const std::wstring& path, const CKrFileContent& content)
{
    const CKrFileHandle file(CreateFileW(LongPath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                         CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen())
        return false;
    // Volumes without sparse files, and Wine, whose files are sparse anyway, refuse this.
    DWORD unused = 0;
    DeviceIoControl(file.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &unused, nullptr);
    if (!SetFileLength(file.Get(), content.Size()))
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
    return CreateDirectoryW(LongPath(path).c_str(), nullptr) != 0;
}

bool RemoveFile(const std::wstring& path)
{
    return DeleteFileW(LongPath(path).c_str()) != 0;
}

bool RemoveTree(const std::wstring& path)
{
    WIN32_FIND_DATAW entry{};
    const HANDLE search = FindFirstFileW(LongPath(path + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    bool done = true;
    do
    {
        const std::wstring name = entry.cFileName;
        if (name == L"." || name == L"..")
            continue;
        const std::wstring inner = path + L"\\" + name;
        const bool isFolder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        done = (isFolder ? RemoveTree(inner) : RemoveFile(inner)) && done;
    } while (FindNextFileW(search, &entry));
    FindClose(search);
    return RemoveDirectoryW(LongPath(path).c_str()) && done;
}

uint64_t AllocatedSize(const std::wstring& path)
{
    // Not GetCompressedFileSizeW, for which Wine returns the file's length.
    const CKrFileHandle file(CreateFileW(LongPath(path).c_str(), FILE_READ_ATTRIBUTES,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    FILE_STANDARD_INFO facts{};
    if (!file.IsOpen() || !GetFileInformationByHandleEx(file.Get(), FileStandardInfo, &facts, sizeof facts))
        return UINT64_MAX;
    return static_cast<uint64_t>(facts.AllocationSize.QuadPart);
}

bool MakeFifo(const std::wstring&)
{
    return false;
}
} // namespace Os

struct CKrForeignWriter::SKrHandle
{
    CKrFileHandle file;
};

CKrForeignWriter::CKrForeignWriter(const std::wstring& path)
{
    CKrFileHandle file(CreateFileW(LongPath(path).c_str(), GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file.IsOpen())
        m_handle = std::make_unique<SKrHandle>(SKrHandle{std::move(file)});
}

CKrForeignWriter::~CKrForeignWriter() = default;
} // namespace KrTest
