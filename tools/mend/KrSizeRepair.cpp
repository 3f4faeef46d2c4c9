#include "tools/mend/KrSizeRepair.h"

#include "format/KrAviIndexes.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>
#include <span>

namespace KrTool
{
namespace
{
// A chunk that does not reach to the next one, and how much room it has.
struct SKrDoubtfulChunk
{
    size_t number = 0; // in the model
    uint64_t position = 0;
    uint64_t room = 0;
    size_t firstStretch = 0; // those that the room covers
    size_t endStretch = 0;
    bool isRepaired = false;
};

class CKrSizeRepair
{
public:
    CKrSizeRepair(const CKrByteSource& file, SKrReindexScan& scan) : m_window(file), m_scan(scan) {}

    void Run()
    {
        FindDoubtful();
        if (m_doubtful.empty())
            return;
        for (size_t segment = 0; segment < m_scan.segments.size(); ++segment)
            TakeOldIndex(segment);
        for (const SKrStandardIndex& index : m_scan.model.standardIndexes)
            TakeStandardIndex(index.chunk);
        RemoveStretches();
    }

private:
    // Stretches are in file order, as are the chunks.
    void FindDoubtful()
    {
        const std::vector<SKrDataChunk>& chunks = m_scan.model.chunks;
        const std::vector<SKrStretch>& stretches = m_scan.stretches;
        for (size_t first = 0; first < stretches.size();)
        {
            size_t end = first + 1;
            while (end < stretches.size() && stretches[end].position <= RoundUpToEven(stretches[end - 1].end))
                ++end;
            const SKrStretch& stretch = stretches[first];
            auto chunk = std::ranges::upper_bound(chunks, stretch.position, {}, &SKrDataChunk::Position);
            if (chunk != chunks.begin() && IsAt(*--chunk, stretch))
            {
                const uint64_t data = chunk->position + kChunkHeaderSize;
                m_doubtful.push_back({static_cast<size_t>(chunk - chunks.begin()), chunk->position,
                                      stretches[end - 1].end - data, first, end});
            }
            first = end;
        }
    }

    // The stretch is the chunk itself, or follows it.
    static bool IsAt(const SKrDataChunk& chunk, const SKrStretch& stretch)
    {
        const uint64_t end = chunk.position + kChunkHeaderSize + chunk.size;
        return stretch.isChunk ? chunk.position == stretch.position
                               : stretch.position == end || stretch.position == RoundUpToEven(end);
    }

    void TakeOldIndex(size_t segment)
    {
        const std::optional<SKrPlacedChunk>& index = m_scan.model.segments[segment].oldIndex;
        if (!index || !m_scan.segments[segment].movi)
            return;
        const uint64_t base = m_scan.segments[segment].movi->position + kChunkHeaderSize;
        ForEachEntry(m_window, index->Data(), index->size / SKrOldIndexEntry::kEncodedSize,
                     SKrOldIndexEntry::kEncodedSize,
                     [this, base](std::span<const uint8_t> bytes, uint64_t)
                     {
                         const SKrOldIndexEntry entry = DecodeOldIndexEntry(bytes.data());
                         Take(base + entry.offset, entry.size);
                         Take(entry.offset, entry.size);
                         return true;
                     });
    }

    void TakeStandardIndex(const SKrPlacedChunk& chunk)
    {
        CKrByteReader in(m_window.At(chunk.position, SKrStdIndexHead::kEncodedSize));
        SKrStdIndexHead head;
        if (!Decode(in, head) || head.indexSubType != kIndexSubTypeDefault || head.longsPerEntry != 2 ||
            chunk.size < SKrStdIndexHead::kEncodedSize)
            return;
        const uint64_t room = chunk.End() - chunk.position - SKrStdIndexHead::kEncodedSize;
        ForEachEntry(m_window, chunk.position + SKrStdIndexHead::kEncodedSize,
                     std::min<uint64_t>(head.entriesInUse, room / SKrStdIndexEntry::kEncodedSize),
                     SKrStdIndexEntry::kEncodedSize,
                     [this, &head](std::span<const uint8_t> bytes, uint64_t)
                     {
                         const SKrStdIndexEntry entry = DecodeStdIndexEntry(bytes.data());
                         Take(head.baseOffset + entry.offset - kChunkHeaderSize,
                              entry.size & ~SKrStdIndexEntry::kNotKeyFrame);
                         return true;
                     });
    }

    void Take(uint64_t position, uint32_t size)
    {
        const auto found = std::ranges::lower_bound(m_doubtful, position, {}, &SKrDoubtfulChunk::position);
        if (found == m_doubtful.end() || found->position != position || found->isRepaired || size == 0 ||
            (size != found->room && RoundUpToEven(size) != found->room))
            return;
        SKrDataChunk& chunk = m_scan.model.chunks[found->number];
        const SKrStretch& stretch = m_scan.stretches[found->firstStretch];
        if (stretch.isChunk)
            m_scan.ids[found->number] = stretch.id;
        chunk.size = size;
        found->isRepaired = true;
        m_scan.repairs.push_back({position, size});
    }

    void RemoveStretches()
    {
        std::vector<SKrStretch> left;
        auto doubtful = m_doubtful.begin();
        for (size_t number = 0; number < m_scan.stretches.size(); ++number)
        {
            while (doubtful != m_doubtful.end() && doubtful->endStretch <= number)
                ++doubtful;
            const bool isGone =
                doubtful != m_doubtful.end() && doubtful->firstStretch <= number && doubtful->isRepaired;
            if (!isGone)
                left.push_back(m_scan.stretches[number]);
        }
        m_scan.stretches = std::move(left);
    }

    CKrFileWindow m_window;
    SKrReindexScan& m_scan;
    std::vector<SKrDoubtfulChunk> m_doubtful; // in file order
};
} // namespace

void RepairSizes(const CKrByteSource& file, SKrReindexScan& scan)
{
    CKrSizeRepair(file, scan).Run();
}
} // namespace KrTool
