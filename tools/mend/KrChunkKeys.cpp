#include "tools/mend/KrChunkKeys.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>
#include <array>
#include <span>

namespace KrTool
{
namespace
{
constexpr uint8_t kInAnyIndex = SKrDataChunk::kInIdx1 | SKrDataChunk::kInIx;
constexpr uint8_t kKeyInAnyIndex = SKrDataChunk::kKeyInIdx1 | SKrDataChunk::kKeyInIx;

// What an old index says of a stream's frames, and what its frames can say themselves.
struct SKrStreamKeys
{
    EKrKeyRule rule = EKrKeyRule::Unknown;
    bool isVideo = false;
    bool hasOthers = false; // frames that an index marks as depending on others
};

std::vector<SKrStreamKeys> KeysOfStreams(const CKrByteSource& file, const SKrVerifyModel& model)
{
    std::vector<SKrStreamKeys> streams;
    for (const SKrVerifyStream& stream : model.streams)
        streams.push_back({KeyRuleOf(file, stream), stream.type == kFccVids, false});
    if (!model.HasIndexEntries())
        return streams;
    for (const SKrDataChunk& chunk : model.chunks)
    {
        if (chunk.stream < streams.size() && (chunk.marks & kInAnyIndex) != 0 &&
            (chunk.marks & kKeyInAnyIndex) == 0)
            streams[chunk.stream].hasOthers = true;
    }
    return streams;
}

// Without an entry in an old index.
std::optional<bool> IsKeyFrame(const CKrByteSource& file, const SKrDataChunk& chunk, EKrKeyRule rule,
                               const std::optional<bool>& guess)
{
    if (chunk.size == 0)
        return false;
    if (guess || !NeedsBytes(rule))
        return guess ? guess : IsKeyByItsBytes(rule, {});
    std::array<uint8_t, kBytesForKey> bytes;
    const size_t count = file.ReadAt(chunk.position + kChunkHeaderSize, bytes.data(),
                                     std::min<size_t>(chunk.size, bytes.size()));
    return IsKeyByItsBytes(rule, {bytes.data(), count});
}
} // namespace

EKrKeyRule KeyRuleOf(const CKrByteSource& file, const SKrVerifyStream& stream)
{
    std::vector<uint8_t> format(stream.format && stream.format->End() <= file.Length()
                                    ? std::min<size_t>(stream.format->size, SKrBitmapHeader::kEncodedSize)
                                    : 0);
    if (!format.empty())
        file.Fill(stream.format->Data(), format);
    return KeyRuleOf(DecodeBitmapHeader(format).compression);
}

std::vector<bool> FindKeyChunks(const CKrByteSource& file, const SKrReindexScan& scan)
{
    const std::vector<SKrStreamKeys> streams = KeysOfStreams(file, scan.model);
    const auto guess = [&scan](size_t number)
    {
        return number < scan.keyGuesses.size() ? scan.keyGuesses[number] : std::nullopt;
    };
    std::vector<bool> isKey(scan.ids.size(), true);
    for (size_t number = 0; number < scan.ids.size(); ++number)
    {
        const SKrDataChunk& chunk = scan.model.chunks[number];
        if (scan.ids[number] == 0 || chunk.kind != EKrContent::Video || !streams[chunk.stream].isVideo)
            continue;
        const SKrStreamKeys& stream = streams[chunk.stream];
        isKey[number] = (chunk.marks & kInAnyIndex) != 0
                            ? (chunk.marks & kKeyInAnyIndex) != 0
                            : IsKeyFrame(file, chunk, stream.rule, guess(number)).value_or(!stream.hasOthers);
    }
    return isKey;
}
} // namespace KrTool
