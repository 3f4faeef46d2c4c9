#include "tools/copier/KrChunkGap.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrText.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kZerosAtOnce = 4096;

bool IsStreamIndex(uint32_t id)
{
    constexpr uint32_t kIx = KrFourCC("00ix") >> 16;
    return IsStandardIndexId(id) || id >> 16 == kIx || (id & 0xFFFF) == kIx;
}

// Whether the content of a list is read as if it stood around it.
bool IsEntered(const SKrChunkHeader& chunk)
{
    const bool isDataList = chunk.firstData == kFccMovi || chunk.firstData == kFccRec;
    return chunk.id == kFccRiff || (chunk.id == kFccList && isDataList);
}
} // namespace

bool CKrChunkGap::IsChunkAt(uint64_t position, uint64_t to)
{
    const std::span<const uint8_t> bytes = m_window.At(position, kChunkHeaderSize);
    if (position + kChunkHeaderSize > to || bytes.size() < kChunkHeaderSize)
        return false;
    const SKrChunkHeader chunk = DecodeChunkHeader(bytes);
    return IsPrintableFourCc(chunk.id) && (IsContainer(chunk.id) || chunk.size <= to - position);
}

// Where the next chunk starts: chunks that writers do not pad are followed at once.
uint64_t CKrChunkGap::NextAt(uint64_t end, uint64_t to)
{
    const bool isUnpadded = end % 2 != 0 && !IsChunkAt(end + 1, to) && IsChunkAt(end, to);
    return isUnpadded ? end : RoundUpToEven(end);
}

uint64_t CKrChunkGap::PassZeros(uint64_t position, uint64_t to)
{
    while (position < to)
    {
        const std::span<const uint8_t> bytes =
            m_window.At(position, static_cast<size_t>(std::min<uint64_t>(to - position, kZerosAtOnce)));
        const auto other = std::ranges::find_if(bytes, [](uint8_t byte) { return byte != 0; });
        position += static_cast<uint64_t>(other - bytes.begin());
        if (other != bytes.end() || bytes.empty())
            break;
    }
    return position;
}

void CKrChunkGap::Take(const SKrChunkHeader& chunk, uint64_t position, SKrGapContent& content) const
{
    const uint32_t stream = KrStreamNumber(chunk.id);
    if (stream < m_streamCount && !IsStreamIndex(chunk.id))
        content.chunks.push_back({position + kChunkHeaderSize, chunk.size,
                                  static_cast<uint16_t>(chunk.id >> 16), static_cast<uint8_t>(stream),
                                  SKrCarriedChunk::kNotIndexed});
    else if (KindOfChunk(chunk.id) == nullptr && !IsStreamIndex(chunk.id) && !IsContainer(chunk.id))
        ++content.unknownChunks;
}

SKrGapContent CKrChunkGap::Walk(uint64_t from, uint64_t to)
{
    SKrGapContent content;
    uint64_t position = NextAt(from, to);
    while (position + kChunkHeaderSize <= to)
    {
        const std::span<const uint8_t> bytes = m_window.At(position, kListHeaderSize);
        if (bytes.size() < kChunkHeaderSize)
            break;
        const SKrChunkHeader chunk = DecodeChunkHeader(bytes);
        if (chunk.id == 0)
        {
            // Some writers align chunks by zeros.
            const uint64_t next = PassZeros(position, to);
            if (next != to && !IsChunkAt(next, to))
                break;
            position = next;
            continue;
        }
        if (IsEntered(chunk))
        {
            position += kListHeaderSize;
            if (chunk.id == kFccRiff)
                content.unknownChunks = 0; // they stood after the data of a segment
            continue;
        }
        const uint64_t end = position + kChunkHeaderSize + chunk.size;
        if (!IsPrintableFourCc(chunk.id) || end > to)
            break;
        Take(chunk, position, content);
        position = NextAt(end, to);
    }
    if (position + kChunkHeaderSize <= to)
    {
        content.lostFrom = position;
        content.lostBytes = to - position;
    }
    return content;
}
} // namespace KrTool
