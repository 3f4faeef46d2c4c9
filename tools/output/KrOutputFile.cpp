#include "tools/output/KrOutputFile.h"

#include "platform/KrFileProbe.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrStandardOutput.h"
#include "tools/command/KrToolError.h"

#include <vector>

namespace KrTool
{
namespace
{
constexpr int kMostNamesTried = 100;
constexpr size_t kTriedBytes = size_t{1} << 20; // more than fits on a disk reported as full
constexpr char kExistsAlready[] = "it exists already; --force replaces it";

// A new one each time, and short enough wherever the target's own name is.
std::string TemporaryName(const std::string& target)
{
    static unsigned number = 0;
    return Format("{}.kravi-{}-{}.tmp", FolderOf(target), ProcessNumber(), ++number);
}

std::string ReasonText(const std::string& target, const SKrOsResult& result)
{
    const std::string folder = FolderOf(target);
    const bool hasFolder = folder.empty() || TargetAt(folder) == EKrTarget::Folder;
    return hasFolder ? OsErrorText(result.error) : "there is no folder " + folder;
}
} // namespace

std::string FreeTemporaryName(const std::string& target)
{
    std::string name;
    do
        name = TemporaryName(target);
    while (TargetAt(name) != EKrTarget::Free);
    return name;
}

bool IsStandardOutput(const std::string& name)
{
    return name == "-";
}

void CheckStreamTarget(const std::string& target, bool replace, const std::string& source)
{
    if (!IsStandardOutput(target))
        CheckTarget(target, replace, source);
}

void CheckTarget(const std::string& target, bool replace, const std::string& source)
{
    if (IsStandardOutput(target))
        throw CKrToolError(
            {}, "'-' is the standard output, which cannot take this file: its parts are not written in "
                "their order; give a name (./- for a file called -)");
    switch (TargetAt(target))
    {
    case EKrTarget::Free:
        return;
    case EKrTarget::Folder:
        throw CKrToolError(target, "it is a folder");
    case EKrTarget::Other:
        throw CKrToolError(target, "it exists and is not a regular file");
    case EKrTarget::RegularFile:
        break;
    }
    if (IsSameFile(target, source))
        throw CKrToolError(target, "it is the input file");
    if (!replace)
        throw CKrToolError(target, kExistsAlready);
}

std::string WhyNotWritable(const std::string& target, uint64_t bytes)
{
    const std::string name = FreeTemporaryName(target);
    CKrNewFile file;
    SKrOsResult result = file.Create(name);
    if (!result.Ok())
        return ReasonText(target, result);
    const std::vector<uint8_t> block(kTriedBytes);
    result = file.SeekTo(bytes);
    if (result.Ok())
        result = file.Write(block.data(), block.size());
    const SKrOsResult closed = file.Close();
    RemoveFile(name);
    if (result.Ok())
        result = closed;
    return result.Ok() ? std::string() : OsErrorText(result.error);
}

CKrOutputFile::CKrOutputFile(std::string target, bool replace)
    : m_target(std::move(target)), m_replace(replace), m_isStandard(IsStandardOutput(m_target))
{
    if (m_isStandard)
        return;
    SKrOsResult result;
    for (int tried = 0; tried < kMostNamesTried; ++tried)
    {
        std::string name = TemporaryName(m_target);
        result = m_file.Create(name);
        if (result.Ok())
        {
            m_temporary = std::move(name);
            return;
        }
        if (!result.alreadyThere)
            break;
    }
    Check(result);
}

CKrOutputFile::~CKrOutputFile()
{
    if (m_temporary.empty())
        return;
    m_file.Discard();
    RemoveFile(m_temporary);
}

void CKrOutputFile::Check(const SKrOsResult& result) const
{
    if (!result.Ok())
        throw CKrToolError(m_target, "it cannot be written: " + ReasonText(m_target, result));
}

void CKrOutputFile::Write(const void* data, size_t size)
{
    if (m_isStandard)
        return Print({static_cast<const char*>(data), size});
    Check(m_file.Write(data, size));
}

void CKrOutputFile::SeekTo(uint64_t position)
{
    Check(m_file.SeekTo(position));
}

void CKrOutputFile::Commit()
{
    if (m_isStandard)
        return FlushOutput();
    Check(m_file.Close());
    const SKrOsResult moved = MoveIntoPlace(m_temporary, m_target, m_replace);
    if (moved.alreadyThere)
        throw CKrToolError(m_target, kExistsAlready);
    Check(moved);
    m_temporary.clear();
}
} // namespace KrTool
