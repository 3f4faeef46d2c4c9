#include "tools/avi/KrInputFile.h"

#include "platform/KrPlatform.h"
#include "platform/KrUtf8.h"
#include "tools/command/KrToolError.h"

#include <optional>

namespace KrTool
{
void CKrByteSource::Fill(uint64_t position, std::span<uint8_t> bytes) const
{
    while (!bytes.empty())
    {
        const size_t came = ReadAt(position, bytes.data(), bytes.size());
        if (came == 0)
            throw CKrToolError(m_path, "it cannot be read completely");
        position += came;
        bytes = bytes.subspan(came);
    }
}

void CKrByteSource::NoteOpened(uint64_t length)
{
    m_length = length;
    if (IdentityAt(m_path) != m_identity)
        m_identity.reset();
}

CKrInputFile::CKrInputFile(const std::string& path)
    : CKrByteSource(path), m_file(KrPlatform::OsFileSystem().OpenForReading(WidePath(path).c_str()))
{
    if (m_file == nullptr)
        throw CKrToolError(path, WhyNotReadable(ProbeForReading(path)));
    const std::optional<uint64_t> length = m_file->Size();
    if (!length)
        throw CKrToolError(path, "its length is unknown");
    NoteOpened(*length);
}

size_t CKrInputFile::ReadAt(uint64_t position, void* buffer, size_t count) const
{
    const SKrTransfer transfer = m_file->ReadAt(position, buffer, count);
    return transfer.Failed() ? 0 : static_cast<size_t>(transfer.bytes);
}

std::wstring WidePath(const std::string& path)
{
    std::optional<std::wstring> wide = Widen(path);
    if (!wide)
        throw CKrToolError(path, "its name is not valid UTF-8");
    return *std::move(wide);
}

void CheckReadable(const std::string& path)
{
    if (const SKrFileProbe probe = ProbeForReading(path); probe.state != EKrReadability::Readable)
        throw CKrToolError(path, WhyNotReadable(probe));
}

std::string WhyNotReadable(const SKrFileProbe& probe)
{
    switch (probe.state)
    {
    case EKrReadability::Missing:
        return "there is no such file";
    case EKrReadability::Folder:
        return "it is a folder, not a file";
    case EKrReadability::NotRegular:
        return "it is not a regular file";
    case EKrReadability::NotAllowed:
        return "no permission to read it";
    case EKrReadability::InUse:
        return "it is in use: another program holds it open for writing";
    case EKrReadability::Failing:
        return "it cannot be opened: " + probe.detail;
    case EKrReadability::Readable:
        break;
    }
    return "it cannot be opened for reading";
}

std::string WhyNotChangeable(const SKrFileProbe& probe)
{
    switch (probe.state)
    {
    case EKrReadability::NotAllowed:
        return "no permission to change it";
    case EKrReadability::InUse:
        return "it is in use: another program has it open";
    case EKrReadability::Readable:
        return "it cannot be opened for changes";
    default:
        return WhyNotReadable(probe);
    }
}
} // namespace KrTool
