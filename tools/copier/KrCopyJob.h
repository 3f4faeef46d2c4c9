// What a copy consists of: the headers of the new file, and chunks of one or several files in their new
// order.
#ifndef KR_TOOLS_COPIER_KRCOPYJOB_H
#define KR_TOOLS_COPIER_KRCOPYJOB_H

#include "tools/avi/KrInputFile.h"
#include "tools/copier/KrCarriedChunk.h"
#include "tools/copier/KrCarriedHeader.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KrTool
{
struct SKrCopyClip
{
    std::shared_ptr<const CKrByteSource> file;
    CarriedChunks chunks;
};

struct SKrCopyJob
{
    SKrCarriedHeader header; // with the lengths that the new file will have
    std::vector<SKrCopyClip> clips;

    [[nodiscard]] size_t ChunkCount() const
    {
        size_t count = 0;
        for (const SKrCopyClip& clip : clips)
            count += clip.chunks.size();
        return count;
    }

    // Calls `take(clip, chunk)` for the chunks from number `first` on and before `end`, counted over all
    // clips.
    template <class TAKE>
    void ForEach(size_t first, size_t end, TAKE&& take) const
    {
        size_t before = 0;
        for (const SKrCopyClip& clip : clips)
        {
            const size_t count = clip.chunks.size();
            const size_t to = std::min(end - std::min(end, before), count);
            for (size_t number = std::min(first - std::min(first, before), count); number < to; ++number)
                take(clip, clip.chunks[number]);
            before += count;
        }
    }
};

// How a stream counts its length: in units of so many bytes, or in chunks when that is 0.
[[nodiscard]] uint32_t BytesOfUnit(const SKrCarriedStream& stream);

// The length of each stream in its own units.
[[nodiscard]] std::vector<uint64_t> UnitsOfStreams(const SKrCopyJob& job);

// Writes these lengths into the headers.
void SetLengths(SKrCopyJob& job);
} // namespace KrTool

#endif
