#include "tests/support/KrSimpleAvi.h"

#include "tests/support/KrByteWriter.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace KrTest
{
namespace
{
constexpr uint32_t kMostPatternBytes = 1 << 20; // payloads above are holes
constexpr uint32_t kIdx1KeyFrame = 0x10;

std::string TwoDigits(size_t number)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    return {kDigits[number / 16 % 16], kDigits[number % 16]};
}

// Writes one file from front to back; the super indexes are filled in at the end.
class CSimpleAviWriter
{
public:
    explicit CSimpleAviWriter(const SKrSimpleAvi& avi)
        : m_avi(avi), m_superData(avi.streams.size()), m_superIndexes(avi.streams.size())
    {
        m_built.streamChunks.resize(avi.streams.size());
    }

    SKrBuiltAvi Build();

private:
    // A data chunk of the current segment.
    struct SChunkInSegment
    {
        size_t stream = 0;
        size_t number = 0; // in the stream
        SKrBuiltChunk chunk;
    };

    void Call(const KrBuilderHook& hook)
    {
        if (hook)
            hook(m_file);
    }
    bool HasOpenDml() const
    {
        return m_avi.index == EKrIndexKind::OpenDml || m_avi.index == EKrIndexKind::Both;
    }
    bool HasIdx1() const { return m_avi.index == EKrIndexKind::Idx1 || m_avi.index == EKrIndexKind::Both; }
    bool IsKeyFrame(const SChunkInSegment& place) const
    {
        const size_t every = m_avi.streams[place.stream].keyFrameEvery;
        return every == 0 ? place.number == 0 : place.number % every == 0;
    }
    std::string ChunkId(size_t stream) const
    {
        const SKrSimpleStream& description = m_avi.streams[stream];
        return description.chunkId.value_or(StreamChunkId(stream, description.suffix));
    }

    std::vector<size_t> Segments() const;
    uint32_t FramesOfFirstSegment(size_t rounds) const;
    void WriteFirstSegment(size_t rounds);
    void WriteHdrl(size_t rounds);
    void WriteStrl(size_t stream);
    void WriteBetweenHdrlAndMovi();
    void WriteMovi(size_t rounds, bool first);
    void WriteRound(size_t round);
    void WriteStdIndexes(uint64_t moviType);
    void WriteStdIndex(size_t stream, std::span<const SChunkInSegment> chunks, uint64_t moviType);
    void WriteIdx1(uint64_t moviType);
    void PatchSuperIndexes();

    const SKrSimpleAvi& m_avi;
    CKrAviBuilder m_file;
    SKrBuiltAvi m_built;
    size_t m_nextRound = 0;
    std::vector<SChunkInSegment> m_segment;
    std::vector<std::optional<uint64_t>> m_superData; // payload position of each stream's 'indx'
    std::vector<SKrTestSuperIndex> m_superIndexes;
};

SKrBuiltAvi CSimpleAviWriter::Build()
{
    const std::vector<size_t> segments = Segments();
    m_built.segments.push_back(m_file.Riff("AVI ", [&] { WriteFirstSegment(segments.front()); }));
    for (size_t index = 1; index < segments.size(); ++index)
    {
        m_built.segments.push_back(m_file.Riff("AVIX",
                                               [&]
                                               {
                                                   Call(m_avi.startOfAvix);
                                                   WriteMovi(segments[index], false);
                                                   Call(m_avi.endOfAvix);
                                               }));
    }
    Call(m_avi.endOfFile);
    PatchSuperIndexes();
    m_built.content = m_file.Content();
    m_built.chunks = m_file.Chunks();
    return std::move(m_built);
}

// The number of rounds of each segment.
std::vector<size_t> CSimpleAviWriter::Segments() const
{
    size_t left = 0;
    for (const SKrSimpleStream& stream : m_avi.streams)
        left = std::max(left, stream.chunkSizes.size());
    std::vector<size_t> segments = m_avi.roundsPerSegment;
    if (segments.empty())
        segments.push_back(left);
    for (size_t& rounds : segments)
    {
        rounds = std::min(rounds, left);
        left -= rounds;
    }
    segments.back() += left;
    return segments;
}

uint32_t CSimpleAviWriter::FramesOfFirstSegment(size_t rounds) const
{
    for (const SKrSimpleStream& stream : m_avi.streams)
    {
        if (stream.header.type == "vids")
            return static_cast<uint32_t>(std::min(rounds, stream.chunkSizes.size()));
    }
    return 0;
}

void CSimpleAviWriter::WriteFirstSegment(size_t rounds)
{
    Call(m_avi.beforeHdrl);
    WriteHdrl(rounds);
    WriteBetweenHdrlAndMovi();
    const uint64_t moviType = m_file.Position() + 8;
    WriteMovi(rounds, true);
    Call(m_avi.afterMovi);
    if (HasIdx1())
        WriteIdx1(moviType);
    Call(m_avi.endOfRiff);
}

void CSimpleAviWriter::WriteHdrl(size_t rounds)
{
    SKrTestMainHeader header = m_avi.mainHeader;
    header.totalFrames = header.totalFrames.value_or(FramesOfFirstSegment(rounds));
    header.streams = header.streams.value_or(static_cast<uint32_t>(m_avi.streams.size()));
    m_file.List("hdrl",
                [&]
                {
                    m_file.Chunk("avih", ToBytes(header));
                    Call(m_avi.afterAvih);
                    for (size_t stream = 0; stream < m_avi.streams.size(); ++stream)
                        m_file.List("strl", [&] { WriteStrl(stream); });
                    if (HasOpenDml())
                    {
                        const auto frames = static_cast<uint32_t>(
                            m_avi.streams.empty() ? 0 : m_avi.streams.front().chunkSizes.size());
                        m_file.List(
                            "odml", [&]
                            { m_file.Chunk("dmlh", CKrTestByteWriter().U32(frames).Fill(244, 0).Bytes()); });
                    }
                    Call(m_avi.endOfHdrl);
                });
}

void CSimpleAviWriter::WriteStrl(size_t stream)
{
    const SKrSimpleStream& description = m_avi.streams[stream];
    SKrTestStreamHeader header = description.header;
    if (!header.length)
    {
        uint64_t bytes = 0;
        for (const uint32_t size : description.chunkSizes)
            bytes += size;
        header.length = static_cast<uint32_t>(header.sampleSize != 0 ? bytes / header.sampleSize
                                                                     : description.chunkSizes.size());
    }
    if (description.strhSize != 56 && description.strhSize != 64)
        throw std::invalid_argument("no such stream header");
    m_file.Chunk("strh", description.strhSize == 64 ? ToBytes64(header) : ToBytes(header));
    if (description.beforeStrf)
        description.beforeStrf(m_file);
    m_file.Chunk("strf", description.format);
    if (HasOpenDml() && description.hasSuperIndex)
    {
        SKrTestSuperIndex& index = m_superIndexes[stream];
        index.subType = m_avi.superSubType;
        index.chunkId = ChunkId(stream);
        index.emptySlots = m_avi.superIndexSlots;
        m_superData[stream] = m_file.Chunk("indx", ToBytes(index)).data;
    }
    if (description.endOfStrl)
        description.endOfStrl(m_file);
}

void CSimpleAviWriter::WriteBetweenHdrlAndMovi()
{
    if (m_avi.krlA)
        m_file.Chunk("KrlA", ToBytes(*m_avi.krlA));
    if (m_avi.prmA)
        m_file.Chunk("PrmA", ToBytes(*m_avi.prmA));
    if (m_avi.ctsI)
        m_file.Chunk("CtsI", ToBytes(*m_avi.ctsI));
    Call(m_avi.beforeMovi);
    if (m_avi.junkBeforeMovi)
        m_file.ZeroChunk("JUNK", *m_avi.junkBeforeMovi);
}

void CSimpleAviWriter::WriteMovi(size_t rounds, bool first)
{
    m_segment.clear();
    m_file.List("movi",
                [&]
                {
                    const uint64_t moviType = m_file.Position() - 4;
                    if (first)
                        Call(m_avi.startOfMovi);
                    for (size_t count = 0; count < rounds; ++count)
                    {
                        const size_t round = m_nextRound++;
                        if (m_avi.recLists)
                            m_file.List("rec ", [&] { WriteRound(round); });
                        else
                            WriteRound(round);
                    }
                    if (HasOpenDml())
                        WriteStdIndexes(moviType);
                    if (first)
                        Call(m_avi.endOfMovi);
                });
}

void CSimpleAviWriter::WriteRound(size_t round)
{
    for (size_t stream = 0; stream < m_avi.streams.size(); ++stream)
    {
        const std::vector<uint32_t>& sizes = m_avi.streams[stream].chunkSizes;
        if (round >= sizes.size())
            continue;
        const uint32_t size = sizes[round];
        const SKrBuiltChunk chunk = size > kMostPatternBytes
                                        ? m_file.ZeroChunk(ChunkId(stream), size)
                                        : m_file.Chunk(ChunkId(stream), PatternBytes(stream, round, size));
        m_built.streamChunks[stream].push_back(chunk);
        m_segment.push_back({stream, round, chunk});
    }
}

void CSimpleAviWriter::WriteStdIndexes(uint64_t moviType)
{
    for (size_t stream = 0; stream < m_avi.streams.size(); ++stream)
    {
        if (!m_avi.streams[stream].hasSuperIndex)
            continue;
        std::vector<SChunkInSegment> chunks;
        for (const SChunkInSegment& place : m_segment)
        {
            if (place.stream == stream)
                chunks.push_back(place);
        }
        std::span<const SChunkInSegment> left = chunks;
        while (!left.empty())
        {
            const size_t most = m_avi.entriesPerStdIndex != 0 ? m_avi.entriesPerStdIndex : left.size();
            const size_t count = std::min(most, left.size());
            WriteStdIndex(stream, left.first(count), moviType);
            left = left.subspan(count);
        }
    }
}

void CSimpleAviWriter::WriteStdIndex(size_t stream, std::span<const SChunkInSegment> chunks,
                                     uint64_t moviType)
{
    SKrTestStdIndex index;
    index.subType = m_avi.stdSubType;
    index.chunkId = ChunkId(stream);
    index.baseOffset = m_avi.stdBase.value_or(moviType);
    const uint64_t base = m_avi.superSubType == 0x10 ? 0 : index.baseOffset;
    uint64_t bytes = 0;
    for (const SChunkInSegment& place : chunks)
    {
        index.entries.push_back({place.chunk.data - base, place.chunk.size, IsKeyFrame(place)});
        bytes += place.chunk.size;
    }
    const SKrBuiltChunk written = m_file.Chunk("ix" + TwoDigits(stream), ToBytes(index));
    const uint32_t sampleSize = m_avi.streams[stream].header.sampleSize;
    const uint64_t duration = sampleSize != 0 ? bytes / sampleSize : chunks.size();
    m_superIndexes[stream].entries.push_back(
        {written.header, written.size + 8, static_cast<uint32_t>(duration)});
}

void CSimpleAviWriter::WriteIdx1(uint64_t moviType)
{
    const uint64_t base = m_avi.idx1Base == EKrIdx1Base::Movi ? moviType : 0;
    std::vector<SKrTestIdx1Entry> entries;
    for (const SChunkInSegment& place : m_segment)
    {
        if (!m_avi.streams[place.stream].inIdx1)
            continue;
        entries.push_back({place.chunk.id, IsKeyFrame(place) ? kIdx1KeyFrame : 0,
                           static_cast<uint32_t>(place.chunk.header - base), place.chunk.size});
    }
    m_file.Chunk("idx1", ToBytes(entries));
}

void CSimpleAviWriter::PatchSuperIndexes()
{
    for (size_t stream = 0; stream < m_superIndexes.size(); ++stream)
    {
        if (!m_superData[stream])
            continue;
        SKrTestSuperIndex& index = m_superIndexes[stream];
        if (index.entries.size() > m_avi.superIndexSlots)
            throw std::length_error("more standard indexes than super index slots");
        index.emptySlots = m_avi.superIndexSlots - index.entries.size();
        m_file.Patch(*m_superData[stream], ToBytes(index));
    }
}
} // namespace

SKrSimpleStream VideoStream(std::vector<uint32_t> frameSizes, const SKrTestBitmapInfo& format)
{
    SKrSimpleStream stream;
    stream.header.handler = format.compression;
    stream.header.right = format.width;
    stream.header.bottom = format.height;
    stream.format = ToBytes(format);
    stream.chunkSizes = std::move(frameSizes);
    return stream;
}

SKrSimpleStream PcmStream(std::vector<uint32_t> chunkSizes, const SKrTestWaveFormat& format, size_t strfSize)
{
    SKrSimpleStream stream;
    stream.header.type = "auds";
    stream.header.handler = std::string(4, '\0');
    stream.header.scale = format.blockAlign;
    stream.header.rate = format.avgBytesPerSec;
    stream.header.sampleSize = format.blockAlign;
    stream.header.right = 0;
    stream.header.bottom = 0;
    stream.format = ToBytes(format, strfSize);
    stream.suffix = "wb";
    stream.chunkSizes = std::move(chunkSizes);
    return stream;
}

SKrBuiltChunk SKrBuiltAvi::Find(std::string_view idOrType, size_t number) const
{
    return FindChunk(chunks, idOrType, number);
}

SKrBuiltAvi BuildSimpleAvi(const SKrSimpleAvi& description)
{
    return CSimpleAviWriter(description).Build();
}

KrBytes PatternBytes(size_t stream, size_t number, size_t size)
{
    KrBytes bytes(size);
    for (size_t index = 0; index < size; ++index)
        bytes[index] = static_cast<uint8_t>(1 + (index + 31 * number + 97 * stream) % 251);
    return bytes;
}

std::string StreamChunkId(size_t stream, std::string_view suffix)
{
    return TwoDigits(stream) + std::string(suffix);
}
} // namespace KrTest
