#include "tools/input/KrAviFacts.h"

#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"
#include "tools/input/KrAviFile.h"
#include "tools/input/KrChunkWalk.h"
#include "tools/input/KrFormatTags.h"
#include "tools/input/KrLittleEndian.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

namespace KrTool
{
namespace
{
constexpr uint32_t kAvih = FourCc('a', 'v', 'i', 'h');
constexpr uint32_t kDmlh = FourCc('d', 'm', 'l', 'h');
constexpr uint32_t kHdrl = FourCc('h', 'd', 'r', 'l');
constexpr uint32_t kIdx1 = FourCc('i', 'd', 'x', '1');
constexpr uint32_t kIndx = FourCc('i', 'n', 'd', 'x');
constexpr uint32_t kList = FourCc('L', 'I', 'S', 'T');
constexpr uint32_t kMovi = FourCc('m', 'o', 'v', 'i');
constexpr uint32_t kOdml = FourCc('o', 'd', 'm', 'l');
constexpr uint32_t kStrf = FourCc('s', 't', 'r', 'f');
constexpr uint32_t kStrh = FourCc('s', 't', 'r', 'h');
constexpr uint32_t kStrl = FourCc('s', 't', 'r', 'l');
constexpr uint32_t kStrn = FourCc('s', 't', 'r', 'n');

constexpr uint32_t kMainHeaderSize = 56;
constexpr uint32_t kStreamHeaderSize = 56;
constexpr uint32_t kLongestName = 256;

// Headers have a few dozen chunks; ten thousand are no header any more.
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
        std::transform(segments.begin(), segments.end(), std::back_inserter(m_facts.segments),
                       [](const SKrRiffChunkNode* node) { return node->chunk; });
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
        return chunk.ckid == kList && chunk.fccType == type;
    }

    void ReadFirstSegment(SKrRiffChunkNode& segment)
    {
        bool hasHeaderList = false;
        for (SKrRiffChunkNode* const child : Children(segment))
        {
            const SKrRiffChunkInfo& chunk = child->chunk;
            if (IsList(chunk, kHdrl) && !hasHeaderList)
            {
                hasHeaderList = true;
                ReadHeaderList(*child);
            }
            else if (IsList(chunk, kMovi) && !m_facts.movi)
            {
                m_facts.movi = chunk;
            }
            else if (chunk.ckid == kIdx1 && !m_facts.idx1)
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
            if (chunk.ckid == kAvih && !m_facts.hasMainHeader)
                ReadMainHeader(chunk);
            else if (IsList(chunk, kStrl))
                ReadStreamList(*child);
            else if (IsList(chunk, kOdml))
                ReadOpenDmlList(*child);
        }
    }

    void ReadMainHeader(const SKrRiffChunkInfo& chunk)
    {
        const std::vector<uint8_t> data = Data(chunk, kMainHeaderSize);
        m_facts.hasMainHeader = true;
        m_facts.mainFlags = GetLe32(data, 12);
        m_facts.declaredFrames = GetLe32(data, 16);
        m_facts.declaredStreams = GetLe32(data, 24);
    }

    void ReadOpenDmlList(SKrRiffChunkNode& list)
    {
        for (const SKrRiffChunkNode* const child : Children(list))
        {
            if (child->chunk.ckid == kDmlh && !m_facts.declaredFramesInAll)
                m_facts.declaredFramesInAll = GetLe32(Data(child->chunk, 4), 0);
        }
    }

    void ReadStreamList(SKrRiffChunkNode& list)
    {
        if (m_facts.streams.size() == kMostStreams)
        {
            m_facts.cut = true;
            return;
        }
        SKrStreamHeader& stream = m_facts.streams.emplace_back();
        stream.number = static_cast<uint32_t>(m_facts.streams.size() - 1);
        for (const SKrRiffChunkNode* const child : Children(list))
            ReadStreamChunk(child->chunk, stream);
    }

    void ReadStreamChunk(const SKrRiffChunkInfo& chunk, SKrStreamHeader& stream) const
    {
        if (chunk.ckid == kStrh && !stream.hasHeader)
        {
            ReadStreamHeader(chunk, stream);
        }
        else if (chunk.ckid == kStrf && stream.format.empty())
        {
            stream.format = Data(chunk, kLargestFormat);
        }
        else if (chunk.ckid == kStrn && stream.name.empty())
        {
            const std::vector<uint8_t> data = Data(chunk, kLongestName);
            stream.name.assign(data.begin(), std::find(data.begin(), data.end(), uint8_t{0}));
        }
        else if (chunk.ckid == kIndx && !stream.superIndexPosition)
        {
            stream.superIndexPosition = HeaderPosition(chunk);
        }
    }

    void ReadStreamHeader(const SKrRiffChunkInfo& chunk, SKrStreamHeader& stream) const
    {
        const std::vector<uint8_t> data = Data(chunk, kStreamHeaderSize);
        stream.hasHeader = true;
        stream.type = GetLe32(data, 0);
        stream.handler = GetLe32(data, 4);
        stream.flags = GetLe32(data, 8);
        stream.scale = GetLe32(data, 20);
        stream.rate = GetLe32(data, 24);
        stream.start = GetLe32(data, 28);
        stream.length = GetLe32(data, 32);
        stream.sampleSize = GetLe32(data, 44);
    }

    const CKrAviFile& m_file;
    CKrProgress& m_progress;
    CKrNodeBudget m_budget;
    SKrAviFacts m_facts;
};

constexpr size_t kExtensibleSubFormat = 24; // of its bytes, the first two are the tag
} // namespace

bool SKrStreamHeader::IsVideo() const
{
    return type == FourCc('v', 'i', 'd', 's');
}

bool SKrStreamHeader::IsAudio() const
{
    return type == FourCc('a', 'u', 'd', 's');
}

SKrAviFacts ReadFacts(const CKrAviFile& file, CKrProgress& progress)
{
    progress.Begin("reading headers", file.Length(), EKrUnit::Byte);
    return CKrFactReader(file, progress).Read();
}

bool SKrAudioFormat::IsUncompressed() const
{
    const bool knownTag = tag == kTagPcm || tag == kTagFloat || tag == kTagALaw || tag == kTagMuLaw;
    return knownTag && blockAlign != 0 && samplesPerSec != 0;
}

SKrAudioFormat AudioFormat(const SKrStreamHeader& stream)
{
    SKrAudioFormat format;
    format.tag = GetLe16(stream.format, 0);
    format.channels = GetLe16(stream.format, 2);
    format.samplesPerSec = GetLe32(stream.format, 4);
    format.avgBytesPerSec = GetLe32(stream.format, 8);
    format.blockAlign = GetLe16(stream.format, 12);
    format.bitsPerSample = GetLe16(stream.format, 14);
    format.extensible = format.tag == kTagExtensible;
    if (format.extensible)
        format.tag = GetLe16(stream.format, kExtensibleSubFormat);
    return format;
}

const SKrStreamHeader* FirstVideoStream(const SKrAviFacts& facts)
{
    const auto found = std::find_if(facts.streams.begin(), facts.streams.end(),
                                    [](const SKrStreamHeader& stream) { return stream.IsVideo(); });
    return found == facts.streams.end() ? nullptr : &*found;
}

const SKrStreamHeader* FirstUsableAudioStream(const SKrAviFacts& facts)
{
    const auto usable = [](const SKrStreamHeader& stream)
    {
        const SKrAudioFormat format = AudioFormat(stream);
        return stream.IsAudio() && format.bitsPerSample != 0 && format.samplesPerSec != 0 &&
               format.channels != 0;
    };
    const auto found = std::find_if(facts.streams.begin(), facts.streams.end(), usable);
    return found == facts.streams.end() ? nullptr : &*found;
}

std::string UnindexedSoundText(const SKrAviFacts& facts)
{
    if (FirstUsableAudioStream(facts) != nullptr ||
        !std::ranges::any_of(facts.streams, &SKrStreamHeader::IsAudio))
        return {};
    return "the reader indexes no sound here: that needs an audio stream whose format has a sample rate, "
           "channels and bits per sample";
}

std::string StartText(const SKrStreamHeader& stream, uint32_t number)
{
    std::string text = "stream " + std::to_string(number) + " starts " + Counted(stream.start, "unit");
    if (stream.rate != 0 && stream.scale != 0)
    {
        std::array<char, 32> digits; // of the largest start, with three decimals
        const double seconds = static_cast<double>(uint64_t{stream.start} * stream.scale) / stream.rate;
        const auto end =
            std::to_chars(digits.data(), digits.data() + digits.size(), seconds, std::chars_format::fixed, 3);
        text += " (" + std::string(digits.data(), end.ptr) + " s)";
    }
    return text + " late";
}

std::string KindOf(const SKrAviFacts& facts)
{
    if (facts.segments.empty())
        return "bare chunks";
    const bool hasSuperIndex =
        std::any_of(facts.streams.begin(), facts.streams.end(),
                    [](const SKrStreamHeader& stream) { return stream.superIndexPosition.has_value(); });
    const bool isOpenDml = facts.segments.size() > 1 || facts.declaredFramesInAll || hasSuperIndex;
    return isOpenDml ? "AVI with OpenDML" : "AVI 1.0";
}
} // namespace KrTool
