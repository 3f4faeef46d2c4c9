#include "writer/KrSegments.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "format/KrLimits.h"

CKrSegments::CKrSegments(CKrFileTail& tail, const SKrWriterSetup& setup, const SKrRecordedTotals& totals,
                         CKrPatches& patches)
    : m_tail(tail), m_setup(setup), m_totals(totals), m_fields(patches), m_oldIndex(setup.bytesPerSector),
      m_videoIndex(EKrStream::Video, setup.ChunkId(EKrStream::Video), patches),
      m_audioIndex(EKrStream::Audio, setup.ChunkId(EKrStream::Audio), patches)
{
}

CKrStreamIndex& CKrSegments::Index(EKrStream stream)
{
    return stream == EKrStream::Video ? m_videoIndex : m_audioIndex;
}

bool CKrSegments::Begin()
{
    return WriteFirstHeader() && StartStdIndex(EKrStream::Video) &&
           (!m_setup.HasAudio() || StartStdIndex(EKrStream::Audio));
}

bool CKrSegments::WriteFirstHeader()
{
    const SKrHeaderLayout layout = LayOutFirstSegment(m_setup);
    const KrByteSpan part(layout.bytes);
    if (!m_tail.WriteWhole({&part, 1}))
        return false;
    m_number = 1;
    m_length = layout.bytes.size();
    m_moviLength = kListHeaderSize;
    m_tail.Advance(m_length);
    m_oldIndex.Begin(m_tail.Position());

    m_fields.TakeFirst(m_tail.Map(0, layout.bytes.size()), layout);
    m_videoIndex.SetSuperIndex(m_fields.InFirst(layout.videoIndex));
    if (m_setup.HasAudio())
        m_audioIndex.SetSuperIndex(m_fields.InFirst(layout.audioIndex));
    return true;
}

bool CKrSegments::WriteNextHeader()
{
    PatchHeaders();
    const uint64_t start = m_tail.Position();
    const SKrHeaderLayout layout = LayOutNextSegment(m_setup, start);
    const KrByteSpan part(layout.bytes);
    if (!m_tail.WriteWhole({&part, 1}))
        return false;
    ++m_number;
    m_length = layout.bytes.size();
    m_moviLength = m_length - kListHeaderSize;
    m_tail.Advance(m_length);

    m_fields.DropNext(); // before the next one is mapped: one such view at a time
    m_fields.TakeNext(m_tail.Map(start, layout.bytes.size()), layout);
    return true;
}

bool CKrSegments::StartNext()
{
    return (m_number > 1 || WriteOldIndex()) && WriteNextHeader();
}

// The first segment has its 'idx1', but the headers of the next could not be written: nothing fits here any
// more.
bool CKrSegments::IsBetweenSegments() const
{
    return m_number == 1 && m_oldIndex.IsEmpty();
}

// Kept: the first segment must stay below the limit, later ones may reach it.
bool CKrSegments::HasRoomFor(uint64_t bytes, size_t chunks) const
{
    if (bytes == 0)
        return true;
    const bool fits = m_number == 1 ? m_oldIndex.Reserved(chunks) + m_length + bytes < kSegmentLimit
                                    : m_length + bytes <= kSegmentLimit;
    return fits && !IsBetweenSegments();
}

bool CKrSegments::SizeFieldHolds(uint64_t bytes, size_t chunks) const
{
    const uint64_t reserved =
        m_number == 1 ? m_oldIndex.Reserved(chunks) + SKrOldIndexEntry::kEncodedSize + kIndexChunkSize : 0;
    return !IsBetweenSegments() && m_length + bytes + reserved <= UINT32_MAX;
}

void CKrSegments::MakeRoomForEntries(size_t chunks)
{
    if (m_number == 1)
        m_oldIndex.MakeRoom(chunks);
}

bool CKrSegments::Record(EKrStream stream, uint32_t length)
{
    const bool isIndexed = Index(stream).Record(m_tail.Position(), length);
    if (m_number == 1)
        m_oldIndex.Add(m_setup.ChunkId(stream), m_tail.Position(), length);
    return isIndexed;
}

void CKrSegments::Grow(uint64_t bytes)
{
    m_moviLength += bytes;
    m_length += bytes;
    m_tail.Advance(bytes);
}

bool CKrSegments::WriteOldIndex()
{
    if (m_oldIndex.IsEmpty())
        return true;
    const uint64_t written = m_oldIndex.Write(m_tail, m_length);
    m_length += written; // 'movi' ended before it
    m_tail.Advance(written);
    return written != 0;
}

bool CKrSegments::StartStdIndex(EKrStream stream)
{
    CKrStreamIndex& index = Index(stream);
    if (index.HasStdIndex())
    {
        Flush(stream);
        index.EndStdIndex();
    }
    if (!Reserve(kIndexChunkSize))
        return false;
    const KrByteSpan part(index.EmptyStdIndex());
    if (!m_tail.WriteWhole({&part, 1}))
        return false;
    index.StartStdIndex(m_tail.Position(), m_tail.Map(m_tail.Position(), kIndexChunkSize));
    Grow(kIndexChunkSize);
    // What waited while no index could be mapped may leave no room in this one.
    const bool hasRoom = !index.IsFull() && IsInReach(stream);
    return hasRoom || !index.HasStdIndex() || StartStdIndex(stream);
}

bool CKrSegments::StartIndexInReach(EKrStream stream)
{
    m_startAudioIndex = stream == EKrStream::Video; // as when an index is full
    return StartStdIndex(stream);
}

bool CKrSegments::KeepIndex(EKrStream stream)
{
    CKrStreamIndex& index = Index(stream);
    const bool isVideo = stream == EKrStream::Video;
    if (index.IsFull() || (!isVideo && m_startAudioIndex))
    {
        m_startAudioIndex = isVideo;
        return StartStdIndex(stream);
    }
    if (index.Pending() >= m_setup.wholeFrameRate || (!isVideo && m_flushAudioIndex))
    {
        Flush(stream);
        m_flushAudioIndex = isVideo;
    }
    return true;
}

bool CKrSegments::WillStartIndex(EKrStream stream, size_t chunks)
{
    return Index(stream).IsFull(chunks) || (stream == EKrStream::Audio && m_startAudioIndex);
}

void CKrSegments::Flush(EKrStream stream)
{
    PatchHeaders();
    Index(stream).Flush();
}

bool CKrSegments::Finish()
{
    if (!WriteOldIndex())
        return false;
    Flush(EKrStream::Video);
    if (m_setup.HasAudio())
        Flush(EKrStream::Audio);
    return true;
}

void CKrSegments::PatchHeaders()
{
    m_fields.Patch(m_length, m_moviLength, m_totals, m_setup);
}

void CKrSegments::Unmap()
{
    m_videoIndex.Unmap();
    m_audioIndex.Unmap();
    m_fields.Unmap();
}
