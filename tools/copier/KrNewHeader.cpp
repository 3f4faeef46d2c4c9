// The headers of a new file: those of the source, with the fields that depend on where data lie.
#include "format/KrAviHeaders.h"
#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFieldPlaces.h"
#include "tools/copier/KrSegmentPlan.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr uint32_t kMicroseconds = 1'000'000;

// Appends a list or a segment whose size is known at its end.
class CKrOpenList
{
public:
    CKrOpenList(std::vector<uint8_t>& out, uint32_t id, uint32_t type) : m_out(out), m_start(out.size())
    {
        CKrByteWriter writer(out);
        writer.U32Le(id);
        writer.U32Le(0);
        writer.U32Le(type);
    }
    ~CKrOpenList() { SetSize(m_out.size() - m_start - kChunkHeaderSize); }
    CKrOpenList(const CKrOpenList&) = delete;
    CKrOpenList& operator=(const CKrOpenList&) = delete;

private:
    void SetSize(size_t size) { PutLe32(&m_out[m_start + sizeof(uint32_t)], static_cast<uint32_t>(size)); }

    std::vector<uint8_t>& m_out;
    const size_t m_start;
};

class CKrHeaderBuilder
{
public:
    CKrHeaderBuilder(const SKrCopyJob& job, const SKrFilePlan& plan)
        : m_header(job.header), m_plan(plan), m_first(plan.segments.front())
    {
    }

    std::vector<uint8_t> Run()
    {
        PutContainer(kFccRiff, m_first.end - kChunkHeaderSize, kFccAvi);
        PutHeaderList();
        for (const SKrCarriedBytes& chunk : m_header.beforeData)
            Encode(m_out, chunk);
        const uint64_t moviData = m_out.size() + kChunkHeaderSize;
        PutContainer(kFccList, m_first.moviEnd - std::min(m_first.moviEnd, moviData), kFccMovi);
        return std::move(m_out);
    }

private:
    void PutContainer(uint32_t id, uint64_t size, uint32_t type)
    {
        CKrByteWriter writer(m_out);
        writer.U32Le(id);
        writer.U32Le(Low32(size));
        writer.U32Le(type);
    }

    void PutHeaderList()
    {
        const CKrOpenList list(m_out, kFccList, kFccHdrl);
        Encode(m_out, {kFccAvih, MainHeader()});
        for (uint32_t number = 0; number < m_header.streams.size(); ++number)
            PutStream(number);
        if (m_header.totalFrames || m_plan.hasStandardIndexes)
            PutOpenDml();
        for (const SKrCarriedBytes& chunk : m_header.headerChunks)
            Encode(m_out, chunk);
    }

    // AVI 1.0 counts the frames of the first segment here.
    [[nodiscard]] std::vector<uint8_t> MainHeader() const
    {
        std::vector<uint8_t> bytes = m_header.mainHeader;
        const bool isThere = bytes.size() >= KrAvih::kStreamsAt + sizeof(uint32_t);
        bytes.resize(std::max(bytes.size(), SKrMainHeader::kEncodedSize));
        if (!isThere)
            SetFrameTime(bytes);
        PutLe32(&bytes[KrAvih::kGranularityAt], 0);
        PutLe32(&bytes[KrAvih::kFlagsAt], GetLe32(&bytes[KrAvih::kFlagsAt]) | kAvifHasIndex);
        PutLe32(&bytes[KrAvih::kFramesAt], Low32(m_first.frames));
        PutLe32(&bytes[KrAvih::kStreamsAt], static_cast<uint32_t>(m_header.streams.size()));
        return bytes;
    }

    void SetFrameTime(std::vector<uint8_t>& bytes) const
    {
        for (const SKrCarriedStream& stream : m_header.streams)
        {
            const SKrStreamHeader fields = stream.Fields();
            if (fields.type == kFccVids && fields.rate != 0)
                return PutLe32(bytes.data(),
                               static_cast<uint32_t>(std::min<uint64_t>(
                                   uint64_t{kMicroseconds} * fields.scale / fields.rate, UINT32_MAX)));
        }
    }

    void PutStream(uint32_t number)
    {
        const SKrCarriedStream& stream = m_header.streams[number];
        const CKrOpenList list(m_out, kFccList, kFccStrl);
        Encode(m_out, {kFccStrh, stream.header});
        for (size_t place = 0; place <= stream.chunks.size(); ++place)
        {
            if (place == stream.indexPlace && m_plan.hasStandardIndexes)
                PutSuperIndex(number);
            if (place < stream.chunks.size())
                Encode(m_out, stream.chunks[place]);
        }
    }

    void PutSuperIndex(uint32_t number)
    {
        std::vector<SKrSuperIndexEntry> entries;
        for (const SKrPlannedSegment& segment : m_plan.segments)
        {
            const SKrPlannedIndex& index = segment.indexes[number];
            const uint64_t size =
                SKrStdIndexHead::kEncodedSize + uint64_t{index.entries} * SKrStdIndexEntry::kEncodedSize;
            if (index.entries != 0)
                entries.push_back({index.position, Low32(size), index.units});
        }
        SKrSuperIndexHead head;
        head.chunkId = kFccIndx;
        const size_t room = m_plan.superIndexCapacity * SKrSuperIndexEntry::kEncodedSize;
        head.chunkSize = static_cast<uint32_t>(SKrSuperIndexHead::kEncodedSize - kChunkHeaderSize + room);
        head.entriesInUse = static_cast<uint32_t>(entries.size());
        head.streamChunkId = m_plan.chunkIds.empty() ? 0 : m_plan.chunkIds[number];
        entries.resize(m_plan.superIndexCapacity);
        CKrByteWriter writer(m_out);
        Encode(writer, head);
        for (const SKrSuperIndexEntry& entry : entries)
            Encode(writer, entry);
    }

    void PutOpenDml()
    {
        const CKrOpenList list(m_out, kFccList, kFccOdml);
        uint64_t frames = 0;
        for (const SKrPlannedSegment& segment : m_plan.segments)
            frames += segment.frames;
        std::vector<uint8_t> bytes(sizeof(uint32_t));
        PutLe32(bytes.data(), Low32(frames));
        Encode(m_out, {kFccDmlh, bytes});
        for (const SKrCarriedBytes& chunk : m_header.openDml)
            Encode(m_out, chunk);
    }

    const SKrCarriedHeader& m_header;
    const SKrFilePlan& m_plan;
    const SKrPlannedSegment& m_first;
    std::vector<uint8_t> m_out;
};
} // namespace

void Encode(std::vector<uint8_t>& out, const SKrCarriedBytes& chunk)
{
    CKrByteWriter writer(out);
    writer.U32Le(chunk.id);
    writer.U32Le(static_cast<uint32_t>(chunk.data.size()));
    out.insert(out.end(), chunk.data.begin(), chunk.data.end());
    out.resize(RoundUpToEven(out.size()));
}

std::vector<uint8_t> HeaderBytes(const SKrCopyJob& job, const SKrFilePlan& plan)
{
    return CKrHeaderBuilder(job, plan).Run();
}
} // namespace KrTool
