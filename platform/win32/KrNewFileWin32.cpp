// New files of Windows.
#include "platform/KrNewFile.h"
#include "platform/KrOsTransfer.h"
#include "platform/win32/KrFileHandle.h"
#include "platform/win32/KrNativePath.h"

#include <algorithm>

namespace
{
SKrOsResult ResultOf(bool done)
{
    if (done)
        return {};
    const DWORD error = GetLastError();
    return {error, error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS};
}

HANDLE ToHandle(intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}
} // namespace

// Windows copies ranges within a volume only in whole clusters, and only on some file systems.
CKrRangeSource::CKrRangeSource(const std::string&, const std::optional<SKrFileIdentity>&) {}
CKrRangeSource::~CKrRangeSource() = default;

uint64_t CKrNewFile::CopyFrom(const CKrRangeSource&, uint64_t, uint64_t)
{
    return 0;
}

void CKrNewFile::Discard()
{
    if (m_handle != kClosed)
        CloseHandle(ToHandle(m_handle));
    m_handle = kClosed;
}

SKrOsResult CKrNewFile::Create(const std::string& path)
{
    static_assert(sizeof(HANDLE) == sizeof(intptr_t));
    const HANDLE file = CreateFileW(NativePath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    m_handle = reinterpret_cast<intptr_t>(file); // INVALID_HANDLE_VALUE has all bits set, as kClosed has
    return ResultOf(file != INVALID_HANDLE_VALUE);
}

SKrOsResult CKrNewFile::Write(const void* data, size_t size)
{
    const char* from = static_cast<const char*>(data);
    while (size > 0)
    {
        DWORD went = 0;
        if (!WriteFile(ToHandle(m_handle), from, static_cast<DWORD>(std::min(size, kMostBytesPerCall)), &went,
                       nullptr))
            return ResultOf(false);
        if (went == 0)
            return {ERROR_HANDLE_DISK_FULL, false};
        from += went;
        size -= went;
    }
    return {};
}

SKrOsResult CKrNewFile::SeekTo(uint64_t position)
{
    LARGE_INTEGER distance = {};
    distance.QuadPart = static_cast<LONGLONG>(position);
    return ResultOf(SetFilePointerEx(ToHandle(m_handle), distance, nullptr, FILE_BEGIN) != 0);
}

SKrOsResult CKrNewFile::Close()
{
    const HANDLE file = ToHandle(m_handle);
    m_handle = kClosed;
    return ResultOf(CloseHandle(file) != 0);
}

SKrOsResult MoveIntoPlace(const std::string& from, const std::string& to, bool replace)
{
    const DWORD flags = replace ? MOVEFILE_REPLACE_EXISTING : 0;
    return ResultOf(MoveFileExW(NativePath(from).c_str(), NativePath(to).c_str(), flags) != 0);
}

void RemoveFile(const std::string& path)
{
    DeleteFileW(NativePath(path).c_str());
}

unsigned ProcessNumber()
{
    return GetCurrentProcessId();
}
