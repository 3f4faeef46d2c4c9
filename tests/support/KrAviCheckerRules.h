// The rules for the order of the chunks in a written file: when standard indexes and segments start, and the
// range of the data rate.
#ifndef KR_TESTS_SUPPORT_KRAVICHECKERRULES_H
#define KR_TESTS_SUPPORT_KRAVICHECKERRULES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KrTest
{
// A data chunk or a standard index.
struct SKrWrittenItem
{
    uint64_t header = 0; // position of the chunk header
    uint32_t size = 0;
    bool isIndex = false;
    bool isVideo = false; // the stream's, of an index too
    size_t segment = 0;
};

struct SKrWrittenSegment
{
    uint64_t start = 0;
    uint64_t moviEnd = 0; // where 'idx1' starts, or the next segment
};

using KrProblems = std::vector<std::string>;

[[nodiscard]] std::string DescribeProblem(const std::string& what, uint64_t position,
                                          const std::string& more = {});

// Each stream has a standard index before anything else.
void CheckFirstIndexes(const std::vector<SKrWrittenItem>& items, bool hasAudio, KrProblems& problems);

// A further one starts after the 4028th chunk, or before a chunk that the current one does not reach, or, for
// audio, after the first chunk that follows a further video index; never elsewhere. Queued chunks only.
void CheckIndexStarts(const std::vector<SKrWrittenItem>& items, bool hasAudio, KrProblems& problems);

// A segment starts exactly where a frame with the audio before it, or a standard index, does not fit in the
// previous segment. Queued chunks only.
void CheckSegmentStarts(const std::vector<SKrWrittenItem>& items,
                        const std::vector<SKrWrittenSegment>& segments, uint32_t bytesPerSector,
                        KrProblems& problems);

// The bounds of a rate that was measured over whole seconds of video; which ones depends on timing.
void CheckDataRate(const std::vector<SKrWrittenItem>& items, uint32_t microSecPerFrame, uint64_t frames,
                   uint64_t fileSize, uint32_t maxBytesPerSec, KrProblems& problems);
} // namespace KrTest

#endif
