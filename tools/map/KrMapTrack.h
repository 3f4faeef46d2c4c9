// One stream of a measured file, and when its chunks are due.
#ifndef KR_TOOLS_MAP_KRMAPTRACK_H
#define KR_TOOLS_MAP_KRMAPTRACK_H

#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrStreamIndex.h"
#include "tools/map/KrFileSpans.h"
#include "tools/map/KrRemovedChunks.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace KrTool
{
struct SKrAviFacts;

class CKrMapTrack
{
public:
    using Key = std::pair<EKrStreamKind, uint32_t>;

    // The streams that have chunks. First, as the reader would choose if they have chunks, or else those that
    // have most, one video and one audio stream; then all others.
    static std::vector<Key> StreamsOf(const SKrFileSpans& file, const SKrAviFacts& facts);

    // Chunks that only the index names count where the file has a hole at their place: they are lost, but not
    // their time.
    CKrMapTrack(const SKrFileSpans& file, const SKrAviFacts& facts, Key key, const SKrStreamIndex& index);

    // Whether the index leaves chunks out.
    [[nodiscard]] bool LacksEntries() const;

    // The same with those that are gone, wherever they were.
    void Insert(const std::vector<SKrRemovedChunk>& removed);

    EKrStreamKind Kind() const { return m_kind; }
    uint32_t Stream() const { return m_stream; }
    size_t Count() const { return m_chunks.size(); }
    size_t FoundCount() const { return m_found; } // without the lost ones
    bool IsLost(size_t chunk) const { return m_chunks[chunk].span == kLost; }
    bool HasIndex() const { return m_hasIndex; }
    bool IsIndexed(size_t chunk) const { return m_chunks[chunk].isIndexed; }
    bool IsKey(size_t chunk) const { return m_chunks[chunk].isKey; } // according to the index
    uint64_t Start(size_t chunk) const { return m_chunks[chunk].start; }
    uint64_t End(size_t chunk) const;
    uint32_t Payload(size_t chunk) const; // of a lost one 0

    // Whether the headers define the stream's time; a video stream without counts 25 frames a second.
    bool HasTime() const { return m_secondsPerUnit > 0; }
    bool RateAssumed() const { return m_rateAssumed; }

    // When a chunk is due; that of Count() is the end of the stream.
    double SecondsAtChunk(uint64_t chunk) const;
    double EndSeconds() const { return SecondsAtChunk(Count()); }
    double SecondsPerChunk() const { return m_unitBytes == 0 ? m_secondsPerUnit : 0; }

private:
    static constexpr uint32_t kLost = UINT32_MAX;

    struct SKrTrackChunk
    {
        uint64_t start = 0;
        uint64_t before = 0; // chunks, or bytes, before it
        uint32_t span = 0;   // its place among the spans
        bool isIndexed = false;
        bool isKey = false;
    };

    void TakeTime(const SKrAviFacts& facts);
    void Add(SKrTrackChunk chunk, uint32_t size);
    void AddFound(SKrTrackChunk chunk) { Add(chunk, m_file.spans[chunk.span].payload); }
    [[nodiscard]] bool IsHole(uint64_t position) const;

    const SKrFileSpans& m_file;
    const EKrStreamKind m_kind;
    const uint32_t m_stream;
    std::vector<SKrTrackChunk> m_chunks;
    uint64_t m_amount = 0; // chunks, or bytes, in all
    size_t m_found = 0;
    bool m_hasIndex = false;
    uint64_t m_unitBytes = 0; // 0: each chunk is a unit
    double m_secondsPerUnit = 0;
    double m_startSeconds = 0;
    bool m_rateAssumed = false;
};
} // namespace KrTool

#endif
