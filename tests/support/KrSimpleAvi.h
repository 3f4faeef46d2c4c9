// Whole AVI files for readers' tests in a few lines: a description with defaults, and the file built from it.
#ifndef KR_TESTS_SUPPORT_KRSIMPLEAVI_H
#define KR_TESTS_SUPPORT_KRSIMPLEAVI_H

#include "tests/support/KrAviBuilder.h"
#include "tests/support/KrAviRecords.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace KrTest
{
enum class EKrIndexKind
{
    None,
    Idx1,    // 'idx1' over the chunks of the first segment
    OpenDml, // 'indx' in each 'strl', 'ix##' chunks at the end of each 'movi', and 'LIST' 'odml'
    Both
};

// The base of the offsets in 'idx1'.
enum class EKrIdx1Base
{
    Movi,     // the list type of 'movi': the first chunk's offset is 4
    FileStart // offsets are absolute
};

using KrBuilderHook = std::function<void(CKrAviBuilder&)>;

// One stream: its headers and its chunks. The stream's number is its position in the list of streams.
struct SKrSimpleStream
{
    SKrTestStreamHeader header{};
    uint32_t strhSize = 56;               // 56, or 64 for the wide frame rectangle
    KrBytes format{};                     // payload of 'strf'
    std::string suffix = "dc";            // last two characters of the chunk ids
    std::optional<std::string> chunkId{}; // whole id instead of number (hexadecimal) and suffix
    std::vector<uint32_t> chunkSizes{};   // payload bytes of each chunk
    bool hasSuperIndex = true;            // false: no 'indx' although the file has OpenDML indexes
    bool inIdx1 = true;                   // false: no entries although the file has 'idx1'
    size_t keyFrameEvery = 1;             // chunks 0, n, 2n, ... are key frames in the indexes
    KrBuilderHook beforeStrf{};           // called after 'strh'
    KrBuilderHook endOfStrl{};            // called after the stream's last header chunk
};

// A video stream of 25 frames per second with 'strf' and frame rectangle for the format.
[[nodiscard]] SKrSimpleStream VideoStream(std::vector<uint32_t> frameSizes = {1000, 1001, 1002},
                                          const SKrTestBitmapInfo& format = {});

// An audio stream in PCM with the rates and sample size of the format.
[[nodiscard]] SKrSimpleStream PcmStream(std::vector<uint32_t> chunkSizes = {7680, 7680, 7680},
                                        const SKrTestWaveFormat& format = {}, size_t strfSize = 16);

// The description. Chunks are interleaved: the first of each stream in the order of the streams, the second
// of each, and so on ("rounds"). The payload of a chunk is PatternBytes, or zeros above 1 MiB: a file of many
// gigabytes costs no memory.
//
//   SKrSimpleAvi avi;                              // 720 x 576, three frames, 'idx1'
//   avi.streams.push_back(PcmStream());
//   avi.index = EKrIndexKind::OpenDml;
//   avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
//   const SKrBuiltAvi built = BuildSimpleAvi(avi);
struct SKrSimpleAvi
{
    SKrTestMainHeader mainHeader{};
    std::vector<SKrSimpleStream> streams{VideoStream()};

    // Segments: the number of rounds in each RIFF segment; the last one takes the rest. {2, 2} with five
    // rounds results in segments of 2 and 3. All listed segments are written, empty or not. An empty list:
    // one segment.
    std::vector<size_t> roundsPerSegment{};
    bool recLists = false; // each round in a 'LIST' 'rec '

    EKrIndexKind index = EKrIndexKind::Idx1;
    EKrIdx1Base idx1Base = EKrIdx1Base::Movi;
    uint8_t superSubType = 0;          // 0 or 0x10
    uint8_t stdSubType = 0;            // 0 or 0x10
    size_t entriesPerStdIndex = 0;     // 0: one standard index for each stream and segment
    size_t superIndexSlots = 16;       // entries for which 'indx' has room
    std::optional<uint64_t> stdBase{}; // qwBaseOffset; without a value the position of the segment's 'movi'
                                       // type. With superSubType 0x10 it is stored but not counted in.

    std::optional<SKrTestKrlA> krlA{}; // private chunks, between 'hdrl' and 'movi' in this order
    std::optional<SKrTestPrmA> prmA{};
    std::optional<SKrTestCtsI> ctsI{};
    std::optional<uint32_t> junkBeforeMovi{}; // payload bytes of a 'JUNK' chunk directly before 'movi'

    // Called at these positions to write more.
    KrBuilderHook beforeHdrl{};  // after the form type
    KrBuilderHook afterAvih{};   // before the first 'strl'
    KrBuilderHook endOfHdrl{};   // after the last 'strl'
    KrBuilderHook beforeMovi{};  // after the private chunks
    KrBuilderHook startOfMovi{}; // before the first chunk of the first 'movi'
    KrBuilderHook endOfMovi{};   // after the last chunk, and the standard indexes, of the first 'movi'
    KrBuilderHook afterMovi{};   // before 'idx1'
    KrBuilderHook endOfRiff{};   // after 'idx1'
    KrBuilderHook startOfAvix{}; // after the form type of each 'AVIX'
    KrBuilderHook endOfAvix{};   // after the 'movi' of each 'AVIX'
    KrBuilderHook endOfFile{};   // after the last segment
};

// What was built.
struct SKrBuiltAvi
{
    CKrFileContent content;
    std::vector<SKrBuiltChunk> segments;                  // 'RIFF' 'AVI ' and the 'AVIX' ones
    std::vector<std::vector<SKrBuiltChunk>> streamChunks; // data chunks of each stream, in order
    std::vector<SKrBuiltChunk> chunks;                    // everything, in the order of the headers

    // FindChunk over all of them: Find("movi"), Find("idx1"), Find("LIST", 2).
    [[nodiscard]] SKrBuiltChunk Find(std::string_view idOrType, size_t number = 0) const;

    [[nodiscard]] KrBytes Bytes() const { return content.ToBytes(); }
};

[[nodiscard]] SKrBuiltAvi BuildSimpleAvi(const SKrSimpleAvi& description);

// The payload of chunk `number` (from 0) of a stream: byte i is 1 + (i + 31 * number + 97 * stream) modulo
// 251, thus never zero.
[[nodiscard]] KrBytes PatternBytes(size_t stream, size_t number, size_t size);

// The id of a stream's chunks: the number in two lower-case hexadecimal digits and the suffix.
[[nodiscard]] std::string StreamChunkId(size_t stream, std::string_view suffix);
} // namespace KrTest

#endif
