#include "tools/map/KrRemovedChunks.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>
#include <optional>

namespace KrTool
{
namespace
{
constexpr size_t kMostNamedChunks = size_t{1} << 24;
constexpr size_t kShortRow = 3; // where their positions speak for them as well
constexpr size_t kRow = 16;     // chunks that follow each other as the entries do
constexpr uint64_t kMostComparisons = uint64_t{1} << 27;

// An entry of an index, or a chunk that is there.
struct SKrIndexed
{
    int64_t position = 0; // of the header; of an entry from where the index counts
    uint32_t size = 0;
    EKrSpanKind kind = EKrSpanKind::Video;
    uint8_t stream = 0;

    [[nodiscard]] bool IsLike(const SKrIndexed& other) const
    {
        return size == other.size && stream == other.stream && kind == other.kind;
    }
};

EKrSpanKind SpanKindOf(const SKrDataTag& tag)
{
    return tag.Kind() == EKrStreamKind::Video ? EKrSpanKind::Video : EKrSpanKind::Audio;
}

class CKrIndexReading
{
public:
    CKrIndexReading(const CKrByteSource& file, size_t streamCount)
        : m_window(file), m_streamCount(streamCount)
    {
    }

    // The standard indexes, or 'idx1' where there are none.
    std::vector<SKrIndexed> Run(const std::vector<SKrIndexPlace>& places)
    {
        for (const SKrIndexPlace& place : places)
        {
            if (IsStandardIndexId(place.id))
                ReadStandard(place);
        }
        if (m_entries.empty() && !places.empty() && places.back().id == kFccIdx1)
            ReadOld(places.back());
        std::ranges::sort(m_entries, {}, &SKrIndexed::position);
        return std::move(m_entries);
    }

private:
    void Add(uint32_t id, int64_t position, uint32_t size)
    {
        const auto tag = DataTagOf(id, m_streamCount);
        const bool isData = tag && (tag->content == EKrContent::Video || tag->content == EKrContent::Audio) &&
                            tag->stream <= UINT8_MAX;
        if (isData && m_entries.size() < kMostNamedChunks)
            m_entries.push_back({position, size, SpanKindOf(*tag), static_cast<uint8_t>(tag->stream)});
    }

    void ReadOld(const SKrIndexPlace& place)
    {
        ForEachEntry(m_window, place.position + kChunkHeaderSize, place.size / SKrOldIndexEntry::kEncodedSize,
                     SKrOldIndexEntry::kEncodedSize,
                     [this](std::span<const uint8_t> bytes, uint64_t)
                     {
                         const SKrOldIndexEntry entry = DecodeOldIndexEntry(bytes.data());
                         if ((entry.flags & kAviifNoTime) == 0)
                             Add(entry.chunkId, entry.offset, entry.size);
                         return true;
                     });
    }

    void ReadStandard(const SKrIndexPlace& place)
    {
        CKrByteReader in(m_window.At(place.position, SKrStdIndexHead::kEncodedSize));
        SKrStdIndexHead head;
        constexpr uint32_t kHeadPayload = SKrStdIndexHead::kEncodedSize - kChunkHeaderSize;
        if (!Decode(in, head) || head.indexSubType != kIndexSubTypeDefault || head.longsPerEntry != 2 ||
            place.size < kHeadPayload)
            return;
        ForEachEntry(m_window, place.position + SKrStdIndexHead::kEncodedSize,
                     std::min<uint64_t>(head.entriesInUse,
                                        (place.size - kHeadPayload) / SKrStdIndexEntry::kEncodedSize),
                     SKrStdIndexEntry::kEncodedSize,
                     [this, &head](std::span<const uint8_t> bytes, uint64_t)
                     {
                         const SKrStdIndexEntry entry = DecodeStdIndexEntry(bytes.data());
                         Add(head.streamChunkId,
                             static_cast<int64_t>(head.baseOffset + entry.offset - kChunkHeaderSize),
                             entry.size & ~SKrStdIndexEntry::kNotKeyFrame);
                         return true;
                     });
    }

    CKrFileWindow m_window;
    const size_t m_streamCount;
    std::vector<SKrIndexed> m_entries;
};

// Walks through entries and chunks at the same time.
class CKrAlignment
{
public:
    CKrAlignment(std::vector<SKrIndexed> entries, std::vector<SKrIndexed> chunks, int64_t lastShift)
        : m_entries(std::move(entries)), m_chunks(std::move(chunks)), m_lastShift(lastShift)
    {
    }

    SKrRemovedChunks Run()
    {
        if (IsRow(0, kRow))
            m_shift = ShiftTo(0);
        while (m_chunk < m_chunks.size() && m_entry < m_entries.size())
        {
            if (IsMatch() || (!PassHole() && !PassRemoval()))
                PassChunk();
        }
        PassEntries(m_entries.size());
        const bool isKnown = !m_removed.places.empty() && m_matches * 2 > m_chunks.size();
        return isKnown ? std::move(m_removed) : SKrRemovedChunks();
    }

private:
    // Whether the next entry names the next chunk.
    [[nodiscard]] bool IsInPlace() const
    {
        const SKrIndexed& entry = m_entries[m_entry];
        const SKrIndexed& chunk = m_chunks[m_chunk];
        return m_shift && entry.position + *m_shift == chunk.position && entry.kind == chunk.kind &&
               entry.stream == chunk.stream;
    }
    [[nodiscard]] bool IsMatch() const
    {
        return IsInPlace() && m_entries[m_entry].size == m_chunks[m_chunk].size;
    }

    // With its entry, if there is one. The end of a chunk may be among what is gone.
    void PassChunk()
    {
        const bool isNamed = IsInPlace();
        m_matches += isNamed ? 1 : 0;
        m_entry += isNamed ? 1 : 0;
        ++m_chunk;
    }

    // Entries whose chunks are not there, before one whose chunk lies where it should.
    bool PassHole()
    {
        const auto entry = m_shift ? EntryAt(*m_shift, kShortRow) : std::nullopt;
        if (entry)
            PassEntries(*entry);
        return entry.has_value();
    }

    // The entry of the next chunk if that is moved so far.
    [[nodiscard]] std::optional<size_t> EntryAt(int64_t shift, size_t row) const
    {
        const auto found = std::lower_bound(m_entries.begin() + static_cast<ptrdiff_t>(m_entry),
                                            m_entries.end(), m_chunks[m_chunk].position - shift,
                                            [](const SKrIndexed& entry, int64_t position)
                                            { return entry.position < position; });
        const auto entry = static_cast<size_t>(found - m_entries.begin());
        const bool isThere = found != m_entries.end() && ShiftTo(entry) == shift && IsRow(entry, row);
        return isThere ? std::optional(entry) : std::nullopt;
    }

    // What follows lies elsewhere: by the order and the sizes of many chunks.
    bool PassRemoval()
    {
        std::optional<size_t> entry = EntryAt(m_lastShift, kRow);
        if (!entry)
            entry = OnlyRow();
        if (!entry)
            return false;
        const int64_t shift = ShiftTo(*entry);
        if (m_shift && shift < *m_shift)
            m_removed.places.push_back({static_cast<uint64_t>(m_chunks[m_chunk].position),
                                        static_cast<uint64_t>(*m_shift - shift), *entry - m_entry});
        PassEntries(*entry);
        m_shift = shift;
        return true;
    }

    // Nothing if the chunks are like several rows of entries, or if such searches have taken too long.
    std::optional<size_t> OnlyRow()
    {
        std::optional<size_t> only;
        for (size_t entry = m_entry; entry < m_entries.size() && m_comparisons < kMostComparisons; ++entry)
        {
            m_comparisons += m_entries[entry].IsLike(m_chunks[m_chunk]) ? kRow : 1;
            if (!IsRow(entry, kRow))
                continue;
            if (only)
                return std::nullopt;
            only = entry;
        }
        return m_comparisons < kMostComparisons ? only : std::nullopt;
    }

    [[nodiscard]] int64_t ShiftTo(size_t entry) const
    {
        return m_chunks[m_chunk].position - m_entries[entry].position;
    }

    [[nodiscard]] bool IsRow(size_t entry, size_t length) const
    {
        const size_t count = std::min(length, m_chunks.size() - m_chunk);
        if (entry + count > m_entries.size())
            return false;
        for (size_t place = 0; place < count; ++place)
        {
            const SKrIndexed& named = m_entries[entry + place];
            const SKrIndexed& there = m_chunks[m_chunk + place];
            if (!named.IsLike(there) || there.position - named.position != ShiftTo(entry))
                return false;
        }
        return true;
    }

    // They come before the next chunk, and after the one before it.
    void PassEntries(size_t end)
    {
        const uint64_t place = m_chunk == 0 ? 0 : static_cast<uint64_t>(m_chunks[m_chunk - 1].position) + 1;
        for (; m_entry < end; ++m_entry)
        {
            const SKrIndexed& gone = m_entries[m_entry];
            m_removed.chunks.push_back({place, gone.size, gone.kind, gone.stream});
        }
    }

    const std::vector<SKrIndexed> m_entries;
    const std::vector<SKrIndexed> m_chunks;
    const int64_t m_lastShift; // at which the chunks before 'idx1' lie
    std::optional<int64_t> m_shift;
    size_t m_entry = 0;
    size_t m_chunk = 0;
    size_t m_matches = 0;
    uint64_t m_comparisons = 0;
    SKrRemovedChunks m_removed;
};

std::vector<SKrIndexed> DataChunks(const SKrFileSpans& spans)
{
    std::vector<SKrIndexed> chunks;
    for (const SKrSpan& span : spans.spans)
    {
        if (IsDataSpan(span))
            chunks.push_back({static_cast<int64_t>(span.start), span.payload, span.kind, span.stream});
    }
    return chunks;
}
} // namespace

SKrRemovedChunks FindRemovedChunks(const CKrByteSource& file, const SKrFileSpans& spans, size_t streamCount)
{
    std::vector<SKrIndexed> entries = CKrIndexReading(file, streamCount).Run(spans.indexes);
    std::vector<SKrIndexed> chunks = DataChunks(spans);
    if (entries.empty() || chunks.empty())
        return {};
    int64_t end = 0;
    for (const SKrIndexed& entry : entries)
        end = std::max(end, entry.position +
                                static_cast<int64_t>(RoundUpToEven(uint64_t{kChunkHeaderSize} + entry.size)));
    const int64_t lastShift = static_cast<int64_t>(spans.indexes.back().position) - end;
    return CKrAlignment(std::move(entries), std::move(chunks), lastShift).Run();
}
} // namespace KrTool
