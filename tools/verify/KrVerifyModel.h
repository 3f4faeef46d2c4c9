// Result of the scan of a file: positions of headers and indexes, and every data chunk.
#ifndef KR_TOOLS_VERIFY_KRVERIFYMODEL_H
#define KR_TOOLS_VERIFY_KRVERIFYMODEL_H

#include "format/KrAviHeaders.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrChunkKinds.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
// A chunk of which the header was seen.
struct SKrPlacedChunk
{
    uint64_t position = 0; // of the header
    uint32_t id = 0;
    uint32_t size = 0;

    uint64_t Data() const { return position + kChunkHeaderSize; }
    uint64_t End() const { return Data() + size; }
};

// One data chunk. There can be many millions, so these are 16 bytes.
struct SKrDataChunk
{
    static constexpr uint8_t kInIdx1 = 1;
    static constexpr uint8_t kInIx = 2;
    static constexpr uint8_t kKeyInIdx1 = 4;
    static constexpr uint8_t kKeyInIx = 8;
    static constexpr uint8_t kSizeWrong = 16;   // known not to be what the index has
    static constexpr uint8_t kReachesNext = 32; // likewise, and with that of the index it does

    uint64_t position : 48 = 0; // of the header
    uint64_t segment : 16 = 0;
    uint32_t size = 0; // of a wrong one, what there is room for
    uint16_t stream = 0;
    EKrContent kind = EKrContent::Other;
    uint8_t marks = 0;

    uint64_t Position() const { return position; } // of a bit field there is no reference
};
static_assert(sizeof(SKrDataChunk) == 16);

constexpr uint64_t kLastDataPosition = (uint64_t{1} << 48) - 1;

struct SKrSegmentPlace
{
    uint64_t position = 0;
    uint32_t type = 0;
    uint32_t size = 0;            // as stored
    std::optional<uint64_t> movi; // position of the first list's type
    std::optional<SKrPlacedChunk> oldIndex;
};

// One stream list. Without a 'strh' the fields of its header are 0.
struct SKrVerifyStream : SKrStreamHeader
{
    uint64_t position = 0; // of the list
    std::optional<SKrPlacedChunk> header;
    std::optional<SKrPlacedChunk> format;
    std::optional<SKrPlacedChunk> superIndex;

    uint32_t pcmBlockAlign = 0; // of PCM sound, from its format

    // Counted from the data chunks
    uint64_t chunks = 0;
    uint64_t chunksInFirstSegment = 0;
    uint64_t bytes = 0;
    uint64_t bytesInFirstSegment = 0;
    uint32_t largest = 0;
};

struct SKrStandardIndex
{
    SKrPlacedChunk chunk;
    bool wasChecked = false;
};

struct SKrPrivateChunk
{
    SKrPlacedChunk chunk;
    bool isInPlace = false;
};

// Bytes in no chunk.
struct SKrGap
{
    uint64_t from = 0;
    uint64_t to = 0;
    bool isZeros = false;
    bool isReported = false; // otherwise a chunk of the wrong size may explain it
};

// A data chunk that an index names where the scan finds none.
struct SKrLostChunk
{
    uint64_t position = 0; // of the header
    uint32_t size = 0;
    uint16_t stream = 0;
    EKrContent kind = EKrContent::Other;
    bool isInChunk = false; // it is there, inside another one
};

constexpr size_t kMostLostChunks = size_t{1} << 20;
constexpr size_t kMostGaps = size_t{1} << 16;

struct SKrVerifyModel
{
    std::vector<SKrSegmentPlace> segments;
    std::vector<SKrVerifyStream> streams;
    std::optional<uint64_t> hdrl;
    std::optional<SKrPlacedChunk> mainHeader;
    std::optional<SKrPlacedChunk> openDmlHeader;
    std::vector<SKrDataChunk> chunks;              // in file order
    std::vector<SKrStandardIndex> standardIndexes; // in file order
    std::vector<SKrPrivateChunk> privateChunks;
    std::vector<SKrGap> gaps;                                           // in file order
    std::vector<SKrLostChunk> lostChunks;                               // in the order of the indexes
    std::array<uint64_t, static_cast<size_t>(EKrBytes::Count)> bytes{}; // their sum is the file size
    uint64_t oldIndexEntries = 0;
    uint64_t standardIndexEntries = 0;
    bool isCut = false; // more data chunks than are kept

    void AddLost(const SKrLostChunk& chunk)
    {
        if (lostChunks.size() < kMostLostChunks)
            lostChunks.push_back(chunk);
    }

    bool HasIndexEntries() const { return oldIndexEntries + standardIndexEntries != 0; }

    bool HasSuperIndex() const
    {
        return std::ranges::any_of(streams, [](auto& stream) { return stream.superIndex.has_value(); });
    }
};

constexpr size_t kMostVerifiedChunks = size_t{1} << 24;
constexpr size_t kMostStandardIndexes = size_t{1} << 22;
constexpr size_t kMostSegmentsHeld = 0xFFFF;
} // namespace KrTool

#endif
