// Where everything lies in a new file: known before its first byte is written.
#ifndef KR_TOOLS_COPIER_KRSEGMENTPLAN_H
#define KR_TOOLS_COPIER_KRSEGMENTPLAN_H

#include "tools/copier/KrCopyJob.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTool
{
// A stream's part of a segment.
struct SKrPlannedIndex
{
    uint32_t entries = 0;
    uint32_t units = 0;    // of the stream's time
    uint64_t position = 0; // of the standard index's chunk header
};

struct SKrPlannedSegment
{
    size_t firstChunk = 0; // numbers over all clips
    size_t endChunk = 0;
    uint64_t position = 0;     // of 'RIFF'
    uint64_t dataPosition = 0; // of the first chunk in 'movi'
    uint64_t dataEnd = 0;      // after the last data chunk
    uint64_t moviEnd = 0;      // after the standard indexes
    uint64_t end = 0;
    uint64_t frames = 0; // of the first video stream
    std::vector<SKrPlannedIndex> indexes;
};

struct SKrFilePlan
{
    std::vector<SKrPlannedSegment> segments;
    bool hasStandardIndexes = false; // a file of one segment needs only 'idx1'
    size_t superIndexCapacity = 0;
    std::vector<uint32_t> chunkIds; // of each stream's first chunk that takes time
    uint64_t oldIndexEntries = 0;   // in the first segment
    uint64_t dataBytes = 0;         // payloads

    [[nodiscard]] uint64_t Size() const { return segments.back().end; }
};

// Throws CKrToolError, about `output`, for chunks that indexes cannot describe.
[[nodiscard]] SKrFilePlan PlanFile(const SKrCopyJob& job, const std::string& output);

// The bytes before the first data chunk of the file, which the plan must have room for.
[[nodiscard]] std::vector<uint8_t> HeaderBytes(const SKrCopyJob& job, const SKrFilePlan& plan);

// Chunks with their headers and padding.
[[nodiscard]] uint64_t EncodedSize(const std::vector<SKrCarriedBytes>& chunks);
void Encode(std::vector<uint8_t>& out, const SKrCarriedBytes& chunk);
} // namespace KrTool

#endif
