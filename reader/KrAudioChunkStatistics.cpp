#include "reader/KrAudioChunkStatistics.h"

void CKrAudioChunkStatistics::Add(const SKrChunkIndexEntry* entries, uint64_t index)
{
    TestUniform(entries, index);
    LookForPeriod(entries, index);
    // Kept: for a multiple of four entries this stops one short of a quarter.
    if (index >= 4 && index % 4 == 0)
        m_firstQuarterBytes += entries[index / 4 - 1].size;
}

void CKrAudioChunkStatistics::TestUniform(const SKrChunkIndexEntry* entries, uint64_t index)
{
    if (index == 1)
        m_uniform = entries[1].size <= entries[0].size;
    else if (index > 1 && index + 1 < m_bound && entries[index].size != entries[index - 1].size)
        m_uniform = false;
}

void CKrAudioChunkStatistics::LookForPeriod(const SKrChunkIndexEntry* entries, uint64_t index)
{
    if (m_runEnded)
        CloseRun();
    const uint32_t size = entries[index].size;
    if (m_periodFound)
    {
        m_runEnded = size != entries[m_runPlace].size;
        m_runPlace = m_runPlace + 1 == m_period ? 0 : m_runPlace + 1;
    }
    else if (index == 0 || size == entries[index - 1].size)
    {
        m_commonSize = size;
    }
    else
    {
        m_runEnded = true;
    }
    ++m_runCount;
    m_runBytes += size;
}

// The run so far becomes the period, or makes it longer.
void CKrAudioChunkStatistics::CloseRun()
{
    m_periodFound = true;
    m_period += m_runCount;
    m_periodBytes += m_runBytes;
    m_runEnded = false;
    m_runCount = 0;
    m_runBytes = 0;
    m_runPlace = 0;
}

void CKrAudioChunkStatistics::Finish(const SKrChunkIndexEntry* entries, uint64_t count,
                                     SKrAudioChunkPattern& pattern) const
{
    if (count == 0)
        return;
    const uint32_t lastSize = entries[count - 1].size;
    if (!m_periodFound)
        pattern = {1, m_commonSize, 1, lastSize};
    else if (m_period < count / 4 * 3)
        pattern = {1, m_periodBytes, m_period, lastSize};
    else
        pattern = SumQuarters(entries, count);
}

// Second, third and fourth quarter; what the division leaves over goes to the fourth.
SKrAudioChunkPattern CKrAudioChunkStatistics::SumQuarters(const SKrChunkIndexEntry* entries,
                                                          uint64_t count) const
{
    const uint64_t quarter = count / 4;
    uint32_t sums[3] = {};
    unsigned run = 0;
    for (uint64_t index = quarter; index < count; ++index)
    {
        sums[run] += entries[index].size;
        const bool runEnds = quarter == 0 || (index + 1) % quarter == 0;
        if (runEnds && run < 2)
            ++run;
    }
    return {m_firstQuarterBytes, sums[0], sums[1], sums[2]};
}
