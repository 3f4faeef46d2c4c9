// What the header parse and the index loads sum up about a file's streams.
#ifndef KR_READER_KRSTREAMSTATISTICS_H
#define KR_READER_KRSTREAMSTATISTICS_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrLimits.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// Part of the reader's state that no operation reports. It starts anew with each parse.
struct SKrStreamStatistics
{
    using Entries = std::span<const SKrChunkIndexEntry>;

    bool oldIndexPresent = false; // the video stream is indexed by 'idx1'
    uint32_t largestVideoChunk = 0;

    std::array<uint64_t, kMaxAudioStreams> audioLengths = {}; // 'strh' dwLength of each kept stream
    uint16_t audioSampleSizeSum = 0;                          // of the kept streams; wraps
    uint64_t totalAudioSamples = 0;                           // in the chunks of the last load
    bool uniformAudioChunks = false; // all of one size, but that the first may be larger
    uint32_t audioEntries = 0;       // of the last load

    void AddAudioStream(size_t slot, uint16_t sampleSize, uint32_t length);

    // What a load of the video index produced, whether it succeeded or not.
    void AddVideoLoad(Entries entries);

    // What a load of the audio index produced. `announced` is the number of entries that the index claims;
    // the last of them is left out of the uniformity test. Fewer than two entries leave the flag as it was.
    //
    // Kept: an OpenDML index announces this stream's entries, 'idx1' those of all streams, so that only the
    // former lets the last audio chunk differ.
    void AddAudioLoad(Entries entries, uint64_t announced, uint16_t sampleSize);
};

#endif
