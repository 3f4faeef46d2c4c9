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
            m_isKey = FindKeyChunks(m_file, m_scan);
        if (isSuperBroken && hasPlaces)
            MakeStandardIndexes();
        else if (isSuperBroken)
            HideOpenDmlIndexes();
        if (isOldBroken || m_fresh.appendedToMovi != 0)
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
        bytes.reserve(SKrStdIndexHead::kEncodedSize + chunks.size() * SKrStdIndexEntry::kEncodedSize);
        CKrByteWriter out(bytes);
        SKrStdIndexHead head;
        head.chunkId = slot.id;
        head.chunkSize = slot.size;
        head.entriesInUse = static_cast<uint32_t>(chunks.size());
        head.streamChunkId = m_scan.ids[chunks.front()];
        head.baseOffset = m_scan.segments[segment].position;
        Encode(out, head);
        uint8_t* to = out.Space(chunks.size() * SKrStdIndexEntry::kEncodedSize);
        for (const size_t number : chunks)
        {
            const SKrDataChunk& chunk = m_model.chunks[number];
            const uint64_t offset = chunk.position + kChunkHeaderSize - head.baseOffset;
            if (offset > UINT32_MAX || chunk.size > INT32_MAX)
                Refuse("a segment of it is too large for indexes");
            const uint32_t key = m_isKey[number] ? 0 : SKrStdIndexEntry::kNotKeyFrame;
            EncodeStdIndexEntry(to, {static_cast<uint32_t>(offset), chunk.size | key});
            to += SKrStdIndexEntry::kEncodedSize;
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
            m_position + m_fresh.appended.size(), (kFccIx00 & UINT16_MAX) | digits,
            static_cast<uint32_t>(kStandardPayload + chunks.size() * SKrStdIndexEntry::kEncodedSize)};
        const std::vector<uint8_t> bytes = IndexBytes(slot, chunks, segment);
        m_fresh.appended.insert(m_fresh.appended.end(), bytes.begin(), bytes.end());
        m_fresh.appendedToMovi = m_fresh.appended.size();
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
            m_fresh.patches.Put(place.position, std::move(bytes));
        m_fresh.standardIndexes += entries.size();
    }

    // 'idx1' of the first segment, with its chunk header.
    [[nodiscard]] std::vector<uint8_t> OldIndexBytes() const
    {
        const auto& chunks = m_model.chunks;
        const auto end = std::ranges::partition_point(chunks, [](auto& chunk) { return chunk.segment == 0; });
        const std::span ids(m_scan.ids.data(), static_cast<size_t>(end - chunks.begin()));
        const auto entries = ids.size() - static_cast<size_t>(std::ranges::count(ids, uint32_t{0}));
        std::vector<uint8_t> bytes(kChunkHeaderSize + entries * SKrOldIndexEntry::kEncodedSize);
        PutLe32(bytes.data(), kFccIdx1);
        uint8_t* to = bytes.data() + kChunkHeaderSize;
        const uint64_t base = m_scan.segments.front().movi->position + kChunkHeaderSize;
        for (size_t number = 0; number < ids.size(); ++number)
        {
            const SKrDataChunk& chunk = chunks[number];
            if (ids[number] == 0)
                continue;
            const uint64_t offset = chunk.position - base;
            if (chunk.position < base || offset > UINT32_MAX)
                Refuse("a chunk of it has no place in an index");
            const uint32_t key = m_isKey[number] ? kAviifKeyFrame : 0;
            EncodeOldIndexEntry(to, {ids[number], chunk.kind == EKrContent::Other ? kAviifNoTime : key,
                                     static_cast<uint32_t>(offset), chunk.size});
            to += SKrOldIndexEntry::kEncodedSize;
        }
        PutOwnSize(bytes);
        return bytes;
    }

    static void PutOwnSize(std::vector<uint8_t>& chunk)
    {
        PutLe32(&chunk[sizeof(uint32_t)], static_cast<uint32_t>(chunk.size() - kChunkHeaderSize));
    }

    // In the place of the old one, which is hidden where that is too small or 'movi' grows over it.
    void MakeOldIndex(bool isSingle)
    {
        const std::optional<SKrPlacedChunk>& old = m_model.segments.front().oldIndex;
        const bool isThere = old && IsInFile(*old);
        if (!isSingle && !isThere)
            return;
        std::vector<uint8_t> index = OldIndexBytes();
        const size_t entries = (index.size() - kChunkHeaderSize) / SKrOldIndexEntry::kEncodedSize;
        const bool fits =
            isThere && m_fresh.appendedToMovi == 0 && index.size() <= old->size + kChunkHeaderSize;
        if (fits)
        {
            m_fresh.oldIndexEntries = entries;
            return PutOldIndex(*old, std::move(index));
        }
        if (isThere)
            Hide(*old);
        m_fresh.hasNoPlaceForOldIndex = !isSingle;
        if (!isSingle)
            return;
        m_fresh.oldIndexEntries = entries;
        if (m_fresh.appended.empty())
            m_fresh.appended = std::move(index);
        else
            m_fresh.appended.insert(m_fresh.appended.end(), index.begin(), index.end());
    }

    // What is left of the old one becomes filler, or stays at its end as zeros.
    void PutOldIndex(const SKrPlacedChunk& old, std::vector<uint8_t> index)
    {
        const uint64_t end = old.position + index.size();
        if (old.End() - end >= kChunkHeaderSize)
        {
            m_fresh.patches.PutFiller(end, old.End());
        }
        else
        {
            index.resize(old.size + kChunkHeaderSize);
            PutOwnSize(index);
        }
        m_fresh.patches.Put(old.position, std::move(index));
    }

    const CKrByteSource& m_file;
    const SKrReindexScan& m_scan;
    const SKrVerifyModel& m_model;
    const uint64_t m_position;
    std::vector<bool> m_isKey; // of the model's chunks
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
