// What the bytes of a file are: spans without a hole from its first byte to its last.
#ifndef KR_TOOLS_MAP_KRFILESPANS_H
#define KR_TOOLS_MAP_KRFILESPANS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrByteSource;
class CKrProgress;

enum class EKrSpanKind : uint8_t
{
    Headers, // of lists, and all chunks outside of 'movi' that are none of the others
    Padding, // 'JUNK' and its like, and short runs of zero bytes
    Index,
    Video,
    Audio,
    OtherData,  // in 'movi', neither video nor audio
    Unaccounted // in no chunk
};

constexpr size_t kSpanKinds = 7;

// One data chunk with its header and its padding byte, or a stretch of anything else.
struct SKrSpan
{
    uint64_t start = 0;   // it ends where the next one starts
    uint32_t payload = 0; // bytes of a data chunk that are there
    EKrSpanKind kind = EKrSpanKind::Headers;
    uint8_t stream = 0; // of a data chunk
};

// A segment, or a list in one.
struct SKrMapList
{
    uint32_t type = 0;
    uint64_t start = 0;
    uint64_t end = 0;        // of what is there
    uint64_t claimedEnd = 0; // by its size
    bool completed = true;   // its size was written
};

// Places that the picture marks.
enum class EKrRegionKind : uint8_t
{
    Unaccounted,
    CutChunk,    // its data are not there in full
    OutsideMovi, // after the segments, or data chunks outside 'movi'
    NotIndexed   // data chunks that the index of their stream leaves out
};
constexpr size_t kRegionKinds = 4;

struct SKrRegion
{
    uint64_t start = 0;
    uint64_t end = 0;
};

// The first regions of a kind, and the sum of all.
struct SKrRegions
{
    static constexpr size_t kMostKept = 500;

    uint64_t count = 0;
    uint64_t bytes = 0;
    std::vector<SKrRegion> kept;

    // Regions come in file order; one that starts where the last one ended makes it longer.
    void Add(const SKrRegion& region);

private:
    uint64_t m_lastEnd = UINT64_MAX;
};

struct SKrRegionTable : std::array<SKrRegions, kRegionKinds>
{
    SKrRegions& Of(EKrRegionKind kind) { return (*this)[static_cast<size_t>(kind)]; }
    const SKrRegions& Of(EKrRegionKind kind) const { return (*this)[static_cast<size_t>(kind)]; }
};

// A whole index chunk: 'idx1' or 'ix##'.
struct SKrIndexPlace
{
    uint64_t position = 0; // of the header
    uint32_t id = 0;
    uint32_t size = 0;
};

struct SKrFileSpans
{
    uint64_t length = 0;
    std::vector<SKrSpan> spans;
    std::vector<SKrMapList> segments;
    std::vector<SKrMapList> lists; // the first lists in segments
    SKrRegionTable regions;
    std::vector<SKrIndexPlace> indexes; // the first ones
    uint64_t chunks[kSpanKinds] = {};   // by kind
    uint64_t standardIndexes = 0;       // chunks 'ix##'
    uint64_t superIndexes = 0;          // chunks 'indx'
    uint64_t oldIndexes = 0;            // chunks 'idx1'
    uint64_t overruns = 0;              // chunks that extend past the end of their list
    uint64_t wrongSizes = 0;            // chunks that would cover others
    bool cut = false;                   // too many chunks: the rest is not checked

    uint64_t EndOf(size_t span) const { return span + 1 < spans.size() ? spans[span + 1].start : length; }
};

inline bool IsDataSpan(const SKrSpan& span)
{
    return span.kind == EKrSpanKind::Video || span.kind == EKrSpanKind::Audio;
}

// Measures a file, damaged or not, whose headers describe `streamCount` streams. Reads each byte a few
// times at most.
SKrFileSpans MeasureSpans(const CKrByteSource& file, size_t streamCount, CKrProgress& progress);
} // namespace KrTool

#endif
