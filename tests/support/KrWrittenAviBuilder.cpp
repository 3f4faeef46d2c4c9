#include "tests/support/KrWrittenAviBuilder.h"

#include "tests/support/KrAviRecords.h"
#include "tests/support/KrByteWriter.h"

#include <algorithm>
#include <utility>

namespace KrTest
{
namespace
{
constexpr SKrChunkOptions kUnpadded{.size = {}, .pad = false};
constexpr size_t kIndexData = 32248;
constexpr size_t kEntriesOfIndex = 4028;
constexpr size_t kEntriesOfSuperIndex = 2014;
constexpr uint64_t kMostOfASegment = 0x3FC6E600;

struct SRate
{
    uint32_t rate;
    uint32_t scale;
    uint32_t microSec;
};
constexpr SRate kRates[] = {{24000, 1001, 43478}, {24, 1, 41666}, {25, 1, 40000},       {30000, 1001, 34482},
                            {30, 1, 33333},       {50, 1, 20000}, {60000, 1001, 16949}, {60, 1, 16666}};

std::string Compression(const SKrWritten& from)
{
    return from.codec.empty() ? std::string(4, '\0') : from.codec;
}

// A stream header without what the writer leaves at 0.
SKrTestStreamHeader EmptyStreamHeader()
{
    SKrTestStreamHeader header;
    header.handler = std::string(4, '\0');
    header.quality = 0;
    header.right = header.bottom = 0;
    return header;
}
} // namespace

CKrWrittenAviBuilder::CKrWrittenAviBuilder(SKrWritten from, EStart start) : m_from(std::move(from))
{
    m_video.id = m_from.codec.empty() ? "00db" : "00dc";
    m_video.indexId = "ix00";
    m_audio.id = "01wb";
    m_audio.indexId = "ix01";
    Start();
    if (start == EStart::WithoutIndexes)
        return;
    StdIndex(true);
    if (m_from.pcm)
        StdIndex(false);
}

void CKrWrittenAviBuilder::Start()
{
    m_file.BeginRiff("AVI ", kUnpadded);
    Headers(m_file);
    const uint64_t end = m_file.Position() + 12;
    if (RoundUp(end) != end)
        m_file.ZeroChunk("JUNK", static_cast<uint32_t>(RoundUp(end + 8) - end - 8), kUnpadded);
    m_file.BeginList("movi", kUnpadded);
    m_oldIndex.push_back({"7Fxx", 0, static_cast<uint32_t>(m_file.Position()), 0});
}

void CKrWrittenAviBuilder::Headers(CKrAviBuilder& out) const
{
    out.BeginList("hdrl", kUnpadded);
    SKrTestMainHeader header;
    header.microSecPerFrame = kRates[m_from.frameRate].microSec;
    header.maxBytesPerSec = m_maxBytesPerSec;
    header.paddingGranularity = m_from.bytesPerSector;
    header.flags = 0x810;
    header.totalFrames = m_video.chunks;
    header.streams = m_from.pcm ? 2 : 1;
    header.suggestedBufferSize = std::max(m_video.largest, m_audio.largest);
    header.width = m_from.width;
    header.height = m_from.height;
    out.Chunk("avih", ToBytes(header), kUnpadded);
    VideoStream(out);
    if (m_from.pcm)
        AudioStream(out);
    KrBytes extended = CKrTestByteWriter().U32(m_video.chunks).Fill(244, 0).Bytes();
    out.List(
        "odml", [&] { out.Chunk("dmlh", extended, kUnpadded); }, kUnpadded);
    out.End();
    PrivateChunks(out);
}

void CKrWrittenAviBuilder::VideoStream(CKrAviBuilder& out) const
{
    SKrTestStreamHeader header = EmptyStreamHeader();
    header.handler = Compression(m_from);
    header.scale = kRates[m_from.frameRate].scale;
    header.rate = kRates[m_from.frameRate].rate;
    header.length = m_video.chunks;
    header.suggestedBufferSize = m_video.largest;
    SKrTestBitmapInfo format;
    format.width = static_cast<int32_t>(m_from.width);
    format.height = static_cast<int32_t>(m_from.height);
    format.bitCount = m_from.bitCount;
    format.compression = Compression(m_from);
    format.sizeImage = m_from.bitCount / 8 * m_from.width * m_from.height;
    out.BeginList("strl", kUnpadded);
    out.Chunk("strh", ToBytes(header), kUnpadded);
    out.Chunk("strf", ToBytes(format), kUnpadded);
    SuperIndex(out, m_video);
    out.End();
}

void CKrWrittenAviBuilder::AudioStream(CKrAviBuilder& out) const
{
    const SKrPcmFormat& pcm = *m_from.pcm;
    SKrTestStreamHeader header = EmptyStreamHeader();
    header.type = "auds";
    header.scale = 1;
    header.rate = pcm.samplesPerSec;
    header.length = static_cast<uint32_t>(m_audio.bytes / pcm.BlockAlign());
    header.suggestedBufferSize = m_audio.largest;
    header.sampleSize = pcm.BlockAlign();
    out.BeginList("strl", kUnpadded);
    out.Chunk("strh", ToBytes(header), kUnpadded);
    out.Chunk("strf", ToBytes(PcmFormat(pcm.channels, pcm.samplesPerSec, pcm.bitsPerSample), 18), kUnpadded);
    out.ZeroChunk("JUNK", 2, kUnpadded); // 18 bytes end at half a multiple of 4
    SuperIndex(out, m_audio);
    out.End();
}

void CKrWrittenAviBuilder::SuperIndex(CKrAviBuilder& out, const SStream& stream) const
{
    SKrTestSuperIndex index;
    index.chunkId = stream.id;
    for (const SIndex& part : stream.indexes)
    {
        uint32_t duration = 0;
        for (const SKrTestIdx1Entry& chunk : part.chunks)
            duration += stream.id == m_video.id ? 1 : chunk.size / m_from.pcm->BlockAlign();
        index.entries.push_back({part.position, kIndexData + 8, duration});
    }
    index.emptySlots = kEntriesOfSuperIndex - index.entries.size();
    out.Chunk("indx", ToBytes(index), kUnpadded);
}

void CKrWrittenAviBuilder::PrivateChunks(CKrAviBuilder& out) const
{
    SKrTestKrlA krlA;
    krlA.scanMode = m_from.scanMode;
    krlA.horizontal = m_from.aspectHorizontal;
    krlA.vertical = m_from.aspectVertical;
    SKrTestPrmA prmA;
    prmA.horizontal = m_from.aspectHorizontal;
    prmA.vertical = m_from.aspectVertical;
    SKrTestCtsI ctsI;
    ctsI.scanMode = m_from.scanMode;
    out.Chunk("KrlA", ToBytes(krlA), kUnpadded);
    out.Chunk("PrmA", ToBytes(prmA), kUnpadded);
    out.Chunk("CtsI", ToBytes(ctsI), kUnpadded);
}

void CKrWrittenAviBuilder::Group(const std::vector<uint32_t>& audioSizes, uint32_t videoSize)
{
    uint64_t bytes = Padded(videoSize);
    for (const uint32_t size : audioSizes)
        bytes += Padded(size);
    Reserve(bytes);
    for (const uint32_t size : audioSizes)
        Sample(false, size);
    Sample(true, videoSize);
    Measure();
}

void CKrWrittenAviBuilder::LastAudio(uint32_t size)
{
    Sample(false, size);
}

void CKrWrittenAviBuilder::Sample(bool isVideo, uint32_t size)
{
    const SStream& stream = isVideo ? m_video : m_audio;
    const std::vector<uint64_t>& held = stream.indexes.back().positions;
    if (!held.empty() && m_file.Position() + 8 - held[0] > UINT32_MAX)
        NextIndex(isVideo);
    Data(isVideo, size);
    Pad();
    if (stream.indexes.back().chunks.size() >= kEntriesOfIndex || (!isVideo && m_audioFollows))
        NextIndex(isVideo);
}

void CKrWrittenAviBuilder::NextIndex(bool isVideo)
{
    Reserve(kIndexData + 8);
    StdIndex(isVideo);
    m_audioFollows = isVideo;
}

void CKrWrittenAviBuilder::Data(bool isVideo, uint32_t size)
{
    SStream& stream = isVideo ? m_video : m_audio;
    const uint64_t position = m_file.Position();
    if (size > 1'000'000)
        m_file.ZeroChunk(stream.id, size, kUnpadded);
    else
        m_file.Chunk(stream.id, KrBytes(size, isVideo ? 0xD0 : 0xA0), kUnpadded);
    const SKrTestIdx1Entry entry{stream.id, 0x10, static_cast<uint32_t>(position), size};
    if (m_isFirst)
        m_oldIndex.push_back(entry);
    if (!stream.indexes.empty())
    {
        stream.indexes.back().chunks.push_back(entry);
        stream.indexes.back().positions.push_back(position);
    }
    stream.largest = std::max(stream.largest, size + 8);
    stream.bytes += size;
    ++stream.chunks;
}

void CKrWrittenAviBuilder::Pad()
{
    const uint64_t end = m_file.Position();
    if (RoundUp(end) != end)
        m_file.ZeroChunk("JUNK", static_cast<uint32_t>(RoundUp(end + 8) - end - 8), kUnpadded);
}

void CKrWrittenAviBuilder::StdIndex(bool isVideo)
{
    SStream& stream = isVideo ? m_video : m_audio;
    stream.indexes.push_back({.position = m_file.Position()});
    m_file.ZeroChunk(stream.indexId, kIndexData, kUnpadded);
}

void CKrWrittenAviBuilder::Reserve(uint64_t bytes)
{
    uint64_t end = m_file.Position() - m_segmentStart + bytes;
    if (m_isFirst)
        end += RoundUp(16 * m_oldIndex.size() + 24) + 1; // which must stay below
    if (end > kMostOfASegment)
        Segment();
}

void CKrWrittenAviBuilder::Segment()
{
    m_file.End();
    if (m_isFirst)
        OldIndex();
    m_file.End();
    m_isFirst = false;
    m_segmentStart = m_file.Position();
    m_file.BeginRiff("AVIX", kUnpadded);
    m_file.BeginList("movi", kUnpadded);
    Pad();
}

void CKrWrittenAviBuilder::OldIndex()
{
    const uint64_t filled = m_file.Position() + 16 * m_oldIndex.size() + 24;
    const uint64_t padding = RoundUp(filled) - filled + 16;
    for (uint64_t number = 0; number < padding / 16; ++number)
        m_oldIndex.push_back({"7Fxx", 0, 0, 0});
    KrBytes data = ToBytes(m_oldIndex);
    data.resize(data.size() + padding % 16);
    m_file.Chunk("idx1", data, kUnpadded);
}

void CKrWrittenAviBuilder::Measure()
{
    const uint64_t duration = uint64_t{m_video.chunks - m_measuredFrames} * kRates[m_from.frameRate].microSec;
    if (duration < 1'000'000)
        return;
    const uint64_t bytes = m_file.Position() - m_measuredAt;
    const auto rate = static_cast<uint32_t>((2 * bytes * 1'000'000 + duration) / (2 * duration));
    m_maxBytesPerSec = std::max(m_maxBytesPerSec, rate);
    m_measuredAt = m_file.Position();
    m_measuredFrames = m_video.chunks;
}

void CKrWrittenAviBuilder::FillIndex(const SStream& stream, const SIndex& index)
{
    SKrTestStdIndex filled;
    filled.chunkId = stream.id;
    filled.baseOffset = index.positions.empty() ? 0 : index.positions[0];
    const size_t used = std::min(index.chunks.size(), kEntriesOfIndex);
    for (size_t number = 0; number < used; ++number)
    {
        filled.entries.push_back(
            {index.positions[number] - filled.baseOffset + 8, index.chunks[number].size, true});
    }
    m_file.Patch(index.position + 8, ToBytes(filled));
}

void CKrWrittenAviBuilder::Finish()
{
    m_file.End();
    if (m_isFirst)
        OldIndex();
    m_file.End();
    for (const SStream* stream : {&m_video, &m_audio})
    {
        for (const SIndex& index : stream->indexes)
            FillIndex(*stream, index);
    }
    CKrAviBuilder headers;
    headers.Zeros(12); // behind the form's header
    Headers(headers);
    m_file.Patch(12, headers.Content().Range(12, static_cast<size_t>(headers.Position() - 12)));
}

uint64_t CKrWrittenAviBuilder::Padded(uint32_t size) const
{
    const uint64_t end = uint64_t{size} + 8;
    return RoundUp(end) == end ? end : RoundUp(end + 8);
}

uint64_t CKrWrittenAviBuilder::RoundUp(uint64_t value) const
{
    const uint64_t beyond = value % m_from.bytesPerSector;
    return beyond == 0 ? value : value + m_from.bytesPerSector - beyond;
}
} // namespace KrTest
