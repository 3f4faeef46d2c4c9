// Loads the indexes of files in memory, and exposes the results in the reader.
#ifndef KR_TESTS_READER_INDEXLOADINNERSUPPORT_H
#define KR_TESTS_READER_INDEXLOADINNERSUPPORT_H

#include "tests/reader/HeaderParseInnerSupport.h"
#include "tests/reader/StreamIndexSupport.h"

#include <cstdint>
#include <vector>

namespace KrTest
{
inline constexpr uint32_t kUnwritten = 0x5A5A5A5A;

// The result of a load. A pattern that it did not write holds kUnwritten.
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

// A video and an audio stream of this many chunks each.
[[nodiscard]] inline SKrSimpleAvi TwoStreamAvi(EKrIndexKind index, size_t chunks = 4,
                                               uint32_t audioBytes = 96)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.streams = {VideoStream(std::vector<uint32_t>(chunks, 100)),
                   PcmStream(std::vector<uint32_t>(chunks, audioBytes))};
    return avi;
}
// A file that ends with the super index of its one stream, of `entries` entries for the same standard index
// with one chunk: the stream's list follows 'movi', where it is found as well. `before` writes in between.
[[nodiscard]] inline SKrBuiltAvi WithSuperIndexAtTheEnd(size_t entries, const KrBuilderHook& before = {})
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::None;
    avi.mainHeader.streams = 1;
    avi.streams.clear();
    avi.junkBeforeMovi = 100; // without it the segment is too short to open
    SKrBuiltChunk stdIndex;
    avi.endOfMovi = [&stdIndex](CKrAviBuilder& file)
    {
        const uint64_t data = file.Chunk("00dc", KrBytes(50, 1)).data;
        stdIndex = file.Chunk("ix00", ToBytes(SKrTestStdIndex{.entries = {{data, 50, true}}}));
    };
    avi.endOfFile = [&](CKrAviBuilder& file)
    {
        if (before)
            before(file);
        const SKrSimpleStream video = VideoStream({});
        SKrTestSuperIndex index;
        index.entries.assign(entries, {stdIndex.header, stdIndex.size + 8, 1});
        file.BeginList("strl");
        file.Chunk("strh", ToBytes(video.header));
        file.Chunk("strf", video.format);
        file.Chunk("indx", ToBytes(index));
        file.End();
    };
    return BuildSimpleAvi(avi);
}
} // namespace KrTest

#endif
