// The seam between the tool and the operating system: arguments, console, interruption, and the few file
// operations that the standard library does not have. Backends lie in win32/ and posix/. Paths are UTF-8.
#ifndef KR_TOOLS_PLATFORM_KRTOOLPLATFORM_H
#define KR_TOOLS_PLATFORM_KRTOOLPLATFORM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
// The program's arguments without its own name.
std::vector<std::string> Utf8Arguments(int argc, char** argv);

// Makes the console take UTF-8 and the standard streams take bytes as they are. Returns what RestoreConsole
// needs to give the console back as it was.
unsigned PrepareConsole();
void RestoreConsole(unsigned before);

class CKrConsole
{
public:
    CKrConsole() : m_before(PrepareConsole()) {}
    ~CKrConsole() { RestoreConsole(m_before); }
    CKrConsole(const CKrConsole&) = delete;
    CKrConsole& operator=(const CKrConsole&) = delete;

private:
    unsigned m_before;
};

bool IsStandardErrorTerminal();

// From now on Ctrl-C, and what else asks the program to end, is noted instead of ending it.
void CatchInterruptions();
bool InterruptionRequested();

// Why a file cannot be read, as far as the system tells.
enum class EKrReadability
{
    Readable,
    Missing,
    Folder,
    NotRegular,
    NotAllowed,
    InUse,
    Failing // for another reason, which `detail` names
};
struct SKrFileProbe
{
    EKrReadability state = EKrReadability::Failing;
    uint64_t size = 0; // of a readable file
    std::string detail;
};
SKrFileProbe ProbeForReading(const std::string& path);

// What lies at a place where a file is to be written.
enum class EKrTarget
{
    Free,
    RegularFile,
    Folder,
    Other
};
EKrTarget TargetAt(const std::string& path);

// Whether both paths lead to the same existing file.
bool IsSameFile(const std::string& left, const std::string& right);

// What a file operation did: 0, or the system's error number.
struct SKrOsResult
{
    uint32_t error = 0;
    bool alreadyThere = false; // the error is that the file exists

    bool Ok() const { return error == 0; }
};
std::string OsErrorText(uint32_t error);

// The folder part of a path with its last separator; empty for a bare name.
std::string FolderOf(const std::string& path);

// A file being written. Closed by its destructor.
class CKrNewFile
{
public:
    CKrNewFile() = default;
    ~CKrNewFile() { Discard(); }
    CKrNewFile(const CKrNewFile&) = delete;
    CKrNewFile& operator=(const CKrNewFile&) = delete;

    // Creates a file that must not exist yet.
    [[nodiscard]] SKrOsResult Create(const std::string& path);
    [[nodiscard]] SKrOsResult Write(const void* data, size_t size);
    [[nodiscard]] SKrOsResult SeekTo(uint64_t position);
    [[nodiscard]] SKrOsResult Close();

    // Closes a file that nobody needs any more.
    void Discard();

private:
    static constexpr intptr_t kClosed = -1;
    intptr_t m_handle = kClosed;
};

// Gives a finished file its final name. Without `replace` an existing file of that name is never touched.
[[nodiscard]] SKrOsResult MoveIntoPlace(const std::string& from, const std::string& to, bool replace);
void RemoveFile(const std::string& path);
unsigned ProcessNumber();
} // namespace KrTool

#endif
