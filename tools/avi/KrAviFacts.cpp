#include "tools/avi/KrAviFacts.h"

#include "format/KrBytes.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkWalk.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
constexpr uint32_t kLongestName = 256;

// Real headers have a few dozen chunks.
constexpr uint64_t kMostHeaderChunks = 10000;

// Reads the facts of one file, list by list.
class CKrFactReader
{
public:
    CKrFactReader(const CKrAviFile& file, CKrProgress& progress)
        : m_file(file), m_progress(progress), m_budget(kMostHeaderChunks)
    {
    }

    SKrAviFacts Read()
    {
        const std::vector<SKrRiffChunkNode*> segments = Segments(m_file, m_budget);
        for (const SKrRiffChunkNode* const node : segments)
            m_facts.segments.push_back(node->chunk);
        if (!segments.empty())
            ReadFirstSegment(*segments.front());
        m_facts.cut = m_facts.cut || m_budget.Exceeded();
        return std::move(m_facts);
    }

private:
    using Nodes = std::vector<SKrRiffChunkNode*>;

    Nodes Children(SKrRiffChunkNode& parent)
    {
        return SubChunks(m_file, parent, EndPosition(parent.chunk), m_budget, m_progress);
    }

    // A chunk's data, cut at `most` bytes and at the end of the file.
    std::vector<uint8_t> Data(const SKrRiffChunkInfo& chunk, uint32_t most) const
    {
        std::vector<uint8_t> data(std::min(chunk.cksize, most));
        data.resize(m_file.ReadAt(chunk.offset, data.data(), data.size()));
        return data;
    }

    static bool IsList(const SKrRiffChunkInfo& chunk, uint32_t type)
    {
        return chunk.ckid == kFccList && chunk.fccType == type;
    }

    void ReadFirstSegment(SKrRiffChunkNode& segment)
    {
        bool hasHeaderList = false;
        for (SKrRiffChunkNode* const child : Children(segment))
        {
            const SKrRiffChunkInfo& chunk = child->chunk;
            if (IsList(chunk, kFccHdrl) && !hasHeaderList)
            {
                hasHeaderList = true;
                ReadHeaderList(*child);
            }
            else if (IsList(chunk, kFccMovi) && !m_facts.movi)
            {
                m_facts.movi = chunk;
            }
            else if (chunk.ckid == kFccIdx1 && !m_facts.idx1)
            {
                m_facts.idx1 = chunk;
            }
        }
    }

    void ReadHeaderList(SKrRiffChunkNode& list)
    {
        for (SKrRiffChunkNode* const child : Children(list))
        {
            const SKrRiffChunkInfo& chunk = child->chunk;
            if (chunk.ckid == kFccAvih && !m_facts.hasMainHeader)
                ReadMainHeader(chunk);
            else if (IsList(chunk, kFccStrl))
                ReadStreamList(*child);
            else if (IsList(chunk, kFccOdml))
                ReadOpenDmlList(*child);
        }
    }

    void ReadMainHeader(const SKrRiffChunkInfo& chunk)
    {
        const std::vector<uint8_t> data = Data(chunk, SKrMainHeader::kEncodedSize);
        CKrByteReader in(data);
        m_facts.hasMainHeader = true;
        static_cast<void>(Decode(in, m_facts.mainHeader));
    }

    void ReadOpenDmlList(SKrRiffChunkNode& list)
    {
        for (const SKrRiffChunkNode* const child : Children(list))
        {
            if (child->chunk.ckid == kFccDmlh && !m_facts.declaredFramesInAll)
                m_facts.declaredFramesInAll = CKrByteReader(Data(child->chunk, 4)).U32Le();
        }
    }

    void ReadStreamList(SKrRiffChunkNode& list)
    {
        if (m_facts.streams.size() == kMostStreams)
        {
            m_facts.cut = true;
            return;
        }
        SKrAviStream& stream = m_facts.streams.emplace_back();
        stream.number = static_cast<uint32_t>(m_facts.streams.size() - 1);
        for (const SKrRiffChunkNode* const child : Children(list))
            ReadStreamChunk(child->chunk, stream);
    }

    void ReadStreamChunk(const SKrRiffChunkInfo& chunk, SKrAviStream& stream) const
    {
        if (chunk.ckid == kFccStrh && !stream.hasHeader)
        {
            stream.TakeHeader(Data(chunk, SKrStreamHeader::kEncodedSize));
        }
        else if (chunk.ckid == kFccStrf && stream.format.empty())
        {
            stream.format = Data(chunk, kLargestFormat);
        }
        else if (chunk.ckid == kFccStrn && stream.name.empty())
        {
            const std::vector<uint8_t> data = Data(chunk, kLongestName);
            stream.name.assign(data.begin(), std::find(data.begin(), data.end(), uint8_t{0}));
        }
        else if (chunk.ckid == kFccIndx && !stream.superIndexPosition)
        {
            stream.superIndexPosition = HeaderPosition(chunk);
        }
    }

    const CKrAviFile& m_file;
    CKrProgress& m_progress;
    CKrNodeBudget m_budget;
    SKrAviFacts m_facts;
};

} // namespace

void SKrAviStream::TakeHeader(std::span<const uint8_t> bytes)
{
    hasHeader = true;
    static_cast<void>(DecodeStreamHeader(bytes, *this));
}

SKrAviFacts ReadFacts(const CKrAviFile& file, CKrProgress& progress)
{
    progress.Begin("reading headers", file.Length(), EKrUnit::Byte);
    return CKrFactReader(file, progress).Read();
}

bool SKrAudioFormat::IsUncompressed() const
{
    const bool knownTag = formatTag == kFormatTagPcm || formatTag == kFormatTagFloat ||
                          formatTag == kFormatTagALaw || formatTag == kFormatTagMuLaw;
    return knownTag && blockAlign != 0 && samplesPerSec != 0;
}

SKrAudioFormat AudioFormat(const SKrAviStream& stream)
{
    return {DecodeResolvedWaveFormat(stream.format)};
}

bool IsCodedPicture(uint32_t compression)
{
    constexpr std::array<uint32_t, 4> kBlackIsZero = {kFccDib, KrFourCC("RGB "), KrFourCC("Y800"),
                                                      KrFourCC("GREY")};
    return IsPrintableFourCc(compression) &&
           std::ranges::find(kBlackIsZero, compression) == kBlackIsZero.end();
}

uint32_t DeclaredFrames(const SKrAviFacts& facts)
{
    return std::max(facts.mainHeader.totalFrames, facts.declaredFramesInAll.value_or(0));
}

const SKrAviStream* FirstStream(const std::vector<SKrAviStream>& streams, EKrStreamKind kind)
{
    const auto found = std::ranges::find_if(streams, [kind](auto& stream) { return stream.IsOfKind(kind); });
    return found == streams.end() ? nullptr : &*found;
}

const SKrAviStream* FirstVideoStream(const SKrAviFacts& facts)
{
    return FirstStream(facts.streams, EKrStreamKind::Video);
}

const SKrAviStream* FirstUsableAudioStream(const SKrAviFacts& facts)
{
    const auto usable = [](const SKrAviStream& stream)
    {
        const SKrAudioFormat format = AudioFormat(stream);
        return stream.IsAudio() && format.bitsPerSample != 0 && format.samplesPerSec != 0 &&
               format.channels != 0;
    };
    const auto found = std::ranges::find_if(facts.streams, usable);
    return found == facts.streams.end() ? nullptr : &*found;
}

std::string UnindexedSoundText(const SKrAviFacts& facts)
{
    if (FirstUsableAudioStream(facts) != nullptr ||
        !std::ranges::any_of(facts.streams, &SKrAviStream::IsAudio))
        return {};
    return "the reader cannot index the sound: the format of an audio stream needs a sample rate, "
           "channels and bits per sample";
}

std::string StartText(const SKrAviStream& stream, uint32_t number)
{
    std::string text = "stream " + std::to_string(number) + " starts " + Counted(stream.start, "unit");
    if (stream.rate != 0 && stream.scale != 0)
    {
        const double seconds = static_cast<double>(uint64_t{stream.start} * stream.scale) / stream.rate;
        text += Format(" ({:.3f} s)", seconds);
    }
    return text + " late";
}

std::string KindOf(const SKrAviFacts& facts)
{
    if (facts.segments.empty())
        return "bare chunks";
    const bool hasSuperIndex = std::ranges::any_of(facts.streams, [](auto& stream)
                                                   { return stream.superIndexPosition.has_value(); });
    const bool isOpenDml = facts.segments.size() > 1 || facts.declaredFramesInAll || hasSuperIndex;
    return isOpenDml ? "AVI with OpenDML" : "AVI 1.0";
}
} // namespace KrTool
