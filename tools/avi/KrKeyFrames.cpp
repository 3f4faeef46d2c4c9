#include "tools/avi/KrKeyFrames.h"

#include "tools/avi/KrAviFacts.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <unordered_set>

namespace KrTool
{
std::vector<bool> KeyFrames(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t stream,
                            const Chunks& frames)
{
    std::vector<bool> keys(frames.size(), true);
    const std::optional<SKrStreamIndex> index =
        stream < facts.streams.size() ? LoadStreamIndex(file, stream) : std::nullopt;
    if (!index)
        return keys;
    std::unordered_set<uint64_t> others;
    for (const SKrStreamIndexEntry& entry : index->entries)
    {
        if ((entry.flags & kKeyFrame) == 0)
            others.insert(entry.position);
    }
    for (size_t number = 0; number < frames.size(); ++number)
        keys[number] = !others.contains(frames[number].position);
    if (std::ranges::find(keys, true) == keys.end())
        keys.assign(keys.size(), true);
    return keys;
}

std::string DependingText(uint64_t frames, uint32_t stream)
{
    return Counted(frames, "frame") + " of stream " + std::to_string(stream) +
           (frames == 1 ? " depends" : " depend") +
           " on others per the source index; the new index cannot record it";
}
} // namespace KrTool
