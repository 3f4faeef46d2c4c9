// Arguments, console and files of Windows, as the tool needs them.
#include "platform/win32/KrLongPath.h"
#include "tools/command/KrText.h"
#include "tools/platform/KrToolPlatform.h"

#include <windows.h>

#include <shellapi.h>

#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <cwctype>
#include <optional>

namespace
{
// The most that one call is asked for, well below what its 32 bits hold.
constexpr size_t kMostBytesPerCall = size_t{1} << 30;

// Longer paths need the prefix that switches the system's own limit off; a folder's limit is the lower one.
constexpr size_t kLongestPlainPath = 247;
constexpr size_t kLongestPath = 32768; // with the prefix, terminator included

std::atomic<bool> g_interrupted{false};

BOOL WINAPI NoteInterruption(DWORD)
{
    g_interrupted = true;
    // The system ends the program as soon as some of these events return: the main thread needs time to
    // take its half-written file away, and its own end ends this wait.
    Sleep(5000);
    return TRUE;
}

KrTool::SKrOsResult ResultOf(bool done)
{
    if (done)
        return {};
    const DWORD error = GetLastError();
    return {error, error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS};
}

// A short name in a deep folder is a long path as well.
std::wstring WithoutLengthLimit(const std::wstring& path)
{
    if (HasDevicePrefix(path))
        return path;
    std::wstring absolute(kLongestPath, L'\0');
    absolute.resize(
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr));
    const bool isPlain = absolute.size() <= kLongestPlainPath || HasDevicePrefix(absolute);
    return isPlain ? path : WithLongPathPrefix(absolute);
}

// The path as the system takes it; empty, which no file has, when it is no text.
std::wstring NativePath(const std::string& path)
{
    return WithoutLengthLimit(KrTool::Widen(path).value_or(std::wstring()));
}

HANDLE ToHandle(intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

KrTool::SKrFileProbe FailedProbe(DWORD error)
{
    using enum KrTool::EKrReadability;
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME)
        return {Missing, 0, {}};
    if (error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION)
        return {InUse, 0, {}};
    if (error == ERROR_ACCESS_DENIED)
        return {NotAllowed, 0, {}};
    return {Failing, 0, KrTool::OsErrorText(error)};
}

KrTool::SKrFileProbe ProbeOpenFile(HANDLE file)
{
    LARGE_INTEGER size = {};
    if (GetFileType(file) != FILE_TYPE_DISK || !GetFileSizeEx(file, &size))
        return {KrTool::EKrReadability::NotRegular, 0, {}};
    return {KrTool::EKrReadability::Readable, static_cast<uint64_t>(size.QuadPart), {}};
}

std::optional<BY_HANDLE_FILE_INFORMATION> FileFacts(const std::string& path)
{
    const HANDLE file =
        CreateFileW(NativePath(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return std::nullopt;
    BY_HANDLE_FILE_INFORMATION facts = {};
    const bool known = GetFileInformationByHandle(file, &facts) != 0;
    CloseHandle(file);
    return known ? std::optional(facts) : std::nullopt;
}
} // namespace

namespace KrTool
{
std::vector<std::string> Utf8Arguments(int, char**)
{
    // The narrow arguments have lost what the system's code page does not hold.
    std::vector<std::string> arguments;
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr)
        return arguments;
    for (int index = 1; index < count; ++index)
        arguments.push_back(Narrow(wide[index]));
    LocalFree(wide);
    return arguments;
}

unsigned PrepareConsole()
{
    const unsigned codePage = GetConsoleOutputCP(); // 0 without a console
    if (codePage != 0)
        SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    return codePage;
}

void RestoreConsole(unsigned before)
{
    if (before != 0)
        SetConsoleOutputCP(before);
}

bool IsStandardErrorTerminal()
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

void CatchInterruptions()
{
    SetConsoleCtrlHandler(NoteInterruption, TRUE);
}

bool InterruptionRequested()
{
    return g_interrupted;
}

SKrFileProbe ProbeForReading(const std::string& path)
{
    const std::wstring native = NativePath(path);
    const DWORD attributes = GetFileAttributesW(native.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return {EKrReadability::Folder, 0, {}};
    const HANDLE file = CreateFileW(native.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return FailedProbe(GetLastError());
    SKrFileProbe probe = ProbeOpenFile(file);
    CloseHandle(file);
    return probe;
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

bool IsSameFile(const std::string& left, const std::string& right)
{
    const auto one = FileFacts(left);
    const auto two = FileFacts(right);
    return one && two && one->dwVolumeSerialNumber == two->dwVolumeSerialNumber &&
           one->nFileIndexHigh == two->nFileIndexHigh && one->nFileIndexLow == two->nFileIndexLow;
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

std::string FolderOf(const std::string& path)
{
    return path.substr(0, path.find_last_of("/\\:") + 1);
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
} // namespace KrTool
