#include "tools/recover/KrGapFilling.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/copier/KrCopyJob.h"
#include "tools/copier/KrSoundJoin.h"
#include "tools/copier/KrStreamTime.h"

#include <algorithm>
#include <span>

namespace KrTool
{
namespace
{
constexpr uint64_t kMostFilled = uint64_t{1} << 20; // frames; more than correct headers declare
constexpr uint64_t kLargestFill = uint64_t{1} << 20;

class CKrGapFilling
{
public:
    CKrGapFilling(const SKrCarriedHeader& header, const SKrScannedChunks& scanned,
                  const std::vector<SKrExpectedChunk>& expected, uint64_t fileLength, bool fills)
        : m_header(header), m_scanned(scanned), m_expected(expected), m_fileLength(fileLength),
          m_fills(fills), m_silenceLeft(MostSilence(fileLength))
    {
        m_out.streams.resize(header.streams.size());
        m_out.isNamed = !expected.empty();
        m_runBytes.resize(header.streams.size());
        m_lastSize.resize(header.streams.size());
        for (const SKrCarriedStream& stream : header.streams)
        {
            m_unit.push_back(BytesOfUnit(stream));
            m_isPlain.push_back(IsPlainSound(stream));
            m_isVideo.push_back(stream.Fields().type == kFccVids);
            const SKrWaveFormat format = DecodeResolvedWaveFormat(stream.Format());
            m_align.push_back(m_isPlain.back() ? format.blockAlign : 1);
            m_silence.push_back(m_isPlain.back() ? SilenceByte(format.bitsPerSample) : 0);
        }
    }

    SKrFilledChunks Run()
    {
        if (m_out.isNamed)
            FillByIndex();
        else
            FillByLengths();
        const std::vector<uint64_t> lost = LostByLengths();
        for (size_t stream = 0; stream < lost.size(); ++stream)
            m_out.streams[stream].units = std::max(m_out.streams[stream].units, lost[stream]);
        for (const SKrCarriedChunk& chunk : m_scanned.chunks)
        {
            if (m_isVideo[chunk.stream] && chunk.size == 0)
                ++m_out.streams[chunk.stream].empty;
        }
        return std::move(m_out);
    }

private:
    void Add(const SKrCarriedChunk& chunk, bool isKeyKnown)
    {
        m_out.chunks.push_back(chunk);
        m_out.isKeyKnown.push_back(isKeyKnown);
    }

    [[nodiscard]] uint64_t UnitsOf(uint32_t stream, uint64_t bytes) const
    {
        return m_unit[stream] == 0 ? 1 : bytes / m_unit[stream];
    }

    // A frame without data for a picture; zeros for sound, also where each packet is a unit: players do not
    // count those without data.
    void AddFill(uint32_t stream, uint64_t bytes)
    {
        const uint32_t id = m_isVideo[stream] ? KrFourCC("00dc") : KrFourCC("00wb");
        SKrCarriedChunk made = {SKrCarriedChunk::kMade | m_silence[stream], 0,
                                static_cast<uint16_t>(id >> 16), static_cast<uint8_t>(stream), 0};
        if (!m_isVideo[stream])
        {
            if (m_unit[stream] == 0)
                bytes = std::clamp<uint64_t>(bytes, 1, kLargestFill);
            if (bytes > m_silenceLeft)
                return;
            m_silenceLeft -= bytes;
        }
        m_out.streams[stream].filled += UnitsOf(stream, bytes);
        if (m_isVideo[stream])
            return Add(made, true);
        for (made.flags = SKrCarriedChunk::kKeyFrame; bytes > 0; bytes -= made.size)
        {
            made.size = static_cast<uint32_t>(std::min(bytes, kLargestFill));
            Add(made, true);
        }
    }

    // What is found of a stream where its index has something else stands for that.
    void FillByIndex()
    {
        std::vector<size_t> entryOf(m_scanned.chunks.size(), SKrExpectedChunk::kLost);
        for (size_t entry = 0; entry < m_expected.size(); ++entry)
        {
            if (m_expected[entry].found != SKrExpectedChunk::kLost)
                entryOf[m_expected[entry].found] = entry;
        }
        size_t next = 0; // entry
        std::vector<uint64_t> others(m_unit.size());
        for (size_t number = 0; number < m_scanned.chunks.size(); ++number)
        {
            SKrCarriedChunk chunk = m_scanned.chunks[number];
            const size_t entry = entryOf[number];
            if (entry == SKrExpectedChunk::kLost)
            {
                others[chunk.stream] += chunk.IsPaletteChange() ? 0 : 1;
                Add(chunk, chunk.IsPaletteChange());
                continue;
            }
            for (; next < entry; ++next)
                PassEntry(m_expected[next], others, m_fills);
            next = std::max(next, entry + 1);
            chunk.flags = m_expected[entry].isKey ? SKrCarriedChunk::kKeyFrame : uint8_t{0};
            Add(chunk, true);
        }
        for (; next < m_expected.size(); ++next)
            PassEntry(m_expected[next], others, false); // nothing follows that could be early
    }

    void PassEntry(const SKrExpectedChunk& entry, std::vector<uint64_t>& others, bool fills)
    {
        if (entry.found != SKrExpectedChunk::kLost)
            return;
        if (others[entry.stream] != 0)
        {
            --others[entry.stream];
            return;
        }
        SKrStreamLoss& loss = m_out.streams[entry.stream];
        ++loss.chunks;
        loss.units += UnitsOf(entry.stream, entry.size);
        if (fills)
            AddFill(entry.stream, entry.size);
    }

    // The lost units are spread over the damaged places by their bytes.
    void FillByLengths()
    {
        const std::vector<uint64_t> missing = MissingUnits();
        std::vector<uint64_t> done(missing.size());
        uint64_t lostBytes = 0;
        size_t number = 0;
        const auto copyTo = [&](size_t place)
        {
            for (; number < place; ++number)
            {
                const SKrCarriedChunk& chunk = m_scanned.chunks[number];
                m_runBytes[chunk.stream] += chunk.size;
                m_lastSize[chunk.stream] = chunk.size;
                Add(chunk, chunk.IsPaletteChange());
            }
        };
        for (const SKrLostStretch& lost : m_scanned.lost)
        {
            copyTo(lost.place);
            CutBrokenSamples();
            lostBytes += lost.bytes;
            for (uint32_t stream = 0; stream < missing.size(); ++stream)
                FillShare(stream,
                          static_cast<uint64_t>(static_cast<double>(missing[stream]) *
                                                static_cast<double>(lostBytes) /
                                                static_cast<double>(m_scanned.lostBytes)),
                          done);
        }
        copyTo(m_scanned.chunks.size());
    }

    void FillShare(uint32_t stream, uint64_t upTo, std::vector<uint64_t>& done)
    {
        if (m_unit[stream] != 0 && upTo > done[stream])
            AddFill(stream, upTo - done[stream] > m_silenceLeft / m_unit[stream]
                                ? UINT64_MAX
                                : (upTo - done[stream]) * m_unit[stream]);
        for (uint64_t unit = done[stream]; unit < upTo && m_unit[stream] == 0; ++unit)
            AddFill(stream, m_lastSize[stream]);
        done[stream] = std::max(done[stream], upTo);
    }

    // Sound after damage starts with a whole sample frame.
    void CutBrokenSamples()
    {
        for (uint32_t stream = 0; stream < m_align.size(); ++stream)
        {
            uint64_t left = m_runBytes[stream] % m_align[stream];
            m_runBytes[stream] = 0;
            m_out.streams[stream].cutBytes += left;
            for (auto chunk = m_out.chunks.rbegin(); chunk != m_out.chunks.rend() && left > 0; ++chunk)
            {
                if (chunk->stream != stream)
                    continue;
                const uint64_t part = std::min<uint64_t>(left, chunk->size);
                chunk->size -= static_cast<uint32_t>(part);
                left -= part;
            }
        }
    }

    // By the lengths of the headers; 0 where the file was not completed.
    [[nodiscard]] std::vector<uint64_t> LostByLengths() const
    {
        std::vector<uint64_t> there(m_unit.size());
        for (const SKrCarriedChunk& chunk : m_scanned.chunks)
        {
            if (!chunk.IsPaletteChange())
                there[chunk.stream] += m_unit[chunk.stream] == 0 ? 1 : chunk.size;
        }
        std::vector<uint64_t> lost(m_unit.size());
        for (uint32_t stream = 0; stream < lost.size(); ++stream)
        {
            const uint64_t length = m_header.streams[stream].Fields().length;
            const uint64_t units = there[stream] / std::max(m_unit[stream], 1U);
            const uint64_t missing = length > units ? length - units : 0;
            const bool isPlausible =
                missing <= m_fileLength && (m_unit[stream] != 0 || missing <= kMostFilled);
            lost[stream] = isPlausible ? missing : 0;
        }
        return lost;
    }

    // What of it lies between chunks that are there: not where the end of the file is lost, too.
    [[nodiscard]] std::vector<uint64_t> MissingUnits() const
    {
        const std::vector<SKrLostStretch>& lost = m_scanned.lost;
        const bool endIsLost = !lost.empty() && lost.back().position + lost.back().bytes == m_fileLength;
        const bool canFill = m_fills && m_scanned.endIsThere && !endIsLost && !lost.empty();
        return canFill ? LostByLengths() : std::vector<uint64_t>(m_unit.size());
    }

    const SKrCarriedHeader& m_header;
    const SKrScannedChunks& m_scanned;
    const std::vector<SKrExpectedChunk>& m_expected;
    const uint64_t m_fileLength;
    const bool m_fills;
    uint64_t m_silenceLeft;       // bytes that may still be made
    std::vector<uint32_t> m_unit; // bytes of each stream's
    std::vector<bool> m_isPlain;
    std::vector<bool> m_isVideo;
    std::vector<uint32_t> m_align;
    std::vector<uint8_t> m_silence;
    std::vector<uint64_t> m_runBytes; // since the last damage
    std::vector<uint32_t> m_lastSize; // of the last chunk
    SKrFilledChunks m_out;
};
} // namespace

SKrFilledChunks FillGaps(const SKrCarriedHeader& header, const SKrScannedChunks& scanned,
                         const std::vector<SKrExpectedChunk>& expected, uint64_t fileLength, bool fills)
{
    return CKrGapFilling(header, scanned, expected, fileLength, fills).Run();
}
} // namespace KrTool
