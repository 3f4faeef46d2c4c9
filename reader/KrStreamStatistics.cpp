#include "reader/KrStreamStatistics.h"

#include <algorithm>

namespace
{
bool AreUniform(SKrStreamStatistics::Entries entries, uint64_t announced)
{
    if (entries[1].size > entries[0].size)
        return false;
    for (size_t index = 2; index < entries.size() && index + 1 < announced; ++index)
    {
        if (entries[index].size != entries[index - 1].size)
            return false;
    }
    return true;
}
} // namespace

void SKrStreamStatistics::AddAudioStream(size_t slot, uint16_t sampleSize, uint32_t length)
{
    audioSampleSizeSum = static_cast<uint16_t>(audioSampleSizeSum + sampleSize);
    audioLengths[slot] = length;
}

void SKrStreamStatistics::AddVideoLoad(Entries entries)
{
    for (const SKrChunkIndexEntry& entry : entries)
        largestVideoChunk = std::max(largestVideoChunk, entry.size);
}

void SKrStreamStatistics::AddAudioLoad(Entries entries, uint64_t announced, uint16_t sampleSize)
{
    audioEntries = static_cast<uint32_t>(entries.size());
    if (entries.size() >= 2)
        uniformAudioChunks = AreUniform(entries, announced);
    totalAudioSamples = 0;
    if (sampleSize == 0)
        return;
    // Kept: each chunk is divided by itself, so that part of a sample frame at its end counts for nothing.
    for (const SKrChunkIndexEntry& entry : entries)
        totalAudioSamples += entry.size / sampleSize;
}
