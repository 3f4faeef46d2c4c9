#include "tools/info/KrStreamCounts.h"

#include "format/KrAviHeaders.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrScanRules.h"
#include "tools/avi/KrStreamChunks.h"

#include <array>

namespace KrTool
{
namespace
{
using Counts = std::vector<std::optional<SKrStreamCount>>;

void Count(uint64_t position, uint32_t size, SKrStreamCount& count)
{
    ++count.chunks;
    count.bytes += size;
    if (size != 0 && count.firstPosition == 0)
        count.firstPosition = position;
}

// Counts the chunks of all streams that have no count yet.
class CKrChunkCounter final : public IKrScanListener
{
public:
    CKrChunkCounter(const SKrAviFacts& facts, Counts& counts) : m_facts(facts), m_counts(counts)
    {
        for (const std::optional<SKrStreamCount>& count : counts)
            m_isWanted.push_back(!count);
    }

    void OnList(const SKrScannedList&, Lists) override {}
    void OnGap(uint64_t, uint64_t, bool, Lists) override {}

    void OnChunk(const SKrScannedChunk& chunk, Lists) override
    {
        const std::optional<SKrDataTag> tag = DataTagOf(chunk.guess.id, m_facts.streams.size());
        if (!tag || tag->stream >= m_counts.size() || !m_isWanted[tag->stream])
            return;
        if (tag->content == EKrContent::Other && m_facts.streams[tag->stream].IsVideo())
            return; // a change of the palette
        std::optional<SKrStreamCount>& count = m_counts[tag->stream];
        if (!count)
            count.emplace();
        Count(chunk.position + kChunkHeaderSize, chunk.guess.size, *count);
    }

private:
    const SKrAviFacts& m_facts;
    std::vector<bool> m_isWanted;
    Counts& m_counts;
};

// Of pictures with a palette an index also names its changes.
bool IsPaletteChange(const CKrAviFile& file, const SKrStreamIndexEntry& entry, size_t streamCount)
{
    std::array<uint8_t, 4> id = {};
    if (entry.position < kChunkHeaderSize ||
        file.ReadAt(entry.position - kChunkHeaderSize, id.data(), id.size()) != id.size())
        return false;
    const std::optional<SKrDataTag> tag = DataTagOf(GetLe32(id.data()), streamCount);
    return tag && tag->content == EKrContent::Other;
}

std::optional<SKrStreamCount> CountInIndex(const CKrAviFile& file, const SKrAviFacts& facts,
                                           const SKrAviStream& stream)
{
    const std::optional<SKrStreamIndex> index = LoadStreamIndex(file, stream.number);
    if (!index || index->entries.empty())
        return std::nullopt;
    const bool mayHavePalettes = stream.IsVideo() && index->entries.size() > stream.length &&
                                 DecodeBitmapHeader(stream.format).bitCount <= 8;
    SKrStreamCount count;
    uint64_t keys = 0;
    for (const SKrStreamIndexEntry& entry : index->entries)
    {
        if (mayHavePalettes && IsPaletteChange(file, entry, facts.streams.size()))
            continue;
        Count(entry.position, entry.size, count);
        keys += (entry.flags & kKeyFrame) != 0 ? 1 : 0;
    }
    if (keys != 0)
        count.keys = keys;
    return count;
}

// A stream that should have chunks. The reader looks for the first one of each.
bool MayHaveChunks(const CKrAviFile& file, const SKrAviStream& stream)
{
    const auto properties = StreamProperties(file, stream.number);
    return stream.length != 0 || (properties && properties->chunkId != 0);
}
} // namespace

Counts CountChunks(const CKrAviFile& file, const SKrAviFacts& facts, bool isUnfinished, CKrProgress& progress)
{
    Counts counts;
    bool isScanned = false;
    for (const SKrAviStream& stream : facts.streams)
    {
        counts.push_back(CountInIndex(file, facts, stream));
        isScanned = isScanned || (!counts.back() && (isUnfinished || MayHaveChunks(file, stream)));
    }
    if (isScanned)
    {
        CKrChunkCounter counter(facts, counts);
        constexpr SKrScanRules kRules = RulesForAnyList();
        CKrFileScanner(file, kRules, counter, progress).Run("counting");
    }
    return counts;
}
} // namespace KrTool
