#include "tools/copier/KrScannedChunks.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrScanRules.h"

#include <optional>

namespace KrTool
{
namespace
{
class CKrScanCollector final : public IKrScanListener
{
public:
    CKrScanCollector(SKrScannedChunks& result, size_t streamCount)
        : m_result(result), m_streamCount(streamCount)
    {
        m_result.cutChunks.resize(streamCount);
    }

    void OnList(const SKrScannedList&, Lists) override {} // lists are skipped

    void OnChunk(const SKrScannedChunk& chunk, Lists) override
    {
        if (chunk.guess.id == kFccIdx1)
        {
            m_result.oldIndexPosition = chunk.position + kChunkHeaderSize;
            m_result.oldIndexBytes = chunk.guess.size;
        }
        m_result.endIsThere = m_result.endIsThere || chunk.guess.kind == EKrGuess::Index;
        if (!chunk.guess.IsIn(GuessesOf(EKrGuess::Data, EKrGuess::OtherData)))
            return;
        m_result.endIsThere = false;
        const std::optional<uint32_t> stream = StreamOf(chunk.guess.id);
        if (!stream)
        {
            ++m_result.strangeChunks;
            return;
        }
        SKrCarriedChunk found = {chunk.position + kChunkHeaderSize, chunk.guess.size,
                                 static_cast<uint16_t>(chunk.guess.id >> 16), static_cast<uint8_t>(*stream),
                                 0};
        found.flags = found.IsPaletteChange() ? SKrCarriedChunk::kNotIndexed : uint8_t{0};
        m_result.chunks.push_back(found);
    }

    void OnLostChunk(const SKrChunkGuess& guess) override
    {
        if (const std::optional<uint32_t> stream = StreamOf(guess.id))
            ++m_result.cutChunks[*stream];
    }

    void OnGap(uint64_t from, uint64_t to, bool, Lists) override
    {
        m_result.lostBytes += to - from;
        m_result.lost.push_back({from, to - from, m_result.chunks.size()});
    }

private:
    [[nodiscard]] std::optional<uint32_t> StreamOf(uint32_t id) const
    {
        const std::optional<SKrDataTag> tag = DataTagOf(id, m_streamCount);
        return tag && tag->stream < m_streamCount ? std::optional(tag->stream) : std::nullopt;
    }

    SKrScannedChunks& m_result;
    const size_t m_streamCount;
};
} // namespace

SKrScannedChunks ScanForChunks(const CKrByteSource& file, size_t streamCount, CKrProgress& progress)
{
    SKrScannedChunks result;
    CKrScanCollector collector(result, streamCount);
    CKrFileScanner(file, kFollowerRules, collector, progress).Run("searching");
    return result;
}
} // namespace KrTool
