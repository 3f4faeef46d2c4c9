// Measures a file, damaged or not: walks from chunk to chunk by their sizes, and where that leads nowhere,
// on to the next place that is a chunk.
#ifndef KR_TOOLS_MAP_KRSPANWALK_H
#define KR_TOOLS_MAP_KRSPANWALK_H

#include "tools/map/KrFileSpans.h"
#include "tools/recover/KrChunkMark.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;

class CKrSpanWalk
{
public:
    // `streamCount`: streams that the headers describe.
    CKrSpanWalk(const CKrAviFile& file, size_t streamCount, CKrProgress& progress);

    // Moves forward only, so that overlapping lists cost nothing. Each byte is looked at a few times at most.
    SKrFileSpans Run();

private:
    // A list that the position lies in.
    struct SKrLevel
    {
        uint64_t end = 0;
        uint32_t type = 0;
        bool isSegment = false;
        std::optional<size_t> list; // its place among the lists that are kept
    };

    SKrMark MarkAt(uint64_t position);
    uint32_t ListTypeAt(uint64_t position);
    [[nodiscard]] bool IsStrong(uint64_t position);
    [[nodiscard]] bool IsFollower(uint64_t end, uint32_t size);
    [[nodiscard]] bool IsConfirmed(uint64_t position);
    std::optional<uint64_t> FindConfirmed(uint64_t from);
    uint64_t PositionBehind(uint64_t end, uint32_t size);
    uint64_t EndOfZeros(uint64_t position);

    void Step();
    void LeaveLevels(uint64_t position);
    void LeaveOneLevel(uint64_t position);
    [[nodiscard]] bool TakeContainer(const SKrMark& mark);
    void Enter(uint32_t type, bool isSegment, uint64_t claimedEnd, bool completed);
    [[nodiscard]] bool TakeChunk(const SKrMark& mark);
    [[nodiscard]] bool TakeCutChunk(const SKrMark& mark);
    void TakeZeros();
    void TakeGap(uint64_t end);

    [[nodiscard]] bool IsInMovi() const;
    EKrSpanKind KindOf(const SKrMark& mark) const;
    void CountIndex(uint32_t id);
    void AddChunk(const SKrMark& mark, uint64_t end);
    void AddSpan(const SKrSpan& span);
    void NoteOutside(EKrSpanKind kind, uint64_t end);

    static constexpr size_t kWindow = 512; // headers that follow each other closely come with one read

    const CKrAviFile& m_file;
    const uint64_t m_length;
    const size_t m_streamCount;
    CKrProgress& m_progress;
    std::array<uint8_t, kWindow> m_window{};
    uint64_t m_windowStart = 0;
    size_t m_windowSize = 0;
    std::vector<SKrLevel> m_levels;
    uint64_t m_position = 0;
    uint64_t m_outsideEnd = 0; // what lies between there and the position is padding
    SKrFileSpans m_result;
};
} // namespace KrTool

#endif
