// Super indexes against the standard indexes, and these against the chunks.
#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrStandardIndexCheck.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr uint64_t kSuperHeadSize = SKrSuperIndexHead::kEncodedSize - kChunkHeaderSize;
constexpr uint64_t kSuperEntriesAt = 4;
constexpr uint64_t kSuperChunkIdAt = 8;
constexpr uint64_t kReservedAt = 12;

class CKrSuperIndexCheck
{
public:
    CKrSuperIndexCheck(const SKrVerifyContext& context, CKrStandardIndexCheck& standard, uint32_t stream)
        : m_context(context), m_results(context.results), m_standard(standard), m_number(stream),
          m_stream(context.model.streams[stream]), m_index(*m_stream.superIndex)
    {
    }

    void Run()
    {
        CKrByteReader in(m_context.window.At(m_index.position, SKrSuperIndexHead::kEncodedSize));
        SKrSuperIndexHead head;
        if (m_index.size < kSuperHeadSize || !Decode(in, head))
        {
            m_results.Add(EKrCheck::IndxShort, m_index.position, "24 bytes at least",
                          Counted(m_index.size, "byte"));
            return;
        }
        if (head.indexType == kIndexOfChunks)
        {
            m_standard.Check(m_index, m_number); // small files may have their entries here
            return;
        }
        if (head.longsPerEntry != 4 || head.indexType != kIndexOfIndexes ||
            WordsOfEntry(head.indexSubType) == 0)
        {
            m_results.Add(EKrCheck::IndxShape, m_index.Data(), "4 words, sub-type 0, type 0",
                          Format("{} words, sub-type {}, type {}", head.longsPerEntry, head.indexSubType,
                                 head.indexType));
            return;
        }
        CheckHead(head);
        CheckEntries(head);
    }

private:
    void CheckHead(const SKrSuperIndexHead& head)
    {
        const auto tag = DataTagOf(head.streamChunkId, m_context.model.streams.size());
        if (!tag || tag->stream != m_number)
            m_results.Add(EKrCheck::IndxIdDiffers, m_index.Data() + kSuperChunkIdAt,
                          Format("an id of stream {}", m_number), FourCcText(head.streamChunkId));
        if (head.reserved[0] != 0 || head.reserved[1] != 0 || head.reserved[2] != 0)
            m_results.Add(EKrCheck::IndxReserved, m_index.Data() + kReservedAt, "zeros", "other bytes");
        if (head.entriesInUse == 0 && m_stream.chunks != 0)
            m_results.Add(EKrCheck::IndxEmpty, m_index.Data() + kSuperEntriesAt,
                          "entries for " + Counted(m_stream.chunks, "chunk"), "none");
        if (head.entriesInUse > Room())
            m_results.Add(EKrCheck::IndxCount, m_index.Data() + kSuperEntriesAt, Format("{} at most", Room()),
                          std::to_string(head.entriesInUse));
    }

    uint64_t Room() const { return (m_index.size - kSuperHeadSize) / SKrSuperIndexEntry::kEncodedSize; }

    // Reading the standard indexes reuses the context's window.
    void CheckEntries(const SKrSuperIndexHead& head)
    {
        CKrFileWindow window = m_context.window.Another();
        ForEachEntry(window, m_index.Data() + kSuperHeadSize, std::min<uint64_t>(head.entriesInUse, Room()),
                     SKrSuperIndexEntry::kEncodedSize,
                     [this](std::span<const uint8_t> bytes, uint64_t position)
                     {
                         m_context.progress.StopIfAsked();
                         CheckEntry(DecodeSuperIndexEntry(bytes.data()), position);
                         return true;
                     });
    }

    void CheckEntry(const SKrSuperIndexEntry& entry, uint64_t position)
    {
        if (entry.position == 0)
        {
            m_results.Add(EKrCheck::IndxEntryZero, position, "the position of an index", "0");
            return;
        }
        SKrStandardIndex* const index = FindIndex(entry.position);
        if (index == nullptr)
        {
            m_results.Add(EKrCheck::IndxEntryNoIndex, position,
                          FoundPosition("a chunk ix##", entry.position));
            return;
        }
        if (entry.position < m_lastPosition)
            m_results.Add(EKrCheck::IndxOutOfOrder, position, FoundBefore(m_lastPosition, entry.position));
        m_lastPosition = entry.position;
        if (entry.size != uint64_t{index->chunk.size} + kChunkHeaderSize)
            m_results.Add(EKrCheck::IndxEntrySize, position + 8,
                          Numbers(uint64_t{index->chunk.size} + kChunkHeaderSize, entry.size));
        if (index->wasChecked)
        {
            m_results.Add(EKrCheck::IndxEntryRepeated, position,
                          FoundPosition("another index", entry.position));
            return;
        }
        index->wasChecked = true;
        const SKrIndexedAmount amount = m_standard.Check(index->chunk, m_number);
        if (amount.isWhole && entry.duration != amount.Duration(m_stream))
            m_results.Add(EKrCheck::IndxDuration, position + 12,
                          Numbers(amount.Duration(m_stream), entry.duration));
    }

    SKrStandardIndex* FindIndex(uint64_t position)
    {
        std::vector<SKrStandardIndex>& indexes = m_context.model.standardIndexes;
        const auto found = std::ranges::lower_bound(
            indexes, position, {}, [](const SKrStandardIndex& index) { return index.chunk.position; });
        return found != indexes.end() && found->chunk.position == position ? &*found : nullptr;
    }

    const SKrVerifyContext& m_context;
    CKrVerifyResults& m_results;
    CKrStandardIndexCheck& m_standard;
    const uint32_t m_number;
    const SKrVerifyStream& m_stream;
    const SKrPlacedChunk m_index;
    uint64_t m_lastPosition = 0;
};

void CheckIndexPresence(const SKrVerifyContext& context)
{
    const SKrVerifyModel& model = context.model;
    const bool hasAny = model.HasSuperIndex();
    if (!hasAny && model.segments.size() > 1)
        context.results.Add(EKrCheck::IndxNoneForSegments, model.segments[1].position, "super indexes",
                            "none");
    for (const SKrVerifyStream& stream : model.streams)
    {
        if (hasAny && !stream.superIndex && stream.chunks != 0)
            context.results.Add(EKrCheck::IndxMissing, stream.position, "indx", "none");
    }
}

void CheckUnreferenced(const SKrVerifyContext& context, CKrStandardIndexCheck& standard)
{
    for (SKrStandardIndex& index : context.model.standardIndexes)
    {
        if (index.wasChecked)
            continue;
        context.results.Add(EKrCheck::IxUnreferenced, index.chunk.position,
                            FoundId("an entry of a super index", index.chunk.id));
        const auto tag = DataTagOf(DataIdOfIndex(index.chunk.id), context.model.streams.size());
        standard.Check(index.chunk, tag ? tag->stream : 0);
    }
}

void CheckChunk(const SKrVerifyContext& context, const SKrDataChunk& chunk)
{
    constexpr uint8_t kBoth = SKrDataChunk::kInIdx1 | SKrDataChunk::kInIx;
    const bool hasSuperIndex =
        chunk.stream < context.model.streams.size() && context.model.streams[chunk.stream].superIndex;
    if (hasSuperIndex && chunk.kind != EKrContent::Other && chunk.size != 0 &&
        (chunk.marks & SKrDataChunk::kInIx) == 0)
        context.results.Add(EKrCheck::IxChunkMissing, chunk.position, FoundChunk("an entry", chunk.stream));
    const bool isKeyInIdx1 = (chunk.marks & SKrDataChunk::kKeyInIdx1) != 0;
    const bool isKeyInIx = (chunk.marks & SKrDataChunk::kKeyInIx) != 0;
    if ((chunk.marks & kBoth) == kBoth && isKeyInIdx1 != isKeyInIx)
        context.results.Add(EKrCheck::IndexKeyDiffers, chunk.position,
                            isKeyInIdx1 ? "a key frame, as in 'idx1'" : "not a key frame, as in 'idx1'",
                            isKeyInIx ? "a key frame in 'ix##'" : "not one in 'ix##'");
}

// Whether a video stream with indexed chunks has a key frame among them.
void CheckKeyFrames(const SKrVerifyContext& context)
{
    const std::vector<SKrVerifyStream>& streams = context.model.streams;
    std::vector<bool> isIndexed(streams.size());
    std::vector<bool> hasKey(streams.size());
    for (const SKrDataChunk& chunk : context.model.chunks)
    {
        if (chunk.stream >= streams.size() || (chunk.marks & SKrDataChunk::kInIx) == 0)
            continue;
        isIndexed[chunk.stream] = true;
        if ((chunk.marks & SKrDataChunk::kKeyInIx) != 0)
            hasKey[chunk.stream] = true;
    }
    for (size_t stream = 0; stream < streams.size(); ++stream)
    {
        if (streams[stream].type == kFccVids && isIndexed[stream] && !hasKey[stream])
            context.results.Add(EKrCheck::IxNoKeyFrame, streams[stream].position, "a key frame",
                                Format("none in stream {}", stream));
    }
}
} // namespace

void CheckOpenDmlIndexes(const SKrVerifyContext& context)
{
    CheckIndexPresence(context);
    CKrStandardIndexCheck standard(context);
    for (uint32_t stream = 0; stream < context.model.streams.size(); ++stream)
    {
        if (context.model.streams[stream].superIndex)
            CKrSuperIndexCheck(context, standard, stream).Run();
    }
    CheckUnreferenced(context, standard);
    for (const SKrDataChunk& chunk : context.model.chunks)
        CheckChunk(context, chunk);
    CheckKeyFrames(context);
}
} // namespace KrTool
