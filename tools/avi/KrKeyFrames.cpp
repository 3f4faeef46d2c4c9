#include "tools/avi/KrKeyFrames.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <array>
#include <unordered_set>

namespace KrTool
{
namespace
{
// Entries of frames absent from the caller's list, such as empty or lost ones.
constexpr uint64_t kMostOtherEntries = uint64_t{1} << 20;

using Positions = std::unordered_set<uint64_t>;

// The entries of a table in a file, as far as the file has them, read in blocks. `take` returns whether to go
// on.
template <class TAKE>
void ForEachEntry(const CKrAviFile& file, uint64_t position, uint64_t count, size_t size, TAKE&& take)
{
    constexpr size_t kEntriesPerRead = 4096;
    std::vector<uint8_t> block(kEntriesPerRead * size);
    while (count > 0)
    {
        const auto wanted = static_cast<size_t>(std::min<uint64_t>(count, kEntriesPerRead));
        const size_t came = file.ReadAt(position, block.data(), wanted * size) / size;
        for (size_t entry = 0; entry < came; ++entry)
        {
            if (!take(block.data() + entry * size))
                return;
        }
        if (came < wanted)
            return;
        position += came * size;
        count -= came;
    }
}

template <class HEAD>
bool ReadHead(const CKrAviFile& file, uint64_t position, HEAD& head)
{
    std::array<uint8_t, HEAD::kEncodedSize> bytes;
    if (file.ReadAt(position, bytes.data(), bytes.size()) != bytes.size())
        return false;
    CKrByteReader in(bytes);
    return Decode(in, head);
}

// Frames that an OpenDML index marks as non-key. `budget`: entries still to be read.
void AddFromStandardIndex(const CKrAviFile& file, uint64_t position, uint64_t& budget, Positions& found)
{
    SKrStdIndexHead head;
    if (!ReadHead(file, position, head) || head.indexType != kIndexOfChunks ||
        head.indexSubType != kIndexSubTypeDefault || head.longsPerEntry != 2)
        return;
    ForEachEntry(file, position + SKrStdIndexHead::kEncodedSize, head.entriesInUse,
                 SKrStdIndexEntry::kEncodedSize,
                 [&head, &budget, &found](const uint8_t* bytes)
                 {
                     if (budget == 0)
                         return false;
                     --budget;
                     const SKrStdIndexEntry entry = DecodeStdIndexEntry(bytes);
                     if ((entry.size & SKrStdIndexEntry::kNotKeyFrame) != 0)
                         found.insert(head.baseOffset + entry.offset);
                     return true;
                 });
}

Positions FromOpenDml(const CKrAviFile& file, uint64_t position, uint64_t budget)
{
    Positions found;
    SKrSuperIndexHead head;
    if (!ReadHead(file, position, head) || head.indexType != kIndexOfIndexes)
        return found;
    ForEachEntry(file, position + SKrSuperIndexHead::kEncodedSize,
                 std::min<uint64_t>(head.entriesInUse, budget), SKrSuperIndexEntry::kEncodedSize,
                 [&file, &budget, &found](const uint8_t* bytes)
                 {
                     AddFromStandardIndex(file, DecodeSuperIndexEntry(bytes).position, budget, found);
                     return budget > 0;
                 });
    return found;
}

// The same by 'idx1', whose offsets count from the file start or from the type of 'movi': the first entry of
// the stream decides.
Positions FromOldIndex(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t stream)
{
    const std::vector<uint32_t> ids = DataChunkIds(stream, facts.streams.size(), EKrStreamKind::Video);
    std::optional<uint64_t> base;
    Positions found;
    const auto take = [&](const uint8_t* bytes)
    {
        const SKrOldIndexEntry entry = DecodeOldIndexEntry(bytes);
        if (std::ranges::find(ids, entry.chunkId) == ids.end())
            return true;
        const uint64_t payload = entry.offset + kChunkHeaderSize;
        if (!base)
            base = StreamOfEntry(file, {payload, entry.size, 0}, EKrStreamKind::Video) == stream
                       ? 0
                       : facts.movi->offset;
        if ((entry.flags & kAviifKeyFrame) == 0)
            found.insert(*base + payload);
        return true;
    };
    if (facts.idx1 && facts.movi)
        ForEachEntry(file, facts.idx1->offset, facts.idx1->cksize / SKrOldIndexEntry::kEncodedSize,
                     SKrOldIndexEntry::kEncodedSize, take);
    return found;
}
} // namespace

std::vector<bool> KeyFrames(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t stream,
                            const Chunks& frames)
{
    std::vector<bool> keys(frames.size(), true);
    if (stream >= facts.streams.size())
        return keys;
    const std::optional<uint64_t> superIndex = facts.streams[stream].superIndexPosition;
    const Positions others = superIndex ? FromOpenDml(file, *superIndex, frames.size() + kMostOtherEntries)
                                        : FromOldIndex(file, facts, stream);
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
