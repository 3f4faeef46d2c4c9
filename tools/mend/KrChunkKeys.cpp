#include "tools/mend/KrChunkKeys.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrInputFile.h"
#include "tools/copier/KrKeyGuess.h"

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
    uint32_t codec = 0;
    bool isVideo = false;
    bool hasOthers = false; // frames that an index marks as depending on others
};

std::vector<SKrStreamKeys> KeysOfStreams(const CKrByteSource& file, const SKrVerifyModel& model)
{
    std::vector<SKrStreamKeys> streams;
    for (const SKrVerifyStream& stream : model.streams)
    {
        std::vector<uint8_t> format(
            stream.format ? std::min<size_t>(stream.format->size, SKrBitmapHeader::kEncodedSize) : 0);
        if (stream.format)
            file.Fill(stream.format->Data(), format);
        streams.push_back({DecodeBitmapHeader(format).compression, stream.type == kFccVids, false});
    }
    for (const SKrDataChunk& chunk : model.chunks)
    {
        if (chunk.stream < streams.size() && (chunk.marks & kInAnyIndex) != 0 &&
            (chunk.marks & kKeyInAnyIndex) == 0)
            streams[chunk.stream].hasOthers = true;
    }
    return streams;
}
} // namespace

SKrChunkKeys FindChunkKeys(const CKrByteSource& file, const SKrReindexScan& scan)
{
    const std::vector<SKrStreamKeys> streams = KeysOfStreams(file, scan.model);
    SKrChunkKeys keys;
    keys.isKey.reserve(scan.ids.size());
    std::array<uint8_t, kBytesForKey> bytes = {};
    for (size_t number = 0; number < scan.ids.size(); ++number)
    {
        const SKrDataChunk& chunk = scan.model.chunks[number];
        bool isKey = true;
        if (scan.ids[number] != 0 && streams[chunk.stream].isVideo && chunk.kind == EKrContent::Video)
        {
            const SKrStreamKeys& stream = streams[chunk.stream];
            std::optional<bool> known;
            if ((chunk.marks & kInAnyIndex) != 0)
                known = (chunk.marks & kKeyInAnyIndex) != 0;
            else if (chunk.size == 0)
                known = false;
            else
                known = scan.keyGuesses[number];
            if (!known)
            {
                const size_t count = file.ReadAt(chunk.position + kChunkHeaderSize, bytes.data(),
                                                 std::min<size_t>(chunk.size, bytes.size()));
                known = IsKeyByItsBytes(stream.codec, {bytes.data(), count});
            }
            keys.assumed += known ? 0 : 1;
            isKey = known.value_or(!stream.hasOthers);
        }
        keys.isKey.push_back(isKey);
    }
    return keys;
}
} // namespace KrTool
