// What lies at a path, and the system's words for what went wrong. Paths are UTF-8. Linked into kravi only.
#ifndef KR_PLATFORM_KRFILEPROBE_H
#define KR_PLATFORM_KRFILEPROBE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

// The same for a file that is to be changed in place, which nobody else may have open.
SKrFileProbe ProbeForChanging(const std::string& path);

// What lies at a place where a file is to be written.
enum class EKrTarget
{
    Free,
    RegularFile,
    Folder,
    Other
};
EKrTarget TargetAt(const std::string& path);

// Whether a path is that of a symbolic link.
bool IsSymbolicLink(const std::string& path);

// A file or folder in a folder; links count as what they lead to.
struct SKrFolderEntry
{
    std::string name;
    bool isFolder = false;
};

// All but "." and "..", in any order. Returns the system's words for what went wrong; empty when nothing did.
std::string ListFolder(const std::string& path, std::vector<SKrFolderEntry>& entries);

// Which file a path leads to, whatever its name. Nothing where there is none.
struct SKrFileIdentity
{
    uint64_t volume = 0;
    uint64_t number = 0; // on it

    bool operator==(const SKrFileIdentity&) const = default;
};
std::optional<SKrFileIdentity> IdentityAt(const std::string& path);

// Whether both paths lead to the same existing file.
inline bool IsSameFile(const std::string& left, const std::string& right)
{
    const std::optional<SKrFileIdentity> one = IdentityAt(left);
    return one && one == IdentityAt(right);
}

// The folder part of a path with its last separator; empty for a bare name.
std::string FolderOf(const std::string& path);

std::string OsErrorText(uint32_t error);

#endif
