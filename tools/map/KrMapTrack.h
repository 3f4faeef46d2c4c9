// One stream of a measured file, and when its chunks are due.
#ifndef KR_TOOLS_MAP_KRMAPTRACK_H
#define KR_TOOLS_MAP_KRMAPTRACK_H

#include "tools/avi/KrAudioRange.h"
#include "tools/map/KrFileSpans.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
struct SKrAviFacts;

class CKrMapTrack
{
public:
    // The stream of a kind that the reader would choose if it has chunks, else the one that has most.
    static std::optional<CKrMapTrack> Choose(const SKrFileSpans& file, const SKrAviFacts& facts,
                                             EKrStreamKind kind);

    CKrMapTrack(const SKrFileSpans& file, const SKrAviFacts& facts, EKrStreamKind kind, uint32_t stream);

    EKrStreamKind Kind() const { return m_kind; }
    uint32_t Stream() const { return m_stream; }
    size_t Count() const { return m_spans.size(); }
    const SKrSpan& Span(size_t chunk) const { return m_file.spans[m_spans[chunk]]; }
    uint64_t End(size_t chunk) const { return m_file.EndOf(m_spans[chunk]); }

    // Whether the headers define the stream's time; a video stream without counts 25 frames a second.
    bool HasTime() const { return m_secondsPerUnit > 0; }
    bool RateAssumed() const { return m_rateAssumed; }

    // When a chunk is due; that of Count() is the end of the stream.
    double SecondsAtChunk(uint64_t chunk) const;
    double EndSeconds() const { return SecondsAtChunk(Count()); }
    double SecondsPerChunk() const { return m_unitBytes == 0 ? m_secondsPerUnit : 0; }

private:
    void TakeTime(const SKrAviFacts& facts);

    const SKrFileSpans& m_file;
    const EKrStreamKind m_kind;
    const uint32_t m_stream;
    std::vector<uint32_t> m_spans;       // places of the chunks among the spans
    std::vector<uint64_t> m_bytesBefore; // of each chunk, and of the end
    uint64_t m_unitBytes = 0;            // 0: each chunk is a unit
    double m_secondsPerUnit = 0;
    double m_startSeconds = 0;
    bool m_rateAssumed = false;
};
} // namespace KrTool

#endif
