#include "tools/mend/KrFreshIndexes.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrFourCC.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrToolError.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kSuperPayload = SKrSuperIndexHead::kEncodedSize - kChunkHeaderSize; // of its head
constexpr size_t kStandardPayload = SKrStdIndexHead::kEncodedSize - kChunkHeaderSize;
constexpr char kWayOut[] = "kravi rewrap or kravi recover makes a new file";

// Several names in a line.
// clang-format off
constexpr EKrCheck kWrongOldIndex[] = {
    EKrCheck::IndexMissing, EKrCheck::Idx1OffsetZero, EKrCheck::Idx1OffsetRepeated, EKrCheck::Idx1EntryNoChunk,
    EKrCheck::Idx1EntryInChunk, EKrCheck::Idx1SizeDiffers, EKrCheck::Idx1IdDiffers, EKrCheck::Idx1IdUnknown,
    EKrCheck::Idx1OutOfOrder, EKrCheck::Idx1ChunkMissing, EKrCheck::Idx1BaseUnusual};
constexpr EKrCheck kWrongSuperIndex[] = {
    EKrCheck::IndxMissing, EKrCheck::IndxNoneForSegments, EKrCheck::IndxShort, EKrCheck::IndxShape, EKrCheck::IndxEmpty,
    EKrCheck::IndxCount, EKrCheck::IndxEntryZero, EKrCheck::IndxEntryRepeated, EKrCheck::IndxEntryNoIndex,
    EKrCheck::IndxEntrySize, EKrCheck::IndxDuration, EKrCheck::IndxOutOfOrder, EKrCheck::IxShort, EKrCheck::IxShape,
    EKrCheck::IxCount, EKrCheck::IxOffsetAtHeader, EKrCheck::IxOffsetRepeated, EKrCheck::IxEntryNoChunk,
    EKrCheck::IxEntryInChunk, EKrCheck::IxSizeDiffers, EKrCheck::IxOtherStream, EKrCheck::IxOutOfOrder, EKrCheck::IxUnreferenced, EKrCheck::IxIdDiffers, EKrCheck::IndxIdDiffers, EKrCheck::IndxReserved,
    EKrCheck::IxChunkMissing};
// clang-format on

template <class CHECKS>
bool HasAny(const SKrReindexScan& scan, const CHECKS& checks)
{
    return std::ranges::any_of(checks, [&scan](EKrCheck check) { return scan.results.Of(check).count != 0; });
}

// A standard index to be written, in the place of an old one or past the end.
struct SKrIndexSlot
{
    uint64_t position = 0;
    uint32_t id = 0;
    uint32_t size = 0; // payload

    [[nodiscard]] size_t Capacity() const
    {
        return (std::max<size_t>(size, kStandardPayload) - kStandardPayload) / SKrStdIndexEntry::kEncodedSize;
    }
};

// The chunks of one stream in one segment, by their numbers.
using Numbers = std::vector<size_t>;

class CKrIndexMaking
{
public:
    CKrIndexMaking(const CKrByteSource& file, const SKrReindexScan& scan, uint64_t appendPosition)
        : m_file(file), m_scan(scan), m_model(scan.model), m_position(appendPosition)
    {
    }

    SKrFreshIndexes Run()
    {
        const bool isSingle = m_scan.segments.size() == 1;
        const bool hasSuper = m_model.HasSuperIndex();
        const bool hasPlaces = hasSuper && AreSuperIndexesUsable();
        if (!isSingle && !hasPlaces)
            throw CKrToolError(m_file.Path(),
                               Format("it has {} segments, and no super indexes ('indx') that lead to "
                                      "all of them; {}",
                                      m_scan.segments.size(), kWayOut));
        const bool isSuperBroken = hasSuper && (!hasPlaces || IsSuperIndexBroken(m_scan));
        const bool isOldBroken = IsOldIndexBroken(m_scan);
        if (isSuperBroken || isOldBroken)
            m_keys = FindChunkKeys(m_file, m_scan);
        if (isSuperBroken && hasPlaces)
            MakeStandardIndexes();
        else if (isSuperBroken)
            HideOpenDmlIndexes();
        if (isOldBroken || !m_fresh.standard.empty())
            MakeOldIndex(isSingle);
        return std::move(m_fresh);
    }

private:
    [[nodiscard]] bool IsInFile(const SKrPlacedChunk& chunk) const { return chunk.End() <= m_file.Length(); }

    [[noreturn]] void Refuse(const std::string& cause) const
    {
        throw CKrToolError(m_file.Path(), Format("{}; {}", cause, kWayOut));
    }

    void Hide(const SKrPlacedChunk& chunk) { m_fresh.patches.PutU32Le(chunk.position, kFccJunk); }

    // Those of all streams that have chunks are there, and are indexes of indexes.
    [[nodiscard]] bool AreSuperIndexesUsable() const
    {
        return std::ranges::all_of(m_model.streams, [this](const SKrVerifyStream& stream)
                                   { return stream.chunks == 0 || CapacityOf(stream) != 0; });
    }

    [[nodiscard]] size_t CapacityOf(const SKrVerifyStream& stream) const
    {
        if (!stream.superIndex || stream.superIndex->size < SKrSuperIndexHead::kEncodedSize ||
            !IsInFile(*stream.superIndex))
            return 0;
        std::vector<uint8_t> bytes(SKrSuperIndexHead::kEncodedSize);
        m_file.Fill(stream.superIndex->position, bytes);
        CKrByteReader in(bytes);
        SKrSuperIndexHead head;
        if (!Decode(in, head) || head.indexType != kIndexOfIndexes)
            return 0;
        return (stream.superIndex->size - kSuperPayload) / SKrSuperIndexEntry::kEncodedSize;
    }

    void HideOpenDmlIndexes()
    {
        for (const SKrVerifyStream& stream : m_model.streams)
        {
            if (stream.superIndex)
                Hide(*stream.superIndex);
        }
        for (const SKrStandardIndex& index : m_model.standardIndexes)
        {
            if (IsInFile(index.chunk))
                Hide(index.chunk);
        }
    }

    void MakeStandardIndexes()
    {
        for (uint32_t stream = 0; stream < m_model.streams.size(); ++stream)
        {
            if (m_model.streams[stream].superIndex)
                MakeStandardIndexesOf(stream);
        }
    }

    void MakeStandardIndexesOf(uint32_t stream)
    {
        std::vector<SKrSuperIndexEntry> entries;
        bool isAppended = false;
        uint32_t id = 0;
        for (size_t segment = 0; segment < m_scan.segments.size(); ++segment)
        {
            const Numbers chunks = ChunksOf(stream, segment);
            id = id == 0 && !chunks.empty() ? m_scan.ids[chunks.front()] : id;
            std::span<const size_t> left = chunks;
            for (const SKrIndexSlot& slot : SlotsOf(stream, segment))
            {
                const size_t count = isAppended ? 0 : std::min(left.size(), slot.Capacity());
                if (count == 0)
                {
                    Hide({slot.position, slot.id, slot.size});
                    continue;
                }
                m_fresh.patches.Put(slot.position, IndexBytes(slot, left.first(count), segment));
                entries.push_back(EntryOf(slot, left.first(count), stream));
                left = left.subspan(count);
            }
            if (left.empty())
                continue;
            isAppended = true; // and all that follow, so that they stay in the order of the file
            entries.push_back(Append(left, stream, segment));
        }
        PutSuperIndex(stream, id, entries);
    }

    [[nodiscard]] Numbers ChunksOf(uint32_t stream, size_t segment) const
    {
        const auto& all = m_model.chunks;
        const auto [from, to] = std::ranges::equal_range(
            all, segment, {}, [](const SKrDataChunk& chunk) { return size_t{chunk.segment}; });
        Numbers numbers;
        for (auto chunk = from; chunk != to; ++chunk)
        {
            const auto number = static_cast<size_t>(chunk - all.begin());
            if (m_scan.ids[number] != 0 && chunk->stream == stream && chunk->kind != EKrContent::Other)
                numbers.push_back(number);
        }
        return numbers;
    }

    // Places of old standard indexes of the stream.
    [[nodiscard]] std::vector<SKrIndexSlot> SlotsOf(uint32_t stream, size_t segment) const
    {
        const uint64_t from = m_scan.segments[segment].position;
        const uint64_t to =
            segment + 1 < m_scan.segments.size() ? m_scan.segments[segment + 1].position : m_file.Length();
        std::vector<SKrIndexSlot> slots;
        const auto& all = m_model.standardIndexes;
        auto index = std::ranges::lower_bound(
            all, from, {}, [](const SKrStandardIndex& standard) { return standard.chunk.position; });
        for (; index != all.end() && index->chunk.position < to; ++index)
        {
            const SKrPlacedChunk& chunk = index->chunk;
            const auto tag = DataTagOf(DataIdOfIndex(chunk.id), m_model.streams.size());
            if (chunk.End() <= to && tag && tag->stream == stream)
                slots.push_back({chunk.position, chunk.id, chunk.size});
        }
        return slots;
    }

    // With its chunk header, up to the last entry.
    [[nodiscard]] std::vector<uint8_t> IndexBytes(const SKrIndexSlot& slot, std::span<const size_t> chunks,
                                                  size_t segment) const
    {
        std::vector<uint8_t> bytes;
        CKrByteWriter out(bytes);
        SKrStdIndexHead head;
        head.chunkId = slot.id;
        head.chunkSize = slot.size;
        head.entriesInUse = static_cast<uint32_t>(chunks.size());
        head.streamChunkId = m_scan.ids[chunks.front()];
        head.baseOffset = m_scan.segments[segment].position;
        Encode(out, head);
        for (const size_t number : chunks)
        {
            const SKrDataChunk& chunk = m_model.chunks[number];
            const uint64_t offset = chunk.position + kChunkHeaderSize - head.baseOffset;
            if (offset > UINT32_MAX || chunk.size > INT32_MAX)
                Refuse("a segment of it is too large for indexes");
            const uint32_t key = m_keys.isKey[number] ? 0 : SKrStdIndexEntry::kNotKeyFrame;
            Encode(out, SKrStdIndexEntry{static_cast<uint32_t>(offset), chunk.size | key});
        }
        return bytes;
    }

    [[nodiscard]] SKrSuperIndexEntry EntryOf(const SKrIndexSlot& slot, std::span<const size_t> chunks,
                                             uint32_t stream) const
    {
        const uint32_t sampleSize = m_model.streams[stream].sampleSize;
        uint64_t duration = 0;
        for (const size_t number : chunks)
            duration += sampleSize != 0 ? m_model.chunks[number].size / sampleSize : 1;
        return {slot.position, static_cast<uint32_t>(slot.size + kChunkHeaderSize),
                static_cast<uint32_t>(duration)};
    }

    SKrSuperIndexEntry Append(std::span<const size_t> chunks, uint32_t stream, size_t segment)
    {
        const SKrSegmentEnds& last = m_scan.segments.back();
        if (!last.movi || last.hasOthersAfterMovi)
            Refuse("its last segment has no place for an index of its own at the end of 'movi'");
        const uint32_t digits = m_scan.ids[chunks.front()] << 16; // of the stream's number
        const SKrIndexSlot slot = {
            m_position + m_fresh.standard.size(), (kFccIx00 & UINT16_MAX) | digits,
            static_cast<uint32_t>(kStandardPayload + chunks.size() * SKrStdIndexEntry::kEncodedSize)};
        const std::vector<uint8_t> bytes = IndexBytes(slot, chunks, segment);
        m_fresh.standard.insert(m_fresh.standard.end(), bytes.begin(), bytes.end());
        return EntryOf(slot, chunks, stream);
    }

    void PutSuperIndex(uint32_t stream, uint32_t id, const std::vector<SKrSuperIndexEntry>& entries)
    {
        const SKrPlacedChunk& place = *m_model.streams[stream].superIndex;
        const size_t capacity = CapacityOf(m_model.streams[stream]);
        if (capacity == 0)
            return; // of a stream without chunks
        if (entries.size() > capacity)
            Refuse(Format("the super index of stream {} has room for {} indexes, and {} are needed", stream,
                          capacity, entries.size()));
        std::vector<uint8_t> bytes;
        CKrByteWriter out(bytes);
        SKrSuperIndexHead head;
        head.chunkId = place.id;
        head.chunkSize = place.size;
        head.entriesInUse = static_cast<uint32_t>(entries.size());
        head.streamChunkId = id;
        Encode(out, head);
        for (const SKrSuperIndexEntry& entry : entries)
            Encode(out, entry);
        if (id == 0) // without chunks there is no id: the old one stays
            m_fresh.patches.PutU32Le(place.Data() + sizeof(uint32_t), 0);
        else
            m_fresh.patches.Put(place.position, bytes);
        m_fresh.standardIndexes += entries.size();
    }

    [[nodiscard]] std::vector<uint8_t> OldEntries() const
    {
        std::vector<uint8_t> bytes;
        CKrByteWriter out(bytes);
        const uint64_t base = m_scan.segments.front().movi->position + kChunkHeaderSize;
        for (size_t number = 0; number < m_scan.ids.size(); ++number)
        {
            const SKrDataChunk& chunk = m_model.chunks[number];
            if (m_scan.ids[number] == 0 || chunk.segment != 0)
                continue;
            const uint64_t offset = chunk.position - base;
            if (chunk.position < base || offset > UINT32_MAX)
                Refuse("a chunk of it has no place in an index");
            const uint32_t key = m_keys.isKey[number] ? kAviifKeyFrame : 0;
            Encode(out,
                   SKrOldIndexEntry{m_scan.ids[number], chunk.kind == EKrContent::Other ? kAviifNoTime : key,
                                    static_cast<uint32_t>(offset), chunk.size});
        }
        return bytes;
    }

    // In the place of the old one, which is hidden where that is too small or 'movi' grows over it.
    void MakeOldIndex(bool isSingle)
    {
        const std::optional<SKrPlacedChunk>& old = m_model.segments.front().oldIndex;
        const bool isThere = old && IsInFile(*old);
        if (!isSingle && !isThere)
            return;
        const std::vector<uint8_t> entries = OldEntries();
        const bool fits = isThere && m_fresh.standard.empty() && entries.size() <= old->size;
        if (fits)
            return PutOldIndex(*old, entries);
        if (isThere)
            Hide(*old);
        m_fresh.hasNoPlaceForOldIndex = !isSingle;
        if (!isSingle)
            return;
        m_fresh.oldIndex = ChunkHead(entries.size());
        m_fresh.oldIndex.insert(m_fresh.oldIndex.end(), entries.begin(), entries.end());
        m_fresh.oldIndexEntries = entries.size() / SKrOldIndexEntry::kEncodedSize;
    }

    static std::vector<uint8_t> ChunkHead(size_t size)
    {
        std::vector<uint8_t> bytes;
        CKrByteWriter out(bytes);
        out.U32Le(kFccIdx1);
        out.U32Le(static_cast<uint32_t>(size));
        return bytes;
    }

    // What is left of the old one becomes filler, or stays at its end as zeros.
    void PutOldIndex(const SKrPlacedChunk& old, std::vector<uint8_t> entries)
    {
        m_fresh.oldIndexEntries = entries.size() / SKrOldIndexEntry::kEncodedSize;
        const size_t left = old.size - entries.size();
        if (left >= kChunkHeaderSize)
        {
            m_fresh.patches.PutU32Le(old.position + sizeof(uint32_t), static_cast<uint32_t>(entries.size()));
            m_fresh.patches.PutFiller(old.Data() + entries.size(), old.End());
        }
        else
        {
            entries.resize(old.size);
        }
        m_fresh.patches.Put(old.Data(), entries);
    }

    const CKrByteSource& m_file;
    const SKrReindexScan& m_scan;
    const SKrVerifyModel& m_model;
    const uint64_t m_position;
    SKrChunkKeys m_keys;
    SKrFreshIndexes m_fresh;
};
} // namespace

bool IsOldIndexBroken(const SKrReindexScan& scan)
{
    // A file that was closed may do with super indexes alone.
    const bool isClosed = scan.segments.size() == 1 && scan.segments.front().isRight;
    const bool isEnough = isClosed && scan.model.HasSuperIndex() && !IsSuperIndexBroken(scan);
    const bool isMissing = scan.segments.size() == 1 && !scan.model.segments.front().oldIndex && !isEnough;
    return isMissing || scan.cutChunks != 0 || HasAny(scan, kWrongOldIndex);
}

bool IsSuperIndexBroken(const SKrReindexScan& scan)
{
    return scan.cutChunks != 0 || HasAny(scan, kWrongSuperIndex);
}

SKrFreshIndexes MakeFreshIndexes(const CKrByteSource& file, const SKrReindexScan& scan,
                                 uint64_t appendPosition)
{
    return CKrIndexMaking(file, scan, appendPosition).Run();
}
} // namespace KrTool
