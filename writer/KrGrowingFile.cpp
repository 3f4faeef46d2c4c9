#include "writer/KrGrowingFile.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "writer/KrRiffFileChunk.h"

#include <algorithm>
#include <array>
#include <cmath>
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

void AddZeros(std::vector<KrByteSpan>& parts, uint64_t count)
{
    for (; count > 0; count -= parts.back().size())
        parts.push_back(
            KrByteSpan(kZeros).first(static_cast<size_t>(std::min<uint64_t>(count, kZeros.size()))));
}
} // namespace

CKrGrowingFile::CKrGrowingFile(std::unique_ptr<IKrWritableFile> file, const SKrWriterSetup& setup,
                               SKrRecordingFaults& faults)
    : m_setup(setup), m_faults(faults), m_tail(std::move(file), faults), m_segments(m_tail, m_setup, m_totals)
{
}

CKrGrowingFile::~CKrGrowingFile()
{
    Close();
}

void CKrGrowingFile::Close()
{
    m_segments.Unmap();
    m_tail.Close();
}

// Bytes of the 'JUNK' chunk that brings the position to a sector boundary.
uint64_t CKrGrowingFile::PaddingAfter(uint64_t position) const
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
        total += PaddingAfter(m_tail.Position() + total);
    }
    return total;
}

bool CKrGrowingFile::Reserve(std::span<const uint32_t> lengths)
{
    return m_segments.Reserve(PredictedSize(lengths));
}

bool CKrGrowingFile::WriteQueued(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                 std::span<const uint32_t> rest)
{
    const auto length = static_cast<uint32_t>(data.size());
    if (budget == EKrSegmentBudget::Check && !Reserve({&length, 1}))
        return false;
    bool startedIndex = false;
    if (!KeepFieldsIn32Bits(stream, length, startedIndex))
        return false;
    if (startedIndex && budget != EKrSegmentBudget::Ignore)
    {
        // The index takes room that was reserved for the chunk.
        std::vector<uint32_t> lengths{length};
        lengths.insert(lengths.end(), rest.begin(), rest.end());
        if (!Reserve(lengths))
            return false;
    }
    return WritePadded(stream, data);
}

// Starts a segment or a standard index where the chunk's size or offset would not fit its 32-bit field.
// `startedIndex` reports the latter.
bool CKrGrowingFile::KeepFieldsIn32Bits(EKrStream stream, uint32_t length, bool& startedIndex)
{
    if (!m_segments.SizeFieldHolds(PredictedSize({&length, 1})) && !m_segments.StartNext())
        return false;
    startedIndex = !m_segments.IsInReach(stream);
    return !startedIndex || m_segments.StartIndexInReach(stream);
}

// Chunk and padding go out in one write. When that ends inside the padding, the chunk itself is recorded.
bool CKrGrowingFile::WritePadded(EKrStream stream, KrByteSpan data)
{
    const auto length = static_cast<uint32_t>(data.size());
    const size_t chunkSize = data.size() + kChunkHeaderSize;
    const uint64_t padding = PaddingAfter(m_tail.Position() + chunkSize);
    const KrHeaderBytes header = HeaderBytes(m_setup.ChunkId(stream), length);
    const KrHeaderBytes junk = HeaderBytes(kFccJunk, static_cast<uint32_t>(padding - kChunkHeaderSize));
    m_parts.assign({header, data});
    if (padding > 0)
    {
        m_parts.push_back(junk);
        AddZeros(m_parts, padding - kChunkHeaderSize);
    }
    m_segments.MakeRoomForEntries();
    const uint64_t written = m_tail.Write(m_parts);
    if (written < chunkSize)
        return false;
    if (!Record(stream, length))
        m_faults.chunkNotIndexed = true;
    if (written < chunkSize + padding)
        return false;
    m_segments.Grow(padding);
    Count(stream, length);
    return true;
}

bool CKrGrowingFile::WriteDirect(EKrStream stream, KrByteSpan data)
{
    const auto length = static_cast<uint32_t>(data.size());
    if (!m_segments.SizeFieldHolds(data.size() + kChunkHeaderSize))
        return false;
    const KrHeaderBytes header = HeaderBytes(m_setup.ChunkId(stream), length);
    m_parts.assign({header, data});
    m_segments.MakeRoomForEntries();
    if (!m_tail.WriteWhole(m_parts))
        return false;
    Record(stream, length);
    return true;
}

// Answers whether the stream's OpenDML index leads to the chunk.
bool CKrGrowingFile::Record(EKrStream stream, uint32_t length)
{
    const bool isIndexed = m_segments.Record(stream, length);
    uint32_t& largest = stream == EKrStream::Video ? m_totals.largestVideo : m_totals.largestAudio;
    const uint64_t size = uint64_t{length} + kChunkHeaderSize;
    largest = std::max(largest, static_cast<uint32_t>(size));
    m_segments.Grow(size);
    return isIndexed;
}

void CKrGrowingFile::Count(EKrStream stream, uint32_t length)
{
    if (stream == EKrStream::Video)
    {
        ++m_totals.frames;
        return;
    }
    m_totals.audioBytes += length;
    m_segments.AddAudioDuration(length / m_setup.audio->blockAlign);
}

void CKrGrowingFile::MeasureDataRate()
{
    const uint64_t duration = uint64_t{m_totals.frames - m_measuredFrames} * m_setup.MicroSecPerFrame();
    if (duration < 1'000'000)
        return;
    const double bytes = static_cast<double>(m_tail.Position() - m_measuredPosition);
    const double rate = std::round(bytes / (static_cast<double>(duration) / 1'000'000));
    m_totals.maxBytesPerSec =
        std::max(m_totals.maxBytesPerSec, static_cast<uint32_t>(std::min<double>(rate, UINT32_MAX)));
    m_measuredPosition = m_tail.Position();
    m_measuredFrames = m_totals.frames;
    m_tail.Flush();
}
