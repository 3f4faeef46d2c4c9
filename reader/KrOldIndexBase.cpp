#include "reader/KrOldIndexBase.h"

#include "format/KrAviIndexes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"
#include "reader/KrFileLayout.h"

#include <algorithm>
#include <array>
#include <vector>

namespace
{
// Reads single entries of an 'idx1'.
class CSamples
{
public:
    CSamples(IKrFile& file, uint64_t position, uint64_t entries)
        : m_file(file), m_position(position), m_entries(entries)
    {
    }

    // The entry of a chunk that is nearest to `number` in one direction; entries of lists, and those that
    // stand for nothing, are passed over.
    [[nodiscard]] bool Take(uint64_t number, int direction)
    {
        uint8_t bytes[SKrOldIndexEntry::kEncodedSize];
        for (uint64_t tries = 0; tries < kMostEntriesPassedOver && number < m_entries; ++tries)
        {
            const SKrTransfer read =
                m_file.ReadAt(m_position + number * SKrOldIndexEntry::kEncodedSize, bytes, sizeof bytes);
            if (read.Failed())
                return false;
            const SKrOldIndexEntry entry =
                read.bytes == sizeof bytes ? DecodeOldIndexEntry(bytes) : SKrOldIndexEntry();
            if (KrStreamNumber(entry.chunkId) != kNotAStream)
            {
                m_samples.push_back(entry);
                return true;
            }
            number += static_cast<uint64_t>(static_cast<int64_t>(direction)); // below 0 ends the loop
        }
        return true;
    }

    [[nodiscard]] const std::vector<SKrOldIndexEntry>& Samples() const { return m_samples; }

private:
    IKrFile& m_file;
    const uint64_t m_position;
    const uint64_t m_entries;
    std::vector<SKrOldIndexEntry> m_samples;
};

// How many of the entries lead to a chunk of their own id.
[[nodiscard]] bool CountMeetings(IKrFile& file, const std::vector<SKrOldIndexEntry>& samples, uint64_t base,
                                 size_t& count)
{
    count = 0;
    for (const SKrOldIndexEntry& sample : samples)
    {
        uint8_t id[4];
        const SKrTransfer read = file.ReadAt(base + sample.offset, id, sizeof id);
        if (read.Failed())
            return false;
        if (read.bytes == sizeof id && GetLe32(id) == sample.chunkId)
            ++count;
    }
    return true;
}

uint64_t FirstChunk(IKrFile& file, uint64_t fileSize, const SKrRiffChunkInfo& movi)
{
    CKrFileCursor cursor;
    cursor.Attach(file, fileSize);
    cursor.SeekTo(movi.offset + kListTypeSize);
    SKrRiffChunkInfo chunk = {};
    if (!FindChunk(cursor, chunk, &movi, EKrLookupMode::AnyChunk, kNoZeroLimit))
        return movi.offset + kListTypeSize;
    return chunk.offset - kChunkHeaderSize;
}
} // namespace

bool FindOldIndexBase(IKrFile& file, uint64_t fileSize, const SKrSegment& segment, uint64_t entries,
                      uint64_t& base)
{
    const uint64_t movi = segment.movi.offset;
    CSamples samples(file, segment.idx1.offset, entries);
    if (!samples.Take(0, 1) || !samples.Take(entries - 1, -1))
        return false;
    const uint64_t spread = std::min(kSpreadEntries, entries);
    for (uint64_t number = 1; number <= spread; ++number)
    {
        if (!samples.Take(number * (entries - 1) / (spread + 1), 1))
            return false;
    }
    if (samples.Samples().empty())
    {
        base = 0;
        return true;
    }
    base = samples.Samples().front().offset < movi ? movi : 0;
    size_t most = 0;
    for (const uint64_t candidate : {uint64_t{0}, movi, FirstChunk(file, fileSize, segment.movi)})
    {
        size_t count = 0;
        if (!CountMeetings(file, samples.Samples(), candidate, count))
            return false;
        if (count > most)
        {
            most = count;
            base = candidate;
        }
    }
    return true;
}
