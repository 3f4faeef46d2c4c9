#include "tools/mend/KrMendedFile.h"

#include "platform/KrFileProbe.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrToolError.h"

#include <numeric>

namespace KrTool
{
namespace
{
template <class RANGES, class SIZE>
SKrMendedBytes Sum(const RANGES& ranges, SIZE size)
{
    return {ranges.size(),
            std::accumulate(ranges.begin(), ranges.end(), uint64_t{0},
                            [size](uint64_t sum, const auto& range) { return sum + size(range); })};
}
} // namespace

std::string UndoPathOf(const std::string& path)
{
    return path + ".kravi-undo";
}

CKrMendedFile::CKrMendedFile(IKrFileSystem& files, const std::string& path)
    : CKrByteSource(path), m_files(files)
{
    if (IsSymbolicLink(path))
        throw CKrToolError(path,
                           "it is a symbolic link; name the file that it leads to, which keeps its undo "
                           "file beside it");
    m_file = files.OpenForChanging(WidePath(path).c_str());
    if (m_file.reading == nullptr)
        throw CKrToolError(path, WhyNotChangeable(ProbeForChanging(path)));
    const std::optional<uint64_t> length = m_file.reading->Size();
    if (!length)
        throw CKrToolError(path, "its length is unknown");
    SetLength(*length);
}

size_t CKrMendedFile::ReadAt(uint64_t position, void* buffer, size_t count) const
{
    const SKrTransfer transfer = m_file.reading->ReadAt(position, buffer, count);
    return transfer.Failed() ? 0 : transfer.bytes;
}

SKrMendedBytes CKrMendedFile::Change(const CKrBytePatches& patches, const std::string& verb)
{
    const std::vector<SKrChangedBytes> differences = patches.Differences(*this);
    if (differences.empty())
        return {};
    CKrUndoFile undo(m_files, UndoPathOf(Path()));
    CheckEarlierChange(undo);
    const SKrUndoRecord record = MakeUndoRecord(*this, differences, verb);
    CheckSize();
    undo.Append(record);
    uint32_t error = 0;
    if (!Write(differences, error))
        GiveUp(undo, error);
    SetLength(record.newSize);
    return Sum(differences, [](const SKrChangedBytes& difference) { return difference.bytes.size(); });
}

// A change that never began is forgotten; one that is half done must be taken back first.
void CKrMendedFile::CheckEarlierChange(CKrUndoFile& undo) const
{
    if (!undo.Last())
        return;
    switch (StateOf(*undo.Last(), *this))
    {
    case EKrUndoState::After:
        return;
    case EKrUndoState::Before:
        undo.DropLast();
        return CheckEarlierChange(undo);
    case EKrUndoState::Between:
        throw CKrToolError(Path(),
                           Format("kravi {} was interrupted while it changed the file; take that back "
                                  "first: kravi undo",
                                  undo.Last()->verb));
    case EKrUndoState::OtherFile:
        break;
    }
    throw CKrToolError(undo.Path(),
                       "it is about another file, or another program has changed the file since; "
                       "move it away first");
}

// Programs that record without a lock.
void CKrMendedFile::CheckSize() const
{
    if (m_file.reading->Size() != Length())
        throw CKrToolError(Path(), "it is in use: its length changes");
}

bool CKrMendedFile::Write(const std::vector<SKrChangedBytes>& differences, uint32_t& error)
{
    for (const SKrChangedBytes& difference : differences)
    {
        const KrByteSpan part(difference.bytes);
        const SKrTransfer transfer = m_file.writing->WriteAt(difference.position, {&part, 1});
        error = transfer.osError;
        if (transfer.Failed())
            return false;
    }
    const SKrFlushOutcome flushed = m_file.writing->Flush();
    error = flushed.osError;
    return flushed.done;
}

bool CKrMendedFile::Restore(const SKrUndoRecord& record, uint32_t& error)
{
    std::vector<SKrChangedBytes> old;
    for (const SKrUndoRange& range : record.ranges)
    {
        if (!range.oldBytes.empty())
            old.push_back({range.position, range.oldBytes});
    }
    const bool isCut = m_file.reading->Size() == record.oldSize || m_file.writing->CutTo(record.oldSize);
    return isCut && Write(old, error);
}

void CKrMendedFile::GiveUp(CKrUndoFile& undo, uint32_t error)
{
    const std::string cause =
        "it cannot be written" + (error != 0 ? ": " + OsErrorText(error) : std::string());
    if (!Restore(*undo.Last(), error))
        throw CKrToolError(Path(), cause + ", and it was changed in part; take that back: kravi undo");
    undo.DropLast();
    throw CKrToolError(Path(), cause + "; it is as it was");
}

SKrUndone CKrMendedFile::Undo()
{
    CKrUndoFile undo(m_files, UndoPathOf(Path()));
    if (!undo.IsThere())
        throw CKrToolError(Path(), Format("nothing to undo: there is no file {}", undo.Path()));
    SKrUndone undone;
    if (undo.Last())
    {
        const SKrUndoRecord& record = *undo.Last();
        const EKrUndoState state = StateOf(record, *this);
        if (state == EKrUndoState::OtherFile)
            throw CKrToolError(Path(),
                               Format("it was changed by another program since, or {} is about another "
                                      "file; nothing is undone",
                                      undo.Path()));
        uint32_t error = 0;
        CheckSize();
        if (state != EKrUndoState::Before && !Restore(record, error))
            throw CKrToolError(Path(), "it cannot be written" +
                                           (error != 0 ? ": " + OsErrorText(error) : std::string()) +
                                           "; kravi undo can be repeated");
        SetLength(record.oldSize);
        if (state != EKrUndoState::Before)
            undone.verb = record.verb;
        undone.changed = Sum(record.ranges, [](const SKrUndoRange& range)
                             { return range.oldBytes.size() + range.addedBytes; });
    }
    undo.DropLast();
    undone.hasMore = undo.Last().has_value();
    return undone;
}
} // namespace KrTool
