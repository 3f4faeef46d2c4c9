#include "tools/copier/KrCarriedHeader.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFieldPlaces.h"
#include "format/KrLimits.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <span>

namespace KrTool
{
namespace
{
// Real headers have some kilobytes, and some texts and pictures beside them.
constexpr uint64_t kMostCarriedBytes = uint64_t{16} << 20;
constexpr uint64_t kMostCarriedChunks = uint64_t{1} << 16;

bool IsFiller(uint32_t id)
{
    return id == kFccJunk || id == kFccJunq || id == kFccPad;
}

class CKrCarriedHeaderReader
{
public:
    explicit CKrCarriedHeaderReader(const CKrByteSource& file) : m_file(file), m_window(file) {}

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
    [[nodiscard]] SKrChunkHeader At(uint64_t position)
    {
        const std::span<const uint8_t> bytes = m_window.At(position, kListHeaderSize);
        return bytes.size() >= kChunkHeaderSize ? DecodeChunkHeader(bytes) : SKrChunkHeader();
    }

    // Where a chunk's data end, or what is around it.
    static uint64_t EndOf(uint64_t position, uint32_t size, uint64_t limit)
    {
        const uint64_t end = position + kChunkHeaderSize + size;
        return IsSizeUnset(size) || end > limit ? limit : end;
    }

    // Where zeros end: readers look for the next chunk there.
    uint64_t EndOfZeros(uint64_t position, uint64_t end)
    {
        while (position < end)
        {
            std::span<const uint8_t> bytes = m_window.From(position, 1);
            bytes = bytes.first(static_cast<size_t>(std::min<uint64_t>(bytes.size(), end - position)));
            const auto other = std::ranges::find_if(bytes, [](uint8_t byte) { return byte != 0; });
            position += static_cast<uint64_t>(other - bytes.begin());
            if (other != bytes.end() || bytes.empty())
                break;
        }
        return position;
    }

    // Calls `take(chunk, position)` for the chunks of a list.
    template <class TAKE>
    void ForEach(uint64_t position, uint64_t end, TAKE&& take)
    {
        while (position + kChunkHeaderSize <= end)
        {
            const SKrChunkHeader chunk = At(position);
            if (chunk.id == 0)
            {
                position = EndOfZeros(position, end);
                continue;
            }
            if (!IsPrintableFourCc(chunk.id))
            {
                const bool isBeforeData =
                    m_header.dataPosition == 0; // later there may be more data, or an index
                m_header.bytesLeftOut += isBeforeData ? end - position : 0;
                return;
            }
            take(chunk, position);
            if (chunk.id == kFccList && chunk.firstData == kFccMovi && IsSizeUnset(chunk.size))
                return; // the file ends with its data
            position = RoundUpToEven(position + kChunkHeaderSize + chunk.size);
        }
    }

    // Data outside of 'movi' are found with the others, where that list has a wrong size; so is what is
    // inside an index.
    static bool IsOfStream(uint32_t id) { return DataTagOf(id, 0).has_value() || IsStandardIndexId(id); }

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
                    else if (chunk.id != kFccIdx1 && !IsOfStream(chunk.id))
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
        if (m_header.streamCount++ > kStreamLimit)
            return; // nobody carries so many
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
        const bool isWhole = at + kChunkHeaderSize + chunk.size <= end;
        if (size > m_bytesLeft || m_chunksLeft == 0 || !isWhole)
        {
            m_header.bytesLeftOut += size;
            return;
        }
        --m_chunksLeft;
        to.push_back({chunk.id, Bytes(at, chunk.size, end)});
    }

    // The data of a chunk, as far as they are there and may still be carried.
    [[nodiscard]] std::vector<uint8_t> Bytes(uint64_t at, uint32_t size, uint64_t end)
    {
        const uint64_t data = at + kChunkHeaderSize;
        std::vector<uint8_t> bytes(static_cast<size_t>(std::min({uint64_t{size}, end - data, m_bytesLeft})));
        m_file.Fill(data, bytes);
        m_bytesLeft -= bytes.size();
        return bytes;
    }

    const CKrByteSource& m_file;
    CKrFileWindow m_window;
    uint64_t m_bytesLeft = kMostCarriedBytes; // that may still be carried
    uint64_t m_chunksLeft = kMostCarriedChunks;
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
    Set(KrStrh::kLengthAt, units);
}

void SKrCarriedStream::SetStart(uint32_t units)
{
    Set(KrStrh::kStartTimeAt, units);
}

void SKrCarriedStream::SetRate(uint32_t rate, uint32_t scale)
{
    Set(KrStrh::kRateAt, rate);
    Set(KrStrh::kScaleAt, scale);
}

std::optional<SKrCarriedHeader> ReadCarriedHeader(const CKrByteSource& file)
{
    return CKrCarriedHeaderReader(file).Run();
}
} // namespace KrTool
