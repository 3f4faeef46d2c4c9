#include "tests/support/KrAviCheckerRules.h"

#include "tests/support/KrWrittenHeader.h"

#include <algorithm>
#include <optional>

namespace KrTest
{
namespace
{
constexpr uint64_t kSegmentLimit = 1'069'999'616;

// Thousands of chunks may break the same rule.
void Add(KrProblems& problems, const char* what, uint64_t position)
{
    if (problems.size() < 20)
        problems.push_back(DescribeProblem(what, position));
}

// The chunks in the current standard index of a stream.
struct SIndexFill
{
    size_t count = 0;
    uint64_t base = 0;

    [[nodiscard]] bool Reaches(uint64_t header) const
    {
        return count == 0 || header - base + 8 <= UINT32_MAX;
    }
    void Add(uint64_t header)
    {
        if (count++ == 0)
            base = header;
    }
};

class CIndexStarts
{
public:
    explicit CIndexStarts(KrProblems& problems) : m_problems(problems) {}

    void Take(const SKrWrittenItem& item, const SKrWrittenItem* next)
    {
        if (item.isIndex)
            TakeIndex(item, next);
        else
            TakeData(item);
    }

    void End(uint64_t position)
    {
        if (m_due)
            Problem("a standard index is missing at the end", position);
    }

private:
    void TakeIndex(const SKrWrittenItem& item, const SKrWrittenItem* next)
    {
        SIndexFill& fill = item.isVideo ? m_video : m_audio;
        const bool isForReach = !m_due && next != nullptr && !next->isIndex &&
                                next->isVideo == item.isVideo && !fill.Reaches(next->header);
        if (m_due != item.isVideo && !isForReach)
            Problem("standard index that is not due", item.header);
        m_due.reset();
        fill = {};
        m_audioFollows = item.isVideo;
    }

    void TakeData(const SKrWrittenItem& item)
    {
        SIndexFill& fill = item.isVideo ? m_video : m_audio;
        if (m_due)
            Problem("a standard index is missing", item.header);
        m_due.reset();
        if (!fill.Reaches(item.header))
            Problem("chunk beyond the reach of its standard index", item.header);
        fill.Add(item.header);
        if (fill.count >= kStdIndexEntries || (!item.isVideo && m_audioFollows))
            m_due = item.isVideo;
    }

    void Problem(const char* what, uint64_t position) { Add(m_problems, what, position); }

    KrProblems& m_problems;
    SIndexFill m_video;
    SIndexFill m_audio;
    std::optional<bool> m_due;   // for video, or for audio
    bool m_audioFollows = false; // the video index is newer than the audio one
};

// Replays the check before a group of chunks, or an index, is written.
class CSegmentStarts
{
public:
    CSegmentStarts(const std::vector<SKrWrittenItem>& items, const std::vector<SKrWrittenSegment>& segments,
                   uint32_t bytesPerSector, KrProblems& problems)
        : m_items(items), m_segments(segments), m_sector(bytesPerSector), m_problems(problems)
    {
    }

    void Run()
    {
        size_t segment = 0;
        for (size_t number = 0; number < m_items.size(); ++number)
        {
            const SKrWrittenItem& item = m_items[number];
            if (item.segment > segment + 1)
                Problem("segment without content", m_segments[segment + 1].start);
            if (item.segment != segment)
                CheckFirstOf(number, segment);
            else if (StartsGroup(number) && !Fits(segment, item.header, Needed(number)))
                Problem("chunk beyond the limit of its segment", item.header);
            segment = item.segment;
            m_entries += segment == 0 && !item.isIndex ? 1 : 0;
            if (!item.isIndex)
                m_isInsideGroup = !item.isVideo;
        }
        if (segment + 1 < m_segments.size())
            Problem("segment without content", m_segments[segment + 1].start);
    }

private:
    void CheckFirstOf(size_t number, size_t before)
    {
        const SKrWrittenItem& item = m_items[number];
        if (!StartsGroup(number))
            return Problem("segment that starts inside a group", item.header);
        if (Fits(before, m_segments[before].moviEnd, Needed(number)))
            Problem("segment that was not needed", m_segments[item.segment].start);
    }

    // Audio after the last frame is written without the check.
    [[nodiscard]] bool StartsGroup(size_t number) const
    {
        if (m_items[number].isIndex)
            return true;
        return !m_isInsideGroup && FrameFrom(number) < m_items.size();
    }

    // The frame that ends the group of a chunk.
    [[nodiscard]] size_t FrameFrom(size_t number) const
    {
        while (number < m_items.size() && (m_items[number].isIndex || !m_items[number].isVideo))
            ++number;
        return number;
    }

    // Bytes of an index, or of a whole group with its padding but without indexes inside the group.
    [[nodiscard]] uint64_t Needed(size_t number) const
    {
        if (m_items[number].isIndex)
            return kStdIndexSize;
        uint64_t bytes = 0;
        for (const size_t last = FrameFrom(number); number <= last; ++number)
        {
            if (m_items[number].isIndex)
                continue;
            const uint64_t chunk = uint64_t{m_items[number].size} + 8;
            bytes += chunk % m_sector == 0 ? chunk : RoundUpTo(chunk + 8, m_sector);
        }
        return bytes;
    }

    // The first segment stays below the limit with the 'idx1' of what it holds so far.
    [[nodiscard]] bool Fits(size_t segment, uint64_t position, uint64_t bytes) const
    {
        const uint64_t end = position - m_segments[segment].start + bytes;
        return segment == 0 ? RoundUpTo(16 * m_entries + 24, m_sector) + end < kSegmentLimit
                            : end <= kSegmentLimit;
    }

    void Problem(const char* what, uint64_t position) { Add(m_problems, what, position); }

    const std::vector<SKrWrittenItem>& m_items;
    const std::vector<SKrWrittenSegment>& m_segments;
    const uint32_t m_sector;
    KrProblems& m_problems;
    uint64_t m_entries = 1; // of 'idx1', its marker included
    bool m_isInsideGroup = false;
};
} // namespace

std::string DescribeProblem(const std::string& what, uint64_t position, const std::string& more)
{
    return "at " + std::to_string(position) + ": " + what + (more.empty() ? "" : " " + more);
}

void CheckFirstIndexes(const std::vector<SKrWrittenItem>& items, bool hasAudio, KrProblems& problems)
{
    for (const size_t number : {0u, 1u})
    {
        if (number == 1 && !hasAudio)
            continue;
        if (items.size() <= number || !items[number].isIndex || items[number].isVideo != (number == 0))
            return problems.push_back(DescribeProblem(number == 0 ? "no first 'ix00'" : "no first 'ix01'",
                                                      items.size() <= number ? 0 : items[number].header));
    }
}

void CheckIndexStarts(const std::vector<SKrWrittenItem>& items, bool hasAudio, KrProblems& problems)
{
    CIndexStarts starts(problems);
    for (size_t number = hasAudio ? 2 : 1; number < items.size(); ++number)
        starts.Take(items[number], number + 1 < items.size() ? &items[number + 1] : nullptr);
    if (!items.empty())
        starts.End(items.back().header);
}

void CheckSegmentStarts(const std::vector<SKrWrittenItem>& items,
                        const std::vector<SKrWrittenSegment>& segments, uint32_t bytesPerSector,
                        KrProblems& problems)
{
    CSegmentStarts(items, segments, bytesPerSector, problems).Run();
}

void CheckDataRate(const std::vector<SKrWrittenItem>& items, uint32_t microSecPerFrame, uint64_t frames,
                   uint64_t fileSize, uint32_t maxBytesPerSec, KrProblems& problems)
{
    constexpr uint64_t kSecond = 1'000'000;
    constexpr uint64_t kMaxBytesPerSecAt = 36;
    const uint64_t framesOfSecond = (kSecond + microSecPerFrame - 1) / microSecPerFrame;
    uint64_t least = 0;
    uint64_t most = 0;
    if (frames >= framesOfSecond)
    {
        // The measured periods together start with the file and end less than a second before its last frame.
        // The largest rate is not below their overall rate.
        least = UINT64_MAX;
        most = fileSize;
        uint64_t frame = 0;
        for (const SKrWrittenItem& item : items)
        {
            if (item.isIndex || !item.isVideo || ++frame + framesOfSecond <= frames)
                continue;
            const double seconds = static_cast<double>(frame * microSecPerFrame) / kSecond;
            const double rate = static_cast<double>(item.header + 8 + item.size) / seconds;
            least = std::min(least, static_cast<uint64_t>(rate));
        }
    }
    if (least <= UINT32_MAX && (maxBytesPerSec < least || maxBytesPerSec > most))
        problems.push_back(DescribeProblem("data rate", kMaxBytesPerSecAt,
                                           std::to_string(maxBytesPerSec) + " outside " +
                                               std::to_string(least) + " to " + std::to_string(most)));
}
} // namespace KrTest
