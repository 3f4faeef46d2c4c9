#include "tools/copier/KrCarriedHeader.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <array>
#include <span>

namespace KrTool
{
namespace
{
// Real headers have some kilobytes, and some texts and pictures beside them.
constexpr uint64_t kMostCarriedBytes = uint64_t{16} << 20;

constexpr size_t kScalePlace = 20; // in 'strh'
constexpr size_t kRatePlace = 24;
constexpr size_t kStartPlace = 28;
constexpr size_t kLengthPlace = 32;

bool IsFiller(uint32_t id)
{
    return id == kFccJunk || id == kFccJunq || id == kFccPad;
}

class CKrCarriedHeaderReader
{
public:
    explicit CKrCarriedHeaderReader(const CKrByteSource& file) : m_file(file), m_left(kMostCarriedBytes) {}

    std::optional<SKrCarriedHeader> Run()
    {
        uint64_t position = 0;
        for (SKrChunkHeader chunk = At(0); chunk.id == kFccRiff; chunk = At(position))
        {
            const uint64_t end = EndOf(position, chunk.size, m_file.Length());
            ReadSegment(position + kListHeaderSize, end);
            position = RoundUpToEven(end);
        }
        return m_hasHeaderList ? std::optional(std::move(m_header)) : std::nullopt;
    }

private:
    [[nodiscard]] SKrChunkHeader At(uint64_t position) const
    {
        std::array<uint8_t, kListHeaderSize> bytes = {};
        const size_t count = m_file.ReadAt(position, bytes.data(), bytes.size());
        return count >= kChunkHeaderSize ? DecodeChunkHeader({bytes.data(), count}) : SKrChunkHeader();
    }

    // Where a chunk's data end, or what is around it.
    static uint64_t EndOf(uint64_t position, uint32_t size, uint64_t limit)
    {
        const uint64_t end = position + kChunkHeaderSize + size;
        return IsSizeUnset(size) || end > limit ? limit : end;
    }

    // Calls `take(id, type, position, size)` for the chunks of a list.
    template <class TAKE>
    void ForEach(uint64_t position, uint64_t end, TAKE&& take)
    {
        while (position + kChunkHeaderSize <= end)
        {
            const SKrChunkHeader chunk = At(position);
            if (!IsPrintableFourCc(chunk.id))
                return;
            take(chunk, position);
            position = RoundUpToEven(position + kChunkHeaderSize + chunk.size);
        }
    }

    // Files without sizes end with their data: then nothing follows 'movi'.
    void ReadSegment(uint64_t position, uint64_t end)
    {
        bool isAfterData = m_header.dataPosition != 0;
        ForEach(position, end,
                [&](const SKrChunkHeader& chunk, uint64_t at)
                {
                    const bool isList = chunk.id == kFccList;
                    if (isList && chunk.firstData == kFccMovi)
                    {
                        isAfterData = true;
                        if (m_header.dataPosition == 0)
                            m_header.dataPosition = at + kListHeaderSize;
                    }
                    else if (isList && chunk.firstData == kFccHdrl && !m_hasHeaderList)
                    {
                        m_hasHeaderList = true;
                        ReadHeaderList(at + kListHeaderSize, EndOf(at, chunk.size, end));
                    }
                    else if (chunk.id != kFccIdx1)
                    {
                        Carry(chunk, at, end, isAfterData ? m_header.afterData : m_header.beforeData);
                    }
                });
    }

    void ReadHeaderList(uint64_t position, uint64_t end)
    {
        ForEach(position, end,
                [&](const SKrChunkHeader& chunk, uint64_t at)
                {
                    const bool isList = chunk.id == kFccList;
                    if (chunk.id == kFccAvih && m_header.mainHeader.empty())
                        m_header.mainHeader = Bytes(at, chunk.size, end);
                    else if (isList && chunk.firstData == kFccStrl)
                        ReadStreamList(at + kListHeaderSize, EndOf(at, chunk.size, end));
                    else if (isList && chunk.firstData == kFccOdml)
                        ReadOpenDmlList(at + kListHeaderSize, EndOf(at, chunk.size, end));
                    else
                        Carry(chunk, at, end, m_header.headerChunks);
                });
    }

    void ReadStreamList(uint64_t position, uint64_t end)
    {
        SKrCarriedStream stream;
        std::optional<size_t> place;
        ForEach(position, end,
                [&](const SKrChunkHeader& chunk, uint64_t at)
                {
                    if (chunk.id == kFccStrh && stream.header.empty())
                        stream.header = Bytes(at, chunk.size, end);
                    else if (chunk.id == kFccIndx)
                        place = place.value_or(stream.chunks.size());
                    else
                        Carry(chunk, at, end, stream.chunks);
                });
        stream.indexPlace = place.value_or(stream.chunks.size());
        m_header.streams.push_back(std::move(stream));
    }

    void ReadOpenDmlList(uint64_t position, uint64_t end)
    {
        ForEach(position, end,
                [&](const SKrChunkHeader& chunk, uint64_t at)
                {
                    if (chunk.id != kFccDmlh || m_header.totalFrames)
                        return Carry(chunk, at, end, m_header.openDml);
                    const std::vector<uint8_t> bytes = Bytes(at, chunk.size, end);
                    m_header.totalFrames = CKrByteReader(bytes).U32Le();
                });
    }

    void Carry(const SKrChunkHeader& chunk, uint64_t at, uint64_t end, std::vector<SKrCarriedBytes>& to)
    {
        if (IsFiller(chunk.id))
            return;
        const uint64_t size = EndOf(at, chunk.size, end) - at;
        if (size > m_left || at + kChunkHeaderSize + chunk.size > end)
        {
            m_header.bytesLeftOut += size;
            return;
        }
        m_left -= size;
        to.push_back({chunk.id, Bytes(at, chunk.size, end)});
    }

    [[nodiscard]] std::vector<uint8_t> Bytes(uint64_t at, uint32_t size, uint64_t end) const
    {
        const uint64_t data = at + kChunkHeaderSize;
        std::vector<uint8_t> bytes(
            static_cast<size_t>(std::min({uint64_t{size}, end - data, kMostCarriedBytes})));
        m_file.Fill(data, bytes);
        return bytes;
    }

    const CKrByteSource& m_file;
    uint64_t m_left; // bytes that may still be carried
    bool m_hasHeaderList = false;
    SKrCarriedHeader m_header;
};
} // namespace

SKrStreamHeader SKrCarriedStream::Fields() const
{
    SKrStreamHeader fields;
    static_cast<void>(DecodeStreamHeader(header, fields));
    return fields;
}

const std::vector<uint8_t>& SKrCarriedStream::Format() const
{
    static const std::vector<uint8_t> none;
    const auto found = std::ranges::find(chunks, kFccStrf, &SKrCarriedBytes::id);
    return found != chunks.end() ? found->data : none;
}

void SKrCarriedStream::Set(size_t place, uint32_t value)
{
    header.resize(std::max(header.size(), place + sizeof value)); // some writers leave out the last fields
    PutLe32(&header[place], value);
}

void SKrCarriedStream::SetLength(uint32_t units)
{
    Set(kLengthPlace, units);
}

void SKrCarriedStream::SetStart(uint32_t units)
{
    Set(kStartPlace, units);
}

void SKrCarriedStream::SetRate(uint32_t rate, uint32_t scale)
{
    Set(kRatePlace, rate);
    Set(kScalePlace, scale);
}

std::optional<SKrCarriedHeader> ReadCarriedHeader(const CKrByteSource& file)
{
    return CKrCarriedHeaderReader(file).Run();
}
} // namespace KrTool
