#include "reader/KrGrowth.h"

#include "format/KrAviHeaders.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"
#include "reader/KrHeaderCopy.h"
#include "reader/KrNoticingFile.h"
#include "reader/KrRecordingEnd.h"
#include "reader/KrStreamIndexes.h"

#include <algorithm>
#include <utility>

namespace
{
// Takes a new size of a container. One that falls, or that leads out of the file, is left for the next look.
// Answers whether anything changed.
bool TakeSize(SKrRiffChunkInfo& container, bool& wasUnfinished, uint32_t stored, uint64_t fileSize)
{
    const uint32_t before = container.cksize;
    if (IsUnfinishedSize(stored))
    {
        if (!wasUnfinished)
            return false;
        container.cksize = stored;
        ExtendIfUnfinished(container, fileSize);
        return container.cksize != before;
    }
    if (container.offset + stored > fileSize || (!wasUnfinished && stored < before))
        return false;
    container.cksize = stored;
    const bool changed = wasUnfinished || stored != before;
    wasUnfinished = false;
    return changed;
}
} // namespace

bool CKrGrowth::Start(uint64_t fileSize)
{
    CKrNoticingFile file(m_file);
    CKrFileCursor cursor;
    cursor.Attach(file, fileSize);
    std::optional<SKrSegment> first = ReadFirstRiff(cursor);
    const auto hdrl = first ? FindHeaderList(cursor, first->riff) : std::nullopt;
    if (!hdrl || hdrl->offset + hdrl->cksize > fileSize)
        return false;
    ReadSegmentParts(cursor, *first);
    if (file.Failed())
        return false;
    const uint64_t headerEnd =
        first->movi.offset != 0 ? first->movi.offset + kListTypeSize : hdrl->offset + hdrl->cksize;
    m_headerSize = static_cast<size_t>(std::min(headerEnd, kLargestFollowedHeader));
    m_now.size = fileSize;
    m_now.segments = {*first};
    m_now.streams = std::make_shared<const KrStreamLists>();
    return Look() != EKrNews::Failed;
}

EKrNews CKrGrowth::Refresh()
{
    const EKrNews news = Look();
    if (news == EKrNews::Failed)
        return news;
    if (news == EKrNews::More)
    {
        // Somebody who keeps no other from writing: on Linux all programs but ours.
        m_state = EKrGrowingState::BeingWritten;
        return news;
    }
    if (!m_isKept)
    {
        m_isKept = m_file.ShareWithReadersOnly();
        // What was written since the look before, up to the end of the recording.
        if (m_isKept && Look() == EKrNews::Failed)
            return EKrNews::Failed;
    }
    if (m_isKept && m_state == EKrGrowingState::BeingWritten && !FindEndState())
        return EKrNews::Failed;
    return m_isTold ? EKrNews::None : EKrNews::More;
}

// One look at the file. The length is asked for after everything that names bytes in it was read.
EKrNews CKrGrowth::Look()
{
    SLook look;
    look.header.swap(m_spare);
    look.streams = m_now.streams;
    look.totalFrames = m_now.totalFrames;
    look.segments = m_now.segments;
    SStoredSizes stored;
    if (!ReadHeader(look) || !ReadSizes(look, stored))
        return EKrNews::Failed;
    const bool headerChanged = look.header != m_now.header;
    if (headerChanged && (!ParseHeader(look) || !AddIndexes(look)))
        return EKrNews::Failed;
    if (!ReadIndexHeads(look))
        return EKrNews::Failed;
    const std::optional<uint64_t> size = m_file.Size();
    if (!size)
        return EKrNews::Failed;
    look.size = *size;
    bool segmentsChanged = false;
    if (!FollowSegments(look, stored, segmentsChanged) || !CheckIndexes(look))
        return EKrNews::Failed;

    bool indexesGrew = false;
    for (auto& [stream, growing] : m_growing)
        indexesGrew = growing.TakeInto(m_indexes.Directory(stream), look.size) || indexesGrew;
    const bool isNew = headerChanged || segmentsChanged || indexesGrew || look.size != m_now.size;
    m_isTold = m_isTold && !isNew;
    std::swap(m_now, look);
    m_spare.swap(look.header);
    return isNew ? EKrNews::More : EKrNews::None;
}

bool CKrGrowth::ReadHeader(SLook& look)
{
    look.header.resize(m_headerSize);
    const SKrTransfer read = m_file.ReadAt(0, look.header.data(), look.header.size());
    return !read.Failed() && read.bytes == look.header.size();
}

// Of streams that are there already only the values change, and no length falls. A header that makes no
// sense, since it is being written, is left for the next look.
bool CKrGrowth::ParseHeader(SLook& look) const
{
    CKrHeaderCopy copy(look.header, m_file);
    CKrNoticingFile file(copy);
    CKrFileCursor cursor;
    cursor.Attach(file, m_now.size);
    const std::optional<SKrSegment> first = ReadFirstRiff(cursor);
    const auto hdrl = first ? FindHeaderList(cursor, first->riff) : std::nullopt;
    if (!hdrl)
        return !file.Failed();
    auto streams = std::make_shared<KrStreamLists>(ReadStreamLists(cursor, *hdrl));
    if (file.Failed())
        return false;
    if (streams->size() < m_now.streams->size())
        return true;
    for (size_t number = 0; number < m_now.streams->size(); ++number)
    {
        uint32_t& length = (*streams)[number].header.length;
        length = std::max(length, (*m_now.streams)[number].header.length);
    }
    look.streams = std::move(streams);
    if (const auto mainHeader = ReadMainHeader(cursor, *hdrl))
        look.totalFrames = std::max(look.totalFrames, mainHeader->totalFrames);
    return !file.Failed();
}

// The size fields of the last segment, from the header where they lie in it.
bool CKrGrowth::ReadSizes(const SLook& look, SStoredSizes& stored)
{
    const SKrSegment& last = look.segments.back();
    const auto read = [&](uint64_t position, uint32_t& size)
    {
        if (position + sizeof size <= look.header.size())
        {
            size = GetLe32(&look.header[static_cast<size_t>(position)]);
            return true;
        }
        // The two fields lie side by side in files of one block.
        if (position < m_sizesAt || position + sizeof size > m_sizesAt + m_sizesRead)
        {
            const SKrTransfer transfer = m_file.ReadAt(position, m_sizes.data(), m_sizes.size());
            if (transfer.Failed() || transfer.bytes < sizeof size)
                return false;
            m_sizesAt = position;
            m_sizesRead = transfer.bytes;
        }
        size = GetLe32(&m_sizes[static_cast<size_t>(position - m_sizesAt)]);
        return true;
    };
    m_sizesRead = 0;
    stored.riff = last.riff.cksize;
    stored.movi = last.movi.cksize;
    return read(last.riff.offset - 4, stored.riff) &&
           (last.movi.offset == 0 || read(last.movi.offset - 4, stored.movi));
}

std::span<const uint8_t> CKrGrowth::IndexIn(const SLook& look, uint32_t stream)
{
    const SKrStreamList& list = (*look.streams)[stream];
    const uint64_t from = std::min<uint64_t>(list.indexPosition + kChunkHeaderSize, look.header.size());
    const uint64_t count = std::min<uint64_t>(list.indexSize, look.header.size() - from);
    return std::span(look.header).subspan(static_cast<size_t>(from), static_cast<size_t>(count));
}

// Makes a directory for each 'indx'. What is no plain super index is read as a whole each time that the
// headers change.
bool CKrGrowth::AddIndexes(const SLook& look)
{
    for (uint32_t stream = 0; stream < look.streams->size(); ++stream)
    {
        const SKrStreamList& list = (*look.streams)[stream];
        if (list.indexPosition == 0 || m_growing.contains(stream))
            continue;
        CKrNoticingFile file(m_file);
        if (CKrGrowingIndex::CanFollow(file, IndexIn(look, stream)))
        {
            static_cast<void>(m_indexes.Directory(stream));
            m_growing.emplace(stream, CKrGrowingIndex());
        }
        else
        {
            CKrIndexDirectory directory;
            if (directory.Read(file, m_now.size, list.indexPosition) &&
                directory.Entries() >= m_indexes.Directory(stream).Entries())
                m_indexes.Directory(stream) = std::move(directory);
        }
        if (file.Failed())
            return false;
    }
    return true;
}

bool CKrGrowth::ReadIndexHeads(const SLook& look)
{
    const auto count = static_cast<uint32_t>(m_growing.size());
    uint32_t place = 0;
    for (auto& [stream, growing] : m_growing)
    {
        const bool isItsTurn = (place++ + count - m_nextHead) % count < kHeadsInTurn;
        const std::span<const uint8_t> indx = IndexIn(look, stream);
        const bool hasChanged =
            stream >= m_now.streams->size() || !std::ranges::equal(indx, IndexIn(m_now, stream));
        growing.ForgetHeads();
        if ((isItsTurn || hasChanged) && !growing.ReadHeads(m_file, indx))
            return false;
    }
    m_nextHead = count > kHeadsInTurn ? (m_nextHead + kHeadsInTurn) % count : 0;
    return true;
}

// Takes the new sizes of the last segment, and the segments that came after it.
bool CKrGrowth::FollowSegments(SLook& look, const SStoredSizes& stored, bool& changed)
{
    SKrSegment& last = look.segments.back();
    changed = TakeSize(last.riff, last.isUnfinished, stored.riff, look.size);
    if (last.movi.offset != 0)
        changed = TakeSize(last.movi, last.isMoviUnfinished, stored.movi, look.size) || changed;
    if (!changed && look.size == m_now.size && !m_now.header.empty())
        return true;

    CKrNoticingFile file(m_file);
    CKrFileCursor cursor;
    cursor.Attach(file, look.size);
    while (look.segments.size() < kMostSegments)
    {
        SKrSegment& segment = look.segments.back();
        const uint64_t end = PositionAfter(segment.riff);
        const bool hasMore = segment.idx1.offset == 0 && !segment.isMoviUnfinished && end <= look.size &&
                             PositionAfter(segment.movi) + kChunkHeaderSize <= end;
        if (segment.movi.offset == 0 || hasMore)
            ReadSegmentParts(cursor, segment);
        cursor.SeekTo(end);
        const std::optional<SKrSegment> next =
            segment.isUnfinished ? std::nullopt : ReadSegmentAt(cursor, kFccAvix);
        if (!next)
            break;
        look.segments.push_back(*next);
        changed = true;
    }
    return !file.Failed();
}

bool CKrGrowth::CheckIndexes(const SLook& look)
{
    return std::ranges::all_of(m_growing, [&](auto& entry) { return entry.second.Check(m_file, look.size); });
}

// False when the file cannot be read: the state is then asked for again.
bool CKrGrowth::FindEndState()
{
    CKrNoticingFile file(m_file);
    std::vector<uint64_t> named;
    const bool complete =
        m_indexes.FindNamed(file, m_now.size, *m_now.streams, m_now.segments.back(), named) &&
        IsRecordingComplete(file, m_now.size, m_now.segments.back(), named);
    if (file.Failed())
        return false;
    m_state = complete ? EKrGrowingState::Complete : EKrGrowingState::Abandoned;
    return true;
}
