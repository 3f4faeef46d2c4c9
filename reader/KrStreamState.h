// The result of the header parse, from which queries and loads are answered.
#ifndef KR_READER_KRSTREAMSTATE_H
#define KR_READER_KRSTREAMSTATE_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrStreamStatistics.h"

#include <array>
#include <cstdint>

inline constexpr uint32_t kNotLocated = 0xFFFFFFFF;

// What the private chunks declare about the pictures of one stream.
struct SKrDeclarations
{
    uint32_t stream = kNotLocated;
    uint32_t flags = 0; // of SKrStreamProperties
};

inline constexpr uint32_t kDeclaresScanMode = 4;
inline constexpr uint32_t kDeclaresPixelAspect = 8;

// Where a stream's index was found. Positions are kept in 32 bits.
struct SKrLocatedIndex
{
    uint32_t indexPosition = kNotLocated;      // of the 'indx' chunk header, or of the 'idx1' payload
    uint32_t firstChunkPosition = kNotLocated; // of the header of the stream's first chunk in 'movi'
    uint32_t streamNumber = kNotLocated;
    uint32_t oldIndexEntries = 0; // of 'idx1', all streams together
};

struct SKrAudioStream
{
    SKrWaveFormatInfo format = {};
    double duration = 0; // seconds
    uint32_t streamNumber = kNotLocated;
    uint16_t sampleSize = 0; // low half of 'strh' dwSampleSize
    SKrLocatedIndex index;
};

struct SKrStreamState
{
    // Kept: 32 bits. A header list that ends beyond 4 GiB is not expected.
    uint32_t firstChunkPosition = 0; // after 'hdrl'; 0 when no header list was found

    uint32_t streamCount = 0; // 'avih' dwStreams
    uint32_t totalFrames = 0; // 'avih' dwTotalFrames, later the entries of the last video index load
    uint32_t firstVideoChunkId = 0;
    uint32_t firstAudioChunkId = 0;

    uint32_t videoStreamNumber = kNotLocated;
    uint32_t videoCompression = 0;
    uint16_t videoBitCount = 0;
    SKrAviVideoParams videoFormat = {};
    SKrDeclarations declarations;
    SKrLocatedIndex videoIndex;
    bool openDmlIndex = false; // the video stream has an 'indx'; decides for audio as well

    std::array<SKrAudioStream, kMaxAudioStreams> audio = {};
    uint16_t audioStreamCount = 0;

    SKrStreamStatistics statistics;
};

// What the stream queries report: a copy, so that they answer from one state whatever is parsed in the
// meantime.
struct SKrStreamFacts
{
    uint32_t totalFrames = 0;
    uint32_t firstVideoChunkId = 0;
    uint32_t firstAudioChunkId = 0;
    SKrAviVideoParams videoFormat = {};
    uint32_t videoCompression = 0;
    uint16_t videoBitCount = 0;
    SKrWaveFormatInfo audioFormat = {};
    double audioDuration = 0; // seconds
};

#endif
