// What lies at a path, on Windows. The standard library's file operations are no help here: the C runtime
// below them does not take the prefix of long paths.
#include "platform/KrFileProbe.h"
#include "platform/KrUtf8.h"
#include "platform/win32/KrFileHandle.h"
#include "platform/win32/KrNativePath.h"

#include <cwctype>
#include <iterator>
#include <optional>

namespace
{
SKrFileProbe FailedProbe(DWORD error)
{
    using enum EKrReadability;
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME)
        return {Missing, 0, {}};
    if (error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION)
        return {InUse, 0, {}};
    if (error == ERROR_ACCESS_DENIED)
        return {NotAllowed, 0, {}};
    return {Failing, 0, OsErrorText(error)};
}

std::optional<BY_HANDLE_FILE_INFORMATION> FileFacts(const std::string& path)
{
    const CKrFileHandle file(CreateFileW(NativePath(path).c_str(), 0,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    BY_HANDLE_FILE_INFORMATION facts = {};
    if (!file.IsOpen() || !GetFileInformationByHandle(file.Get(), &facts))
        return std::nullopt;
    return facts;
}

SKrFileProbe ProbeFor(const std::string& path, DWORD access)
{
    const std::wstring native = NativePath(path);
    const DWORD attributes = GetFileAttributesW(native.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return {EKrReadability::Folder, 0, {}};
    const CKrFileHandle file(CreateFileW(native.c_str(), access, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen())
        return FailedProbe(GetLastError());
    LARGE_INTEGER size = {};
    if (GetFileType(file.Get()) != FILE_TYPE_DISK || !GetFileSizeEx(file.Get(), &size))
        return {EKrReadability::NotRegular, 0, {}};
    return {EKrReadability::Readable, static_cast<uint64_t>(size.QuadPart), {}};
}
} // namespace

SKrFileProbe ProbeForReading(const std::string& path)
{
    return ProbeFor(path, GENERIC_READ);
}

SKrFileProbe ProbeForChanging(const std::string& path)
{
    return ProbeFor(path, GENERIC_READ | GENERIC_WRITE);
}

EKrTarget TargetAt(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(NativePath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return EKrTarget::Free;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return EKrTarget::Folder;
    return (attributes & FILE_ATTRIBUTE_DEVICE) != 0 ? EKrTarget::Other : EKrTarget::RegularFile;
}

bool IsSymbolicLink(const std::string& path)
{
    const DWORD attributes = GetFileAttributesW(NativePath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

std::string ListFolder(const std::string& path, std::vector<SKrFolderEntry>& entries)
{
    const bool hasEnd = FolderOf(path) == path;
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW(NativePath(hasEnd ? path + "*" : path + "/*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return OsErrorText(GetLastError());
    do
    {
        const std::string name = Narrow(found.cFileName);
        const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (name != "." && name != "..")
            entries.push_back({name, isFolder});
    } while (FindNextFileW(search, &found));
    const DWORD error = GetLastError();
    FindClose(search);
    return error == ERROR_NO_MORE_FILES ? std::string() : OsErrorText(error);
}

std::optional<SKrFileIdentity> IdentityAt(const std::string& path)
{
    const auto facts = FileFacts(path);
    if (!facts)
        return std::nullopt;
    return SKrFileIdentity{facts->dwVolumeSerialNumber,
                           uint64_t{facts->nFileIndexHigh} << 32 | facts->nFileIndexLow};
}

std::string FolderOf(const std::string& path)
{
    return path.substr(0, path.find_last_of("/\\:") + 1);
}

std::string OsErrorText(uint32_t error)
{
    wchar_t text[512] = {};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                                  0, text, static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && (std::iswspace(text[length - 1]) != 0 || text[length - 1] == L'.'))
        --length;
    return length > 0 ? Narrow({text, length}) : "error " + std::to_string(error);
}
