#include "tools/verify/KrStandardIndexCheck.h"

#include "format/KrBytes.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr uint64_t kStdHeadSize = SKrStdIndexHead::kEncodedSize - kChunkHeaderSize;
constexpr uint64_t kCountAt = 4;
constexpr uint64_t kChunkIdAt = 8;
constexpr uint64_t kWordSize = 4;
constexpr uint8_t kIndexSubTypeOfFields = 1; // each entry has the place of the second field, too
} // namespace

uint16_t WordsOfEntry(uint8_t subType)
{
    switch (subType)
    {
    case kIndexSubTypeDefault:
        return 2;
    case kIndexSubTypeOfFields:
        return 3;
    case kIndexSubType64Bit:
        return SKrWideIndexEntry::kEncodedSize / kWordSize;
    default:
        return 0;
    }
}

bool CKrStandardIndexCheck::CheckHead(const SKrPlacedChunk& index, uint32_t stream, SKrStdIndexHead& head)
{
    CKrByteReader in(m_context.window.At(index.position, SKrStdIndexHead::kEncodedSize));
    if (index.size < kStdHeadSize || !Decode(in, head))
    {
        m_results.Add(EKrCheck::IxShort, index.position, "24 bytes at least", Counted(index.size, "byte"));
        return false;
    }
    const uint16_t words = WordsOfEntry(head.indexSubType);
    if (words == 0 || head.longsPerEntry != words || head.indexType != kIndexOfChunks)
    {
        m_results.Add(
            EKrCheck::IxShape, index.Data(), "2 words, sub-type 0, type 1",
            Format("{} words, sub-type {}, type {}", head.longsPerEntry, head.indexSubType, head.indexType));
        return false;
    }
    if (head.indexSubType == kIndexSubType64Bit)
        m_results.Add(EKrCheck::IxWide, index.Data() + 2, "sub-type 0", "sub-type 16");
    const auto tag = DataTagOf(head.streamChunkId, m_context.model.streams.size());
    if (!tag || tag->stream != stream)
        m_results.Add(EKrCheck::IxIdDiffers, index.Data() + kChunkIdAt, Format("an id of stream {}", stream),
                      FourCcText(head.streamChunkId));
    return true;
}

CKrStandardIndexCheck::SKrEntry CKrStandardIndexCheck::EntryOf(std::span<const uint8_t> bytes,
                                                               const SKrStdIndexHead& head)
{
    if (head.indexSubType == kIndexSubType64Bit)
    {
        const SKrWideIndexEntry wide = DecodeWideIndexEntry(bytes.data());
        return {head.baseOffset + wide.offset, wide.size, true};
    }
    const SKrStdIndexEntry entry = DecodeStdIndexEntry(bytes.data());
    return {head.baseOffset + entry.offset, entry.size & ~SKrStdIndexEntry::kNotKeyFrame,
            (entry.size & SKrStdIndexEntry::kNotKeyFrame) == 0};
}

SKrIndexedAmount CKrStandardIndexCheck::Check(const SKrPlacedChunk& index, uint32_t stream)
{
    SKrIndexedAmount amount;
    SKrStdIndexHead head;
    if (!CheckHead(index, stream, head))
        return amount;
    const size_t entrySize = static_cast<size_t>(head.longsPerEntry) * kWordSize;
    const uint64_t room = (index.size - kStdHeadSize) / entrySize;
    if (head.entriesInUse > room)
        m_results.Add(EKrCheck::IxCount, index.Data() + kCountAt, Format("{} at most", room),
                      std::to_string(head.entriesInUse));
    const uint32_t sampleSize =
        stream < m_context.model.streams.size() ? m_context.model.streams[stream].sampleSize : 0;
    const uint64_t count = std::min<uint64_t>(head.entriesInUse, room);
    m_lastPosition = 0;
    ForEachEntry(m_context.window, index.Data() + kStdHeadSize, count, entrySize,
                 [&](std::span<const uint8_t> bytes, uint64_t position)
                 {
                     const SKrEntry entry = EntryOf(bytes, head);
                     m_context.progress.StopIfAsked();
                     ++amount.entries;
                     amount.samples += sampleSize != 0 ? entry.size / sampleSize : 0;
                     CheckEntry(entry, position, stream);
                     return true;
                 });
    amount.isWhole = amount.entries == head.entriesInUse;
    m_context.model.standardIndexEntries += amount.entries;
    return amount;
}

void CKrStandardIndexCheck::CheckEntry(const SKrEntry& entry, uint64_t position, uint32_t stream)
{
    const uint64_t header = entry.target - kChunkHeaderSize;
    if (!m_lookup.Covers(header))
        return;
    SKrDataChunk* const chunk = entry.target >= kChunkHeaderSize ? m_lookup.At(header) : nullptr;
    if (chunk == nullptr)
    {
        NoteStray(entry, position, stream);
        return;
    }
    if (chunk->stream != stream)
        m_results.Add(EKrCheck::IxOtherStream, position, Numbers(stream, chunk->stream, "stream "));
    if (entry.size != (chunk->size & ~SKrStdIndexEntry::kNotKeyFrame))
        AddSizeDifference(m_context, *chunk, EKrCheck::IxSizeDiffers, position + kWordSize, entry.size);
    if ((chunk->marks & SKrDataChunk::kInIx) != 0)
        m_results.Add(EKrCheck::IxOffsetRepeated, position, FoundPosition("another chunk", entry.target));
    else if (header < m_lastPosition)
        m_results.Add(EKrCheck::IxOutOfOrder, position, FoundBefore(m_lastPosition, header));
    m_lastPosition = header;
    chunk->marks |= SKrDataChunk::kInIx;
    if (entry.isKey)
        chunk->marks |= SKrDataChunk::kKeyInIx;
}

void CKrStandardIndexCheck::NoteStray(const SKrEntry& entry, uint64_t position, uint32_t stream)
{
    EKrCheck check = EKrCheck::IxEntryNoChunk;
    if (m_lookup.At(entry.target) != nullptr)
    {
        check = EKrCheck::IxOffsetAtHeader;
    }
    else if (entry.target >= kChunkHeaderSize)
    {
        const auto tag =
            DataTagOf(m_strays.IdAt(entry.target - kChunkHeaderSize), m_context.model.streams.size());
        if (tag && tag->stream == stream)
            check = EKrCheck::IxEntryInChunk;
        const bool isSound =
            stream < m_context.model.streams.size() && m_context.model.streams[stream].type == kFccAuds;
        m_context.model.AddLost({entry.target - kChunkHeaderSize, entry.size, static_cast<uint16_t>(stream),
                                 isSound ? EKrContent::Audio : EKrContent::Video,
                                 check == EKrCheck::IxEntryInChunk});
    }
    m_results.Add(check, position,
                  [&]
                  {
                      return SKrExpectation{Format("the data of a chunk of stream {}", stream),
                                            Format("position {}", entry.target)};
                  });
}
} // namespace KrTool
