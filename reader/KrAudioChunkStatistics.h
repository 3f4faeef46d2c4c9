// Sizes of an audio stream's chunks, summed up while its index is loaded.
#ifndef KR_READER_KRAUDIOCHUNKSTATISTICS_H
#define KR_READER_KRAUDIOCHUNKSTATISTICS_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstdint>

// Looks for a period in the chunk sizes. Entries are added in order, each when it stands in the output array.
class CKrAudioChunkStatistics
{
public:
    // `uniform` is the stream's flag, which keeps its value while fewer than two chunks come. `bound` is the
    // number of entries that the index announces; the last of them is left out of the uniformity test.
    // Kept: an OpenDML index announces this stream's entries, 'idx1' those of all streams, so that only
    // the former lets the last audio chunk differ.
    CKrAudioChunkStatistics(uint64_t bound, bool& uniform) : m_bound(bound), m_uniform(uniform) {}

    // Adds entry number `index`; `entries` holds it and all before it.
    void Add(const SKrChunkIndexEntry* entries, uint64_t index);

    // Writes the result for the entries added, if there are any. Sums are 32-bit and wrap.
    void Finish(const SKrChunkIndexEntry* entries, uint64_t count, SKrAudioChunkPattern& pattern) const;

private:
    void TestUniform(const SKrChunkIndexEntry* entries, uint64_t index);
    void LookForPeriod(const SKrChunkIndexEntry* entries, uint64_t index);
    void CloseRun();
    SKrAudioChunkPattern SumQuarters(const SKrChunkIndexEntry* entries, uint64_t count) const;

    const uint64_t m_bound;
    bool& m_uniform;

    // Period search. The first run ends with the first chunk that differs from the one before it; later runs
    // end with a chunk that breaks the period found so far. A run is closed when another chunk follows.
    bool m_periodFound = false;
    bool m_runEnded = false;
    uint32_t m_runCount = 0;
    uint32_t m_runBytes = 0;
    uint32_t m_runPlace = 0; // m_runCount modulo the period
    uint32_t m_period = 0;
    uint32_t m_periodBytes = 0;
    uint32_t m_commonSize = 0;

    uint32_t m_firstQuarterBytes = 0;
};

#endif
