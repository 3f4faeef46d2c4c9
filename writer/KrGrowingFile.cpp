// Chunks: their writing, padding, recording and counting. Segments and indexes: KrGrowingFileSegments.cpp.
#include "writer/KrGrowingFile.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "writer/KrRiffFileChunk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <utility>

namespace
{
using KrHeaderBytes = std::array<uint8_t, kChunkHeaderSize>;

constexpr std::array<uint8_t, 4096> kZeros{};

KrHeaderBytes HeaderBytes(uint32_t id, uint32_t size)
{
    KrHeaderBytes bytes;
    PutLe32(&bytes[0], id);
    PutLe32(&bytes[4], size);
    return bytes;
}

uint64_t TotalSize(std::span<const KrByteSpan> parts)
{
    uint64_t total = 0;
    for (const KrByteSpan& part : parts)
        total += part.size();
    return total;
}

void AddZeros(std::vector<KrByteSpan>& parts, uint64_t count)
{
    for (; count > 0; count -= parts.back().size())
        parts.push_back(
            KrByteSpan(kZeros).first(static_cast<size_t>(std::min<uint64_t>(count, kZeros.size()))));
}
} // namespace

CKrGrowingFile::CKrGrowingFile(std::unique_ptr<IKrWritableFile> file, const SKrWriterSetup& setup,
                               SKrRecordingFaults& faults)
    : m_setup(setup), m_faults(faults), m_file(std::move(file)),
      m_videoIndex(EKrStream::Video, setup.ChunkId(EKrStream::Video)),
      m_audioIndex(EKrStream::Audio, setup.ChunkId(EKrStream::Audio))
{
}

CKrGrowingFile::~CKrGrowingFile()
{
    Close();
}

void CKrGrowingFile::Close()
{
    if (m_file == nullptr)
        return;
    m_videoIndex.Unmap();
    m_audioIndex.Unmap();
    m_header.reset();
    m_firstHeader.reset();
    if (m_faults.writeFailed)
        static_cast<void>(m_file->CutTo(m_position)); // should that fail too, the tail does no harm
    FlushFile();
    m_file.reset();
}

// A recording goes on without what the device could not take, also when there was no memory to ask it.
void CKrGrowingFile::FlushFile()
{
    try
    {
        if (m_file->Flush())
            return;
    }
    catch (const std::bad_alloc&)
    {
    }
    m_faults.flushFailed = true;
}

std::unique_ptr<IKrMappedView> CKrGrowingFile::Map(uint64_t position, size_t length)
{
    std::unique_ptr<IKrMappedView> view = m_file->Map(position, length);
    if (view == nullptr)
        m_faults.viewMissing = true;
    return view;
}

CKrStreamIndex& CKrGrowingFile::Index(EKrStream stream)
{
    return stream == EKrStream::Video ? m_videoIndex : m_audioIndex;
}

// Answers how many bytes were written. Anything less than all sets the error flag.
uint64_t CKrGrowingFile::Append(std::span<const KrByteSpan> parts)
{
    const uint64_t written = m_file->WriteAt(m_position, parts).bytes;
    if (written < TotalSize(parts))
        m_faults.writeFailed = true;
    return written;
}

bool CKrGrowingFile::AppendWhole(std::span<const KrByteSpan> parts)
{
    return Append(parts) == TotalSize(parts);
}

// Bytes of the 'JUNK' chunk that brings the position to a sector boundary.
uint64_t CKrGrowingFile::PaddingBehind(uint64_t position) const
{
    const uint32_t sector = m_setup.bytesPerSector;
    return position % sector == 0 ? 0 : KrRoundUp(position + kChunkHeaderSize, sector) - position;
}

uint64_t CKrGrowingFile::PredictedSize(std::span<const uint32_t> lengths) const
{
    uint64_t total = 0;
    for (const uint32_t length : lengths)
    {
        if (length == 0)
            continue;
        total += uint64_t{length} + kChunkHeaderSize;
        total += PaddingBehind(m_position + total);
    }
    return total;
}

void CKrGrowingFile::Advance(uint64_t bytes)
{
    m_moviLength += bytes;
    m_segmentLength += bytes;
    m_position += bytes;
}

// Before a chunk is written, so that nothing can fail between it and its entries.
void CKrGrowingFile::MakeRoomForEntries()
{
    if (m_segments == 1 && m_oldIndex.capacity() - m_oldIndex.size() < SKrOldIndexEntry::kEncodedSize)
        m_oldIndex.reserve(2 * m_oldIndex.capacity() + SKrOldIndexEntry::kEncodedSize);
}

// Answers whether the stream's OpenDML index leads to the chunk.
bool CKrGrowingFile::Record(EKrStream stream, uint32_t length)
{
    const bool indexed = Index(stream).Record(m_position, length);
    if (m_segments == 1)
        RecordInOldIndex(m_setup.ChunkId(stream), kAviifKeyFrame, m_position, length);
    uint32_t& largest = stream == EKrStream::Video ? m_largestVideo : m_largestAudio;
    const uint64_t size = uint64_t{length} + kChunkHeaderSize;
    largest = std::max(largest, static_cast<uint32_t>(size));
    Advance(size);
    return indexed;
}

void CKrGrowingFile::Count(EKrStream stream, uint32_t length)
{
    if (stream == EKrStream::Video)
    {
        ++m_frames;
        return;
    }
    m_audioBytes += length;
    m_audioIndex.AddDuration(length / m_setup.audio->blockAlign);
}

bool CKrGrowingFile::MakeReach(EKrStream stream, uint32_t length, bool& startedIndex)
{
    startedIndex = false;
    if (!FitsSegment32(PredictedSize({&length, 1})) && !CloseSegmentAndStartNext())
        return false;
    if (Index(stream).Reaches(m_position))
        return true;
    startedIndex = true;
    m_startAudioIndex = stream == EKrStream::Video; // as when an index is full
    return StartStdIndex(stream);
}

// Chunk and padding go out in one write. When that ends inside the padding, the chunk itself is recorded.
bool CKrGrowingFile::WriteQueued(EKrStream stream, KrByteSpan data)
{
    const auto length = static_cast<uint32_t>(data.size());
    const size_t chunkSize = data.size() + kChunkHeaderSize;
    const uint64_t padding = PaddingBehind(m_position + chunkSize);
    const KrHeaderBytes header = HeaderBytes(m_setup.ChunkId(stream), length);
    const KrHeaderBytes junk = HeaderBytes(kFccJunk, static_cast<uint32_t>(padding - kChunkHeaderSize));
    m_parts.assign({header, data});
    if (padding > 0)
    {
        m_parts.push_back(junk);
        AddZeros(m_parts, padding - kChunkHeaderSize);
    }
    MakeRoomForEntries();
    const uint64_t written = Append(m_parts);
    if (written < chunkSize)
        return false;
    if (!Record(stream, length))
        m_faults.chunkNotIndexed = true;
    if (written < chunkSize + padding)
        return false;
    Advance(padding);
    Count(stream, length);
    return true;
}

bool CKrGrowingFile::WriteDirect(EKrStream stream, KrByteSpan data)
{
    const auto length = static_cast<uint32_t>(data.size());
    if (!FitsSegment32(data.size() + kChunkHeaderSize))
        return false;
    const KrHeaderBytes header = HeaderBytes(m_setup.ChunkId(stream), length);
    m_parts.assign({header, data});
    MakeRoomForEntries();
    if (!AppendWhole(m_parts))
        return false;
    Record(stream, length);
    return true;
}

void CKrGrowingFile::MeasureDataRate()
{
    const uint64_t duration = uint64_t{m_frames - m_measuredFrames} * m_setup.MicroSecPerFrame();
    if (duration < 1'000'000)
        return;
    const double bytes = static_cast<double>(m_position - m_measuredPosition);
    const double rate = std::round(bytes / (static_cast<double>(duration) / 1'000'000));
    m_maxBytesPerSec = std::max(m_maxBytesPerSec, static_cast<uint32_t>(std::min<double>(rate, UINT32_MAX)));
    m_measuredPosition = m_position;
    m_measuredFrames = m_frames;
    FlushFile();
}
