#include "tools/avi/KrKeyFrames.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <unordered_set>

namespace KrTool
{
namespace
{
// Entries of frames absent from the caller's list, such as empty or lost ones.
constexpr uint64_t kMostOtherEntries = uint64_t{1} << 20;

using Positions = std::unordered_set<uint64_t>;

template <class HEAD>
bool ReadHead(CKrFileWindow& window, uint64_t position, HEAD& head)
{
    CKrByteReader in(window.At(position, HEAD::kEncodedSize));
    return Decode(in, head);
}

// Frames that an OpenDML index marks as non-key. `budget`: entries still to be read.
void AddFromStandardIndex(CKrFileWindow& window, uint64_t position, uint64_t& budget, Positions& found)
{
    SKrStdIndexHead head;
    if (!ReadHead(window, position, head) || head.indexType != kIndexOfChunks ||
        head.indexSubType != kIndexSubTypeDefault || head.longsPerEntry != 2)
        return;
    ForEachEntry(window, position + SKrStdIndexHead::kEncodedSize, head.entriesInUse,
                 SKrStdIndexEntry::kEncodedSize,
                 [&head, &budget, &found](std::span<const uint8_t> bytes, uint64_t)
                 {
                     if (budget == 0)
                         return false;
                     --budget;
                     const SKrStdIndexEntry entry = DecodeStdIndexEntry(bytes.data());
                     if ((entry.size & SKrStdIndexEntry::kNotKeyFrame) != 0)
                         found.insert(head.baseOffset + entry.offset);
                     return true;
                 });
}

Positions FromOpenDml(const CKrAviFile& file, uint64_t position, uint64_t budget)
{
    Positions found;
    SKrSuperIndexHead head;
    CKrFileWindow window(file);
    CKrFileWindow standardWindow(file);
    if (!ReadHead(window, position, head) || head.indexType != kIndexOfIndexes)
        return found;
    ForEachEntry(window, position + SKrSuperIndexHead::kEncodedSize,
                 std::min<uint64_t>(head.entriesInUse, budget), SKrSuperIndexEntry::kEncodedSize,
                 [&](std::span<const uint8_t> bytes, uint64_t)
                 {
                     AddFromStandardIndex(standardWindow, DecodeSuperIndexEntry(bytes.data()).position,
                                          budget, found);
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
    const auto take = [&](std::span<const uint8_t> bytes, uint64_t)
    {
        const SKrOldIndexEntry entry = DecodeOldIndexEntry(bytes.data());
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
    CKrFileWindow window(file);
    if (facts.idx1 && facts.movi)
        ForEachEntry(window, facts.idx1->offset, facts.idx1->cksize / SKrOldIndexEntry::kEncodedSize,
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
