#include "tools/mend/KrUndoFile.h"

#include "format/KrBytes.h"
#include "platform/KrFileProbe.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <utility>

namespace KrTool
{
namespace
{
constexpr uint64_t kRecordHeadSize = 16; // magic and size

// The first bytes may not have reached the disk: they are missing then, or zeros.
bool MayBeUndoFile(const std::vector<uint8_t>& first)
{
    const auto differs = std::ranges::mismatch(first, kUndoMagic).in1;
    return std::all_of(differs, first.end(), [](uint8_t byte) { return byte == 0; });
}
} // namespace

CKrUndoFile::CKrUndoFile(IKrFileSystem& files, std::string path)
    : m_files(files), m_path(std::move(path)), m_widePath(WidePath(m_path)),
      m_isThere(files.Exists(m_widePath.c_str()))
{
    if (!m_isThere)
        return;
    if (IsSymbolicLink(m_path))
        throw CKrToolError(m_path, "it is a symbolic link, not an undo file");
    Open();
    ReadRecords();
}

void CKrUndoFile::Open()
{
    m_file = m_files.OpenForChanging(m_widePath.c_str());
    if (m_file.reading == nullptr)
        throw CKrToolError(m_path, WhyNotChangeable(ProbeForChanging(m_path)));
    const std::optional<uint64_t> size = m_file.reading->Size();
    if (!size)
        throw CKrToolError(m_path, "its length is unknown");
    m_size = *size;
}

void CKrUndoFile::ReadRecords()
{
    if (!MayBeUndoFile(Read(0, std::min<uint64_t>(m_size, sizeof kUndoMagic))))
        throw CKrToolError(m_path, "it is not an undo file of kravi; move it away first");
    while (m_size - m_end >= kRecordHeadSize)
    {
        const uint64_t claimed = GetLe64(&Read(m_end, kRecordHeadSize)[sizeof kUndoMagic]);
        std::optional<SKrDecodedUndo> decoded;
        if (claimed <= m_size - m_end)
            decoded = DecodeUndoRecord(Read(m_end, claimed));
        if (!decoded)
            return;
        m_last = std::move(decoded->record);
        m_lastStart = m_end;
        m_end += decoded->bytes;
    }
}

std::vector<uint8_t> CKrUndoFile::Read(uint64_t position, uint64_t count) const
{
    std::vector<uint8_t> bytes(static_cast<size_t>(count));
    const SKrTransfer transfer = m_file.reading->ReadAt(position, bytes.data(), bytes.size());
    if (transfer.Failed() || transfer.bytes != bytes.size())
        throw CKrToolError(m_path, "it cannot be read completely");
    return bytes;
}

void CKrUndoFile::Refuse(uint32_t error) const
{
    throw CKrToolError(m_path,
                       "it cannot be written" + (error != 0 ? ": " + OsErrorText(error) : std::string()));
}

void CKrUndoFile::Append(const SKrUndoRecord& record)
{
    if (!m_isThere)
    {
        m_file.writing = m_files.CreateForWriting(m_widePath.c_str());
        if (m_file.writing == nullptr)
            throw CKrToolError(m_path, "it cannot be created, and without an undo file nothing is changed");
        m_isThere = true;
    }
    uint32_t error = 0;
    if (!Write(Encode(record), error))
    {
        if (m_last)
            static_cast<void>(m_file.writing->CutTo(m_end));
        else
            Remove();
        Refuse(error);
    }
    m_last = record;
}

// What a crash left after the last record is overwritten; the checksum tells where something else follows.
bool CKrUndoFile::Write(const std::vector<uint8_t>& bytes, uint32_t& error)
{
    if (m_size > m_end && !m_file.writing->CutTo(m_end))
        return false;
    const KrByteSpan part(bytes);
    const SKrTransfer transfer = m_file.writing->WriteAt(m_end, {&part, 1});
    error = transfer.osError;
    if (transfer.Failed())
        return false;
    for (const auto& flush : {m_file.writing->Flush(), m_files.FlushName(m_widePath.c_str())})
    {
        error = flush.osError;
        if (!flush)
            return false;
    }
    m_lastStart = m_end;
    m_end += bytes.size();
    m_size = m_end;
    return true;
}

void CKrUndoFile::DropLast()
{
    if (!m_last || m_lastStart == 0)
        return Remove();
    m_end = m_lastStart;
    if (!m_file.writing->CutTo(m_end))
        Refuse(0);
    if (const SKrFlushOutcome flushed = m_file.writing->Flush(); !flushed)
        Refuse(flushed.osError);
    m_file = {};
    Open();
    m_last.reset();
    m_lastStart = m_end = 0;
    ReadRecords();
}

void CKrUndoFile::Remove()
{
    m_file = {};
    if (!m_files.Delete(m_widePath.c_str()))
        throw CKrToolError(m_path, "it cannot be deleted");
    static_cast<void>(m_files.FlushName(m_widePath.c_str())); // it may come back, and changes nothing then
    m_isThere = false;
    m_last.reset();
    m_lastStart = m_end = 0;
}
} // namespace KrTool
