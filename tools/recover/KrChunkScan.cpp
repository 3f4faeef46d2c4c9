#include "tools/recover/KrChunkScan.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrScanRules.h"

#include <optional>

namespace KrTool
{
namespace
{
constexpr size_t kMostDamagesKept = 100;

class CKrWholeChunks final : public IKrScanListener
{
public:
    CKrWholeChunks(SKrScanResult& result, size_t streamCount) : m_result(result), m_streamCount(streamCount)
    {
    }

    void OnList(const SKrScannedList&, Lists) override {} // lists are skipped

    void OnChunk(const SKrScannedChunk& chunk, Lists) override
    {
        m_result.otherChunks += chunk.guess.kind == EKrGuess::OtherData ? 1 : 0;
        const std::optional<StreamKey> key = KeyOf(chunk.guess);
        if (!key)
            return;
        SKrFoundStream& stream = m_result.streams[*key];
        if (chunk.guess.size == 0)
        {
            ++stream.emptyChunks;
            return;
        }
        uint64_t& damagesBefore = m_damagesBefore[*key];
        if (damagesBefore != m_result.damageCount && !stream.chunks.empty())
            stream.breaks.push_back(stream.chunks.size());
        damagesBefore = m_result.damageCount;
        stream.chunks.push_back({chunk.position + kChunkHeaderSize, chunk.guess.size, 0});
    }

    void OnLostChunk(const SKrChunkGuess& guess) override
    {
        if (const std::optional<StreamKey> key = KeyOf(guess))
            ++m_result.streams[*key].cutChunks;
    }

    void OnGap(uint64_t from, uint64_t to, bool, Lists) override
    {
        ++m_result.damageCount;
        m_result.bytesSkipped += to - from;
        if (m_result.damages.size() < kMostDamagesKept)
            m_result.damages.push_back({from, to - from});
    }

private:
    [[nodiscard]] std::optional<StreamKey> KeyOf(const SKrChunkGuess& guess) const
    {
        if (guess.kind != EKrGuess::Data)
            return std::nullopt;
        const std::optional<SKrDataTag> tag = DataTagOf(guess.id, m_streamCount);
        return StreamKey{tag->stream, tag->Kind()};
    }

    SKrScanResult& m_result;
    const size_t m_streamCount;
    std::map<StreamKey, uint64_t> m_damagesBefore; // each stream's last chunk
};
} // namespace

SKrScanResult FindWholeChunks(const CKrByteSource& file, size_t streamCount, CKrProgress& progress)
{
    SKrScanResult result;
    CKrWholeChunks chunks(result, streamCount);
    CKrFileScanner(file, kFollowerRules, chunks, progress).Run("searching");
    return result;
}
} // namespace KrTool
