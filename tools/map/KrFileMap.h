// The numbers of a map, for the picture and the report.
#ifndef KR_TOOLS_MAP_KRFILEMAP_H
#define KR_TOOLS_MAP_KRFILEMAP_H

#include "tools/avi/KrStreamChunks.h"
#include "tools/map/KrFileSpans.h"
#include "tools/map/KrRemovedChunks.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KrTool
{
// The bytes of one kind, or of one stream, along the file.
struct SKrLane
{
    EKrSpanKind kind = EKrSpanKind::Headers;
    std::optional<uint32_t> stream;
    std::string name;
    uint64_t chunks = 0;
    uint64_t bytes = 0;
    std::vector<uint64_t> bins; // bytes in each part of the range
};

// Bytes of a stream in each stretch of time.
struct SKrRateSeries
{
    EKrStreamKind kind = EKrStreamKind::Video;
    uint32_t stream = 0;
    std::vector<uint64_t> bins;
};

struct SKrExtent
{
    double low = 0;
    double high = 0;
};

// How far the sound is ahead of the frames in a bin of time. Negative: late.
struct SKrDistanceBin
{
    uint64_t frames = 0; // that have sound of their time
    SKrExtent seconds;   // sound before the frame, less the frame's time
    SKrExtent bytes;     // position of the frame's data less that of the sound of the same time
    double worst = 0;    // distance that is held against the limit
};

// One sound stream beside the frames of the video stream.
struct SKrInterleave
{
    uint32_t stream = 0;
    std::vector<SKrDistanceBin> bins; // of time
    SKrDistanceBin all;
};

// Frames that can be decoded on their own, according to the index of a video stream.
struct SKrKeyFrames
{
    uint32_t stream = 0;
    uint64_t frames = 0;
    uint64_t keys = 0;
    std::vector<uint64_t> bins; // key frames in each part of the range
};

struct SKrLargeChunk
{
    EKrStreamKind kind = EKrStreamKind::Video;
    uint32_t stream = 0;
    uint64_t number = 0; // in its stream
    std::optional<double> seconds;
    uint64_t position = 0; // of the chunk's header
    uint32_t size = 0;     // of its data
};

struct SKrFileMap
{
    std::string name; // without its folder
    uint64_t length = 0;
    std::vector<std::string> facts;  // in words
    std::vector<std::string> damage; // in words

    std::vector<SKrMapList> segments;
    std::vector<SKrMapList> lists;
    SKrRegionTable regions;
    std::vector<SKrRemoval> removals;
    bool noIndex = false; // although there are data chunks

    // What is shown: the whole file, or some frames.
    bool isPart = false;
    uint64_t start = 0; // position
    uint64_t end = 0;
    double startSeconds = 0;
    double endSeconds = 0;
    uint64_t firstFrame = 0;
    uint64_t endFrame = 0;    // after the last one
    bool rateAssumed = false; // the headers have no frame rate

    std::vector<SKrLane> lanes;
    double rateBinSeconds = 0;
    std::vector<SKrRateSeries> rates;
    std::vector<SKrInterleave> interleaves; // of the sound streams with which there is anything to compare
    double interleaveLimit = 0;             // seconds
    std::vector<SKrKeyFrames> keyFrames;
    std::vector<SKrLargeChunk> largest; // only those that are larger than the rest

    uint64_t MissingBytes() const; // that the segments claim beyond the end of the file
    uint64_t Bytes() const { return end - start; }
    double Seconds() const { return endSeconds - startSeconds; }

    bool IsFar(const SKrDistanceBin& distance) const; // beyond the limit

    // Where a bin of a range of bytes starts, so that the bins share the range evenly.
    static uint64_t BinStart(uint64_t bin, uint64_t bins, uint64_t start, uint64_t end);
};

// Seconds of a rate bin that lie in the range, for which its bytes stand.
double RateBinSeconds(const SKrFileMap& map, size_t bin);
double BitsPerSecond(const SKrFileMap& map, const SKrRateSeries& series, size_t bin);
uint64_t SeriesBytes(const SKrRateSeries& series);

// What the user asked for.
struct SKrMapRequest
{
    std::optional<uint64_t> from; // frames
    std::optional<uint64_t> to;   // inclusive
    uint64_t byteBins = 0;        // at most
    uint64_t timeBins = 0;        // of the distances
    double interleave = 0;        // most seconds from a frame to its sound
};
} // namespace KrTool

#endif
