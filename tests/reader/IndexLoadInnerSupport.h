// Loads the indexes of files in memory, and looks at what the loads leave in the reader.
#ifndef KR_TESTS_READER_INDEXLOADINNERSUPPORT_H
#define KR_TESTS_READER_INDEXLOADINNERSUPPORT_H

#include "tests/reader/HeaderParseInnerSupport.h"
#include "tests/reader/StreamIndexSupport.h"

#include <cstdint>
#include <vector>

namespace KrTest
{
inline constexpr uint32_t kUnwritten = 0x5A5A5A5A;

// What a load answered. A pattern that it did not write holds kUnwritten.
struct SKrLoadAnswer
{
    int status = 0;
    PlacesAndSizes entries;
    SKrAudioChunkPattern pattern{kUnwritten, kUnwritten, kUnwritten, kUnwritten};
};

[[nodiscard]] inline SKrLoadAnswer LoadVideoOf(IKrRiffReader& reader)
{
    SKrLoadAnswer answer;
    CArray<SKrChunkIndexEntry> entries;
    answer.status = reader.LoadVideoIndex(entries);
    if (answer.status != 0)
        answer.entries = ToList(entries);
    return answer;
}

[[nodiscard]] inline SKrLoadAnswer LoadAudioOf(IKrRiffReader& reader)
{
    SKrLoadAnswer answer;
    CArray<SKrChunkIndexEntry> entries;
    answer.status = reader.LoadAudioIndex(entries, &answer.pattern);
    if (answer.status != 0)
        answer.entries = ToList(entries);
    return answer;
}

inline void PutU64(CKrFileContent& content, uint64_t position, uint64_t value)
{
    content.PutU32(position, static_cast<uint32_t>(value));
    content.PutU32(position + 4, static_cast<uint32_t>(value >> 32));
}

// A video and an audio stream of so many chunks each.
[[nodiscard]] inline SKrSimpleAvi TwoStreamAvi(EKrIndexKind index, size_t chunks = 4,
                                               uint32_t audioBytes = 96)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.streams = {VideoStream(std::vector<uint32_t>(chunks, 100)),
                   PcmStream(std::vector<uint32_t>(chunks, audioBytes))};
    return avi;
}
} // namespace KrTest

#endif
