#include "writer/KrGrowingFile.h"

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

void AddZeros(std::vector<KrByteSpan>& parts, uint64_t count)
{
    for (; count > 0; count -= parts.back().size())
        parts.push_back(
            KrByteSpan(kZeros).first(static_cast<size_t>(std::min<uint64_t>(count, kZeros.size()))));
}
} // namespace

CKrGrowingFile::CKrGrowingFile(std::unique_ptr<IKrWritableFile> file, const SKrWriterSetup& setup,
                               const SKrRecordingRules& rules, SKrRecordingFaults& faults,
                               CKrRecordingStatus& status)
    : m_setup(setup), m_rules(rules), m_faults(faults), m_status(status), m_tail(std::move(file), faults),
      m_patches(status), m_segments(m_tail, m_setup, m_totals, m_patches)
{
}

// Nobody relies on the file before: a crash may leave names in the header of what is not there yet.
bool CKrGrowingFile::Begin()
{
    const bool begun = m_segments.Begin();
    if (begun && m_rules.powerSafe)
    {
        m_segments.PatchHeaders();         // readers want a chunk in 'movi': there are the empty indexes
        static_cast<void>(m_tail.Flush()); // a failure is noted, and the recording continues
        m_patches.Defer();
    }
    ReportCounts();
    return begun;
}

CKrGrowingFile::~CKrGrowingFile()
{
    Close();
}

void CKrGrowingFile::Close()
{
    if (m_tail.IsOpen() && m_patches.AreDeferred())
    {
        Flush();
        m_patches.PublishUnflushed(); // what is left: the disk cannot be relied on, and the close reports it
    }
    m_segments.Unmap();
    m_tail.Close(m_rules.preallocation != 0);
}

void CKrGrowingFile::Flush()
{
    if (m_patches.AreDeferred())
        m_patches.Publish([this] { return m_tail.Flush(); });
    else
        static_cast<void>(m_tail.Flush());
}

void CKrGrowingFile::ReportCounts()
{
    m_status.SetCounts({.segments = m_segments.Number(),
                        .frames = m_totals.frames,
                        .audioChunks = m_audioChunks,
                        .superIndexFull = m_segments.IsSuperIndexFull(),
                        .framesInIndex = m_patches.FramesInIndex()});
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
        total += PaddingAfter(m_tail.Position() + m_batch.Size() + total);
    }
    return total;
}

bool CKrGrowingFile::Reserve(std::span<const uint32_t> lengths)
{
    if (!m_batch.IsEmpty())
    {
        if (m_segments.HasRoomFor(m_batch.Size() + PredictedSize(lengths), m_batch.Chunks().size()))
            return true;
        if (!WriteJoined())
            return false;
    }
    return m_segments.Reserve(PredictedSize(lengths));
}

bool CKrGrowingFile::WriteQueued(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                 std::span<const uint32_t> rest)
{
    return PrepareFor(stream, static_cast<uint32_t>(data.size()), budget, rest) && WritePadded(stream, data);
}

// Starts a segment or a standard index where the chunk needs one. Nothing waits to be written.
bool CKrGrowingFile::PrepareFor(EKrStream stream, uint32_t length, EKrSegmentBudget budget,
                                std::span<const uint32_t> rest)
{
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
        return Reserve(lengths);
    }
    return true;
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
    m_segments.MakeRoomForEntries(1);
    uint64_t written = m_tail.Write(m_parts);
    return KeepWritten({stream, length, padding}, written);
}

// Records a chunk at the tail as far as it was written, and takes its bytes off. False when it was not all
// written.
bool CKrGrowingFile::KeepWritten(const CKrWriteBatch::SKrChunk& chunk, uint64_t& written)
{
    const uint64_t chunkSize = uint64_t{chunk.length} + kChunkHeaderSize;
    if (written < chunkSize)
        return false;
    if (!Record(chunk.stream, chunk.length))
        m_faults.chunkNotIndexed = true;
    if (written < chunkSize + chunk.padding)
        return false;
    written -= chunkSize + chunk.padding;
    m_segments.Grow(chunk.padding);
    Count(chunk.stream, chunk.length);
    return true;
}

bool CKrGrowingFile::KeepIndex(EKrStream stream)
{
    const bool kept = m_segments.KeepIndex(stream);
    ReportCounts();
    return kept;
}

bool CKrGrowingFile::JoinQueued(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                std::span<const uint32_t> rest)
{
    const auto length = static_cast<uint32_t>(data.size());
    if (!CanJoin(stream, length, budget) && !(WriteJoined() && PrepareFor(stream, length, budget, rest)))
        return false;
    const uint64_t end = m_tail.Position() + m_batch.Size() + kChunkHeaderSize + length;
    m_batch.Add(stream, m_setup.ChunkId(stream), data, PaddingAfter(end));
    // An index is started after the last chunk of a write only: its place must be known before the next
    // one's.
    if (!m_batch.IsFull() && !m_segments.WillStartIndex(stream, m_batch.Count(stream)))
        return true;
    return WriteJoined();
}

// Whether the chunk can follow those that wait without anything between them.
bool CKrGrowingFile::CanJoin(EKrStream stream, uint32_t length, EKrSegmentBudget budget)
{
    if (m_batch.IsEmpty())
        return false;
    const uint64_t bytes = m_batch.Size() + PredictedSize({&length, 1});
    const size_t chunks = m_batch.Chunks().size();
    return (budget != EKrSegmentBudget::Check || m_segments.HasRoomFor(bytes, chunks)) &&
           m_segments.SizeFieldHolds(bytes, chunks) && m_segments.IsInReach(stream, m_batch.Size());
}

// What a write that came short holds whole is recorded. The batch is emptied whatever becomes of it: nothing
// is ever written twice.
bool CKrGrowingFile::WriteJoined()
try
{
    if (m_batch.IsEmpty())
        return true;
    const bool kept = KeepJoined();
    m_batch.Clear();
    return kept;
}
catch (const std::bad_alloc&)
{
    // Samples are lost, perhaps in a direct chunk of somebody else: the recording has failed.
    m_batch.Clear();
    m_faults.writeFailed = true;
    m_status.SetState(kKrStateWriteFailed, true);
    throw;
}

bool CKrGrowingFile::KeepJoined()
{
    m_segments.MakeRoomForEntries(m_batch.Chunks().size());
    uint64_t written = m_tail.Write(m_batch.Parts());
    bool kept = true;
    for (const CKrWriteBatch::SKrChunk& chunk : m_batch.Chunks())
    {
        kept = KeepWritten(chunk, written) && m_segments.KeepIndex(chunk.stream);
        if (!kept)
            break;
    }
    ReportCounts();
    return kept;
}

bool CKrGrowingFile::WriteDirect(EKrStream stream, KrByteSpan data)
{
    const auto length = static_cast<uint32_t>(data.size());
    if (!WriteJoined() || !m_segments.SizeFieldHolds(data.size() + kChunkHeaderSize))
        return false;
    const KrHeaderBytes header = HeaderBytes(m_setup.ChunkId(stream), length);
    const KrByteSpan parts[] = {header, data};
    m_segments.MakeRoomForEntries(1);
    if (!m_tail.WriteWhole(parts))
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
    ++m_audioChunks;
    m_totals.audioBytes += length;
    m_segments.AddAudioDuration(length / m_setup.audio->blockAlign);
}

bool CKrGrowingFile::Finish()
{
    const bool finished = WriteJoined() && m_segments.Finish();
    ReportCounts();
    return finished;
}

bool CKrGrowingFile::MeasureDataRate()
{
    const uint64_t duration = uint64_t{m_totals.frames - m_measuredFrames} * m_setup.MicroSecPerFrame();
    if (duration < 1'000'000)
        return false;
    const double bytes = static_cast<double>(m_tail.Position() - m_measuredPosition);
    const double rate = std::round(bytes / (static_cast<double>(duration) / 1'000'000));
    m_totals.maxBytesPerSec =
        std::max(m_totals.maxBytesPerSec, static_cast<uint32_t>(std::min<double>(rate, UINT32_MAX)));
    m_measuredPosition = m_tail.Position();
    m_measuredFrames = m_totals.frames;
    return true;
}
