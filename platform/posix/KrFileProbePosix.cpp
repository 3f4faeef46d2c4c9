// What lies at a path, on POSIX systems.
#include "platform/KrFileProbe.h"
#include "platform/posix/KrOpenFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace
{
SKrFileProbe FailedProbe(int error)
{
    using enum EKrReadability;
    if (error == ENOENT || error == ENOTDIR)
        return {Missing, 0, {}};
    if (error == EACCES || error == EPERM || error == EROFS)
        return {NotAllowed, 0, {}};
    return {Failing, 0, OsErrorText(static_cast<uint32_t>(error))};
}

SKrFileProbe ProbeFor(const std::string& path, int access, int lock)
{
    using enum EKrReadability;
    const CKrFileDescriptor file = OpenNative(path, access);
    struct stat facts = {};
    if (!file.IsOpen() && errno == EISDIR)
        return {Folder, 0, {}};
    if (!file.IsOpen() || ::fstat(file.Get(), &facts) != 0)
        return FailedProbe(errno);
    if (S_ISDIR(facts.st_mode))
        return {Folder, 0, {}};
    if (!S_ISREG(facts.st_mode))
        return {NotRegular, 0, {}};
    if (!HoldLock(file, lock))
        return {InUse, 0, {}};
    return {Readable, static_cast<uint64_t>(facts.st_size), {}};
}
} // namespace

SKrFileProbe ProbeForReading(const std::string& path)
{
    return ProbeFor(path, O_RDONLY, LOCK_SH);
}

SKrFileProbe ProbeForChanging(const std::string& path)
{
    return ProbeFor(path, O_RDWR, LOCK_EX);
}

EKrTarget TargetAt(const std::string& path)
{
    using std::filesystem::file_type;
    std::error_code ignored;
    file_type type = std::filesystem::symlink_status(path, ignored).type();
    if (type == file_type::none || type == file_type::not_found)
        return EKrTarget::Free;
    if (type == file_type::symlink)
        type = std::filesystem::status(path, ignored).type(); // not found where the link leads nowhere
    if (type == file_type::directory)
        return EKrTarget::Folder;
    return type == file_type::regular ? EKrTarget::RegularFile : EKrTarget::Other;
}

bool IsSymbolicLink(const std::string& path)
{
    std::error_code ignored;
    return std::filesystem::is_symlink(std::filesystem::symlink_status(path, ignored));
}

std::string ListFolder(const std::string& path, std::vector<SKrFolderEntry>& entries)
{
    std::error_code error;
    std::filesystem::directory_iterator place(path, error);
    for (; !error && place != std::filesystem::directory_iterator(); place.increment(error))
    {
        std::error_code ignored; // a link that leads nowhere is no folder
        entries.push_back({place->path().filename().string(), place->is_directory(ignored)});
    }
    return error ? error.message() : std::string();
}

std::optional<SKrFileIdentity> IdentityAt(const std::string& path)
{
    struct stat facts = {};
    if (::stat(path.c_str(), &facts) != 0)
        return std::nullopt;
    return SKrFileIdentity{facts.st_dev, facts.st_ino};
}

std::string FolderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

std::string OsErrorText(uint32_t error)
{
    return std::generic_category().message(static_cast<int>(error));
}
