#include "reader/KrAudioChunkPattern.h"

#include <cstddef>
#include <cstdint>

namespace
{
using KrEntrySpan = std::span<const SKrChunkIndexEntry>;

// The first run of chunks ends with the first chunk that differs from the one before it; later runs end with
// a chunk that breaks the period found so far. When another chunk follows, the run becomes the period, or
// makes it longer.
class CPeriodSearch
{
public:
    explicit CPeriodSearch(KrEntrySpan entries)
    {
        for (size_t index = 0; index < entries.size(); ++index)
        {
            if (m_runEnded)
                CloseRun();
            Add(entries, index);
        }
    }

    bool Found() const { return m_found; }
    uint32_t Chunks() const { return m_chunks; }
    uint32_t Bytes() const { return m_bytes; }
    uint32_t CommonSize() const { return m_commonSize; } // of the chunks while no period is found

private:
    void Add(KrEntrySpan entries, size_t index)
    {
        const uint32_t size = entries[index].size;
        if (m_found)
        {
            m_runEnded = size != entries[m_placeInPeriod].size;
            m_placeInPeriod = m_placeInPeriod + 1 == m_chunks ? 0 : m_placeInPeriod + 1;
        }
        else if (index == 0 || size == entries[index - 1].size)
        {
            m_commonSize = size;
        }
        else
        {
            m_runEnded = true;
        }
        ++m_runChunks;
        m_runBytes += size;
    }

    void CloseRun()
    {
        m_found = true;
        m_chunks += m_runChunks;
        m_bytes += m_runBytes;
        m_runEnded = false;
        m_runChunks = 0;
        m_runBytes = 0;
        m_placeInPeriod = 0;
    }

    bool m_found = false;
    uint32_t m_chunks = 0;
    uint32_t m_bytes = 0;
    uint32_t m_commonSize = 0;

    bool m_runEnded = false;
    uint32_t m_runChunks = 0;
    uint32_t m_runBytes = 0;
    uint32_t m_placeInPeriod = 0; // m_runChunks modulo the period
};

uint32_t SumSizes(KrEntrySpan entries)
{
    uint32_t sum = 0;
    for (const SKrChunkIndexEntry& entry : entries)
        sum += entry.size;
    return sum;
}

// What the division leaves over goes to the fourth quarter.
// Kept: for a multiple of four entries the sum of the first quarter stops one entry short.
SKrAudioChunkPattern SumQuarters(KrEntrySpan entries)
{
    const size_t quarter = entries.size() / 4;
    const uint32_t first = SumSizes(entries.first((entries.size() - 1) / 4));
    if (quarter == 0) // one to three entries, each of which stands for a quarter
        return {first, entries[0].size, entries[1].size, SumSizes(entries.subspan(2))};
    return {first, SumSizes(entries.subspan(quarter, quarter)),
            SumSizes(entries.subspan(2 * quarter, quarter)), SumSizes(entries.subspan(3 * quarter))};
}
} // namespace

SKrAudioChunkPattern FindAudioChunkPattern(KrEntrySpan entries)
{
    const CPeriodSearch period(entries);
    const uint32_t lastSize = entries.back().size;
    if (!period.Found())
        return {1, period.CommonSize(), 1, lastSize};
    if (period.Chunks() < entries.size() / 4 * 3)
        return {1, period.Bytes(), period.Chunks(), lastSize};
    return SumQuarters(entries);
}
