#include "reader/KrStreamChunkDetection.h"

#include "format/KrFourCC.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"

#include <unordered_set>

namespace
{
constexpr uint32_t kChunksWithoutStreamCount = 15;

// The distinct data chunk ids in file order.
class CKrSeenIds
{
public:
    void Add(uint32_t id)
    {
        ++m_recognised;
        if (id == m_last)
            return;
        m_last = id;
        if (!m_ids.insert(id).second)
            return;
        const char kind = KrFourCCChar(id, 2);
        if (kind == 'd' && m_first.firstVideoId == 0)
            m_first.firstVideoId = id;
        if (kind == 'w' && m_first.firstAudioId == 0)
            m_first.firstAudioId = id;
    }

    bool AreEnough(uint32_t streamCount) const
    {
        return streamCount != 0 ? m_ids.size() >= streamCount : m_recognised >= kChunksWithoutStreamCount;
    }

    const SKrDetectedChunks& First() const { return m_first; }

private:
    std::unordered_set<uint32_t> m_ids;
    uint32_t m_last = 0;
    uint64_t m_recognised = 0;
    SKrDetectedChunks m_first;
};
} // namespace

bool IsStreamDataChunkId(uint32_t id)
{
    const char kind = KrFourCCChar(id, 2);
    const char digit = KrFourCCChar(id, 1);
    return (kind == 'd' || kind == 'w') && KrFourCCChar(id, 0) == '0' && digit >= '0' && digit <= '9';
}

bool DetectStreamChunkIds(CKrFileCursor& cursor, const SKrRiffChunkInfo* movi, uint32_t streamCount,
                          SKrDetectedChunks& detected)
{
    if (movi != nullptr && (movi->ckid != kFccList || movi->fccType != kFccMovi))
        return false;
    SKrRiffChunkInfo chunk = {};
    if (!FindChunk(cursor, chunk, movi, EKrLookupMode::AnyChunk, kNoZeroLimit))
        return false;

    CKrSeenIds seen;
    if (IsStreamDataChunkId(chunk.ckid))
        seen.Add(chunk.ckid);
    while (!seen.AreEnough(streamCount))
    {
        SeekPast(cursor, chunk);
        chunk = {};
        if (!FindChunk(cursor, chunk, nullptr, EKrLookupMode::AnyChunk, kNoZeroLimit))
            break;
        if (IsStreamDataChunkId(chunk.ckid)) // neither 'JUNK' nor an "ix" chunk has such an id
            seen.Add(chunk.ckid);
    }
    detected = seen.First();
    return true;
}
