#include "reader/KrRecordingEnd.h"

#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "platform/KrPlatform.h"
#include "reader/KrFileCursor.h"

#include <algorithm>

namespace
{
bool IsIndexId(uint32_t id)
{
    constexpr uint32_t kTwoCharacters = 'i' | 'x' << 8;
    return (id & 0xFFFF) == kTwoCharacters || id >> 16 == kTwoCharacters || id == kFccIdx1 || id == kFccIndx;
}

bool IsFiller(uint32_t id)
{
    return id == kFccJunk || id == kFccJunq || id == kFccPad;
}

class CMoviWalk
{
public:
    CMoviWalk(IKrFile& file, uint64_t fileSize, const std::vector<uint64_t>& named) : m_named(named)
    {
        m_cursor.Attach(file, fileSize);
    }

    // Whether everything between two positions is accounted for.
    [[nodiscard]] bool IsAccountedFor(uint64_t from, uint64_t end)
    {
        while (from < end)
        {
            SKrChunkHeader header;
            // Chunks start at even positions, but our writer has nothing between an odd one and its padding.
            if (!ReadHeader(from, header) && (from % 2 == 0 || ++from == end || !ReadHeader(from, header)))
                return from == end;
            if (header.id == kFccList)
            {
                from += kListHeaderSize; // the chunks of a 'rec ' list are looked at one by one
                continue;
            }
            from += kChunkHeaderSize + header.size;
            if (from > end)
                return from == RoundUpToEven(end);
        }
        return true;
    }

private:
    // Whether there is one of the chunks that may be here.
    [[nodiscard]] bool ReadHeader(uint64_t position, SKrChunkHeader& header)
    {
        uint8_t bytes[kListHeaderSize];
        m_cursor.SeekTo(position);
        const size_t got = m_cursor.Read(bytes, sizeof bytes);
        if (got < kChunkHeaderSize)
            return false;
        header = DecodeChunkHeader({bytes, got});
        return std::ranges::binary_search(m_named, position + kChunkHeaderSize) || IsFiller(header.id) ||
               IsIndexId(header.id) || (header.id == kFccList && header.firstData == kFccRec);
    }

    CKrFileCursor m_cursor;
    const std::vector<uint64_t>& m_named;
};
} // namespace

bool IsRecordingComplete(IKrFile& file, uint64_t fileSize, const SKrSegment& last,
                         const std::vector<uint64_t>& named)
{
    const uint64_t end = last.riff.offset + last.riff.cksize;
    const uint64_t moviEnd = last.movi.offset + last.movi.cksize;
    if (last.isUnfinished || last.movi.offset == 0 || moviEnd > end ||
        (fileSize != end && fileSize != RoundUpToEven(end)))
        return false;
    CMoviWalk walk(file, fileSize, named);
    return walk.IsAccountedFor(last.movi.offset + kListTypeSize, moviEnd);
}
