// Segments of a file that is being written, their indexes and their headers.
#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrRiffFileChunk.h"

#include <algorithm>
#include <utility>

namespace
{
// Places of the fields that are patched, in their chunks with headers.
constexpr size_t kChunkSizeAt = 4;
constexpr size_t kMaxBytesPerSecAt = 8 + 4;
constexpr size_t kTotalFramesAt = 8 + 16;
constexpr size_t kSuggestedBufferSizeAt = 8 + 28;
constexpr size_t kStreamLengthAt = 8 + 32;
constexpr size_t kStreamBufferSizeAt = 8 + 36;
constexpr size_t kExtendedTotalFramesAt = 8;

void PutIfMapped(uint8_t* chunk, size_t at, uint32_t value)
{
    if (chunk != nullptr)
        PutLe32(chunk + at, value);
}

uint8_t* At(uint8_t* mapped, size_t place)
{
    return mapped != nullptr ? mapped + place : nullptr;
}

uint8_t* DataOf(const std::unique_ptr<IKrMappedView>& view)
{
    return view != nullptr ? view->Data() : nullptr;
}
} // namespace

bool CKrGrowingFile::Begin()
{
    return StartFirstSegment() && StartStdIndex(EKrStream::Video) &&
           (!m_setup.HasAudio() || StartStdIndex(EKrStream::Audio));
}

bool CKrGrowingFile::StartFirstSegment()
{
    const SKrHeaderLayout layout = LayOutFirstSegment(m_setup);
    const KrByteSpan part(layout.bytes);
    if (!AppendWhole({&part, 1}))
        return false;
    m_segments = 1;
    m_position = m_segmentLength = layout.bytes.size();
    m_moviLength = kListHeaderSize;
    RecordInOldIndex(kFccAbsoluteIdx1, 0, m_position, 0);

    m_firstHeader = Map(0, layout.bytes.size());
    uint8_t* const mapped = DataOf(m_firstHeader);
    m_fields.segment = mapped;
    m_fields.movi = At(mapped, layout.movi);
    m_fields.mainHeader = At(mapped, layout.mainHeader);
    m_fields.videoHeader = At(mapped, layout.videoHeader);
    m_fields.extendedHeader = At(mapped, layout.extendedHeader);
    m_videoIndex.SetSuperIndex(At(mapped, layout.videoIndex));
    if (m_setup.HasAudio())
    {
        m_fields.audioHeader = At(mapped, layout.audioHeader);
        m_audioIndex.SetSuperIndex(At(mapped, layout.audioIndex));
    }
    return true;
}

bool CKrGrowingFile::StartNextSegment()
{
    PatchHeaders();
    const SKrHeaderLayout layout = LayOutNextSegment(m_setup, m_position);
    const KrByteSpan part(layout.bytes);
    if (!AppendWhole({&part, 1}))
        return false;
    m_segmentLength = layout.bytes.size();
    m_moviLength = m_segmentLength - kListHeaderSize;
    const uint64_t start = m_position;
    m_position += m_segmentLength;
    ++m_segments;

    m_fields.segment = m_fields.movi = nullptr;
    m_header.reset(); // before the next: one such view at a time
    m_header = Map(start, layout.bytes.size());
    m_fields.segment = DataOf(m_header);
    m_fields.movi = At(m_fields.segment, layout.movi);
    return true;
}

bool CKrGrowingFile::CloseSegmentAndStartNext()
{
    return (m_segments > 1 || WriteOldIndex()) && StartNextSegment();
}

// The first segment has its 'idx1', but the headers of the next could not be written: nothing fits here any
// more.
bool CKrGrowingFile::IsBetweenSegments() const
{
    return m_segments == 1 && m_oldIndex.empty();
}

// Bytes that the first segment still needs for its 'idx1'.
uint64_t CKrGrowingFile::OldIndexTail() const
{
    return KrRoundUp(m_oldIndex.size() + kOldIndexOverhead, m_setup.bytesPerSector);
}

// Kept: the first segment must stay below the limit, later ones may reach it.
bool CKrGrowingFile::Reserve(uint64_t bytes)
{
    if (bytes == 0)
        return true;
    const bool fits = m_segments == 1 ? OldIndexTail() + m_segmentLength + bytes < kSegmentLimit
                                      : m_segmentLength + bytes <= kSegmentLimit;
    return (fits && !IsBetweenSegments()) || CloseSegmentAndStartNext();
}

// Whether the segment's size field can still hold it with that many bytes more. Chunks that are written
// without a look at the limit meet this bound.
bool CKrGrowingFile::FitsSegment32(uint64_t bytes) const
{
    const uint64_t tail =
        m_segments == 1 ? OldIndexTail() + SKrOldIndexEntry::kEncodedSize + kIndexChunkSize : 0;
    return !IsBetweenSegments() && m_segmentLength + bytes + tail <= UINT32_MAX;
}

void CKrGrowingFile::RecordInOldIndex(uint32_t id, uint32_t flags, uint64_t position, uint32_t size)
{
    CKrByteWriter out(m_oldIndex);
    Encode(out, SKrOldIndexEntry{id, flags, static_cast<uint32_t>(position), size});
}

bool CKrGrowingFile::WriteOldIndex()
{
    if (m_oldIndex.empty())
        return true;
    const uint64_t bytes = m_oldIndex.size();
    const uint64_t filled = m_segmentLength + bytes + kOldIndexOverhead;
    const uint64_t padding = KrRoundUp(filled, m_setup.bytesPerSector) - filled + kLeastOldIndexPadding;

    std::vector<uint8_t> header;
    CKrByteWriter headerOut(header);
    headerOut.U32Le(kFccIdx1);
    headerOut.U32Le(static_cast<uint32_t>(bytes + padding));
    std::vector<uint8_t> filler;
    CKrByteWriter fillerOut(filler);
    for (uint64_t number = 0; number < padding / SKrOldIndexEntry::kEncodedSize; ++number)
        Encode(fillerOut, SKrOldIndexEntry{kFccAbsoluteIdx1, 0, 0, 0});
    filler.resize(static_cast<size_t>(padding));

    const KrByteSpan parts[] = {header, m_oldIndex, filler};
    if (!AppendWhole(parts))
        return false;
    // Its memory goes too: this may be megabytes, and the recording goes on.
    std::vector<uint8_t>().swap(m_oldIndex);
    m_segmentLength += bytes + padding + kChunkHeaderSize;
    m_position += bytes + padding + kChunkHeaderSize;
    return true;
}

bool CKrGrowingFile::StartStdIndex(EKrStream stream)
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
    if (!AppendWhole({&part, 1}))
        return false;
    index.StartStdIndex(m_position, Map(m_position, kIndexChunkSize));
    Advance(kIndexChunkSize);
    // What waited while no index could be mapped may leave no room in this one.
    const bool hasRoom = !index.IsFull() && index.Reaches(m_position);
    return hasRoom || !index.HasStdIndex() || StartStdIndex(stream);
}

bool CKrGrowingFile::KeepIndex(EKrStream stream)
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

void CKrGrowingFile::Flush(EKrStream stream)
{
    PatchHeaders();
    Index(stream).Flush();
}

bool CKrGrowingFile::Finish()
{
    if (!WriteOldIndex())
        return false;
    Flush(EKrStream::Video);
    if (m_setup.HasAudio())
        Flush(EKrStream::Audio);
    return true;
}

void CKrGrowingFile::PatchHeaders()
{
    PutIfMapped(m_fields.segment, kChunkSizeAt, static_cast<uint32_t>(m_segmentLength - kChunkHeaderSize));
    PutIfMapped(m_fields.movi, kChunkSizeAt, static_cast<uint32_t>(m_moviLength - kChunkHeaderSize));

    PutIfMapped(m_fields.mainHeader, kTotalFramesAt, m_frames);
    PutIfMapped(m_fields.mainHeader, kMaxBytesPerSecAt, m_maxBytesPerSec);
    PutIfMapped(m_fields.mainHeader, kSuggestedBufferSizeAt, std::max(m_largestVideo, m_largestAudio));
    PutIfMapped(m_fields.videoHeader, kStreamLengthAt, m_frames);
    PutIfMapped(m_fields.videoHeader, kStreamBufferSizeAt, m_largestVideo);
    PutIfMapped(m_fields.extendedHeader, kExtendedTotalFramesAt, m_frames);
    if (m_setup.HasAudio())
    {
        PutIfMapped(
            m_fields.audioHeader, kStreamLengthAt,
            static_cast<uint32_t>(std::min<uint64_t>(m_audioBytes / m_setup.audio->blockAlign, UINT32_MAX)));
        PutIfMapped(m_fields.audioHeader, kStreamBufferSizeAt, m_largestAudio);
    }
}
