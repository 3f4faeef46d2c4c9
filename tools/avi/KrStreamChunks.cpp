#include "tools/avi/KrStreamChunks.h"

#include "format/KrChunkHeader.h"
#include "format/KrLimits.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrScanRules.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
// Even days of recording have fewer data chunks.
constexpr size_t kMostFoundChunks = size_t{1} << 24;

// Collects the chunks of one stream.
class CKrStreamScan final : public IKrScanListener
{
public:
    CKrStreamScan(size_t streamCount, uint32_t stream, std::optional<EKrStreamKind> kind)
        : m_streamCount(streamCount), m_stream(stream), m_kind(kind)
    {
    }

    void OnList(const SKrScannedList&, Lists) override {}
    void OnGap(uint64_t, uint64_t, bool, Lists) override {}

    void OnChunk(const SKrScannedChunk& chunk, Lists) override
    {
        if (!IsOfStream(chunk.guess.id))
            return;
        const bool isWrong = chunk.position == m_wrongAt;
        m_found.chunks.push_back({chunk.position + kChunkHeaderSize,
                                  isWrong
                                      ? static_cast<uint32_t>(chunk.end - chunk.position - kChunkHeaderSize)
                                      : chunk.guess.size,
                                  0});
    }

    void OnWrongSize(const SKrScannedChunk& chunk) override { m_wrongAt = chunk.position; }

    void OnLostChunk(const SKrChunkGuess& guess) override { m_found.lost += IsOfStream(guess.id) ? 1 : 0; }

    [[nodiscard]] bool IsFull() const override { return m_found.chunks.size() == kMostFoundChunks; }

    SKrFoundChunks Take()
    {
        m_found.cut = IsFull();
        return std::move(m_found);
    }

private:
    [[nodiscard]] bool IsOfStream(uint32_t id) const
    {
        const std::optional<SKrDataTag> tag = DataTagOf(id, m_streamCount);
        return tag && tag->stream == m_stream && (!m_kind || IsOfKind(tag->content, *m_kind));
    }

    const size_t m_streamCount;
    const uint32_t m_stream;
    const std::optional<EKrStreamKind> m_kind;
    SKrFoundChunks m_found;
    uint64_t m_wrongAt = UINT64_MAX; // the last chunk with a wrong size
};

constexpr SKrScanRules kAnyListRules = RulesForAnyList();

SKrFoundChunks Scan(const CKrByteSource& file, size_t streamCount, uint32_t stream,
                    std::optional<EKrStreamKind> kind, const SKrScanRules& rules, CKrProgress& progress)
{
    CKrStreamScan scan(streamCount, stream, kind);
    CKrFileScanner(file, rules, scan, progress).Run("searching");
    return scan.Take();
}

// The stream that the reader would choose according to the headers.
std::optional<uint32_t> StreamByHeaders(const SKrAviFacts& facts, EKrStreamKind kind)
{
    const SKrAviStream* stream =
        kind == EKrStreamKind::Audio ? FirstUsableAudioStream(facts) : FirstStream(facts.streams, kind);
    if (stream == nullptr)
        stream = FirstStream(facts.streams, kind);
    return stream != nullptr ? std::optional(stream->number) : std::nullopt;
}

// The same without headers: from the id of the first data chunk that the reader saw.
std::optional<uint32_t> StreamByFirstChunk(const CKrAviFile& file, EKrStreamKind kind)
{
    if (kind == EKrStreamKind::Video)
        return StreamDigits(SKrVideoAnswer(file.Reader()).chunkId);
    uint32_t id = 0;
    int valid = 0;
    SKrWaveFormatInfo format = {};
    const bool hasChunks = file.Reader().GetAudioStreamInfo(&format, &valid, &id, nullptr) != 0;
    return hasChunks ? StreamDigits(id) : std::nullopt;
}

// Whether the data chunks of a stream are of a kind, as far as its first one shows.
bool HasChunksOfKind(const CKrAviFile& file, uint32_t stream, EKrStreamKind kind)
{
    const auto properties = StreamProperties(file, stream);
    const auto content = properties ? ContentOf(properties->chunkId) : std::nullopt;
    return content && IsOfKind(*content, kind);
}

void CheckStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind, uint32_t wanted)
{
    CheckStreamNumber(file, facts, wanted);
    if (facts.streams.empty() || facts.streams[wanted].IsOfKind(kind))
        return;
    throw CKrToolError(file.Path(), Format("stream {} is of type '{}', not {}", wanted,
                                           FourCcText(facts.streams[wanted].type), KindName(kind)));
}

// The data chunk that an entry points at; nothing when there is none.
std::optional<SKrDataTag> TagAt(const CKrAviFile& file, const SKrChunkIndexEntry& entry, size_t streamCount)
{
    std::array<uint8_t, 4> id = {};
    if (entry.position < kChunkHeaderSize ||
        file.ReadAt(entry.position - kChunkHeaderSize, id.data(), id.size()) != id.size())
        return std::nullopt;
    return DataTagOf(GetLe32(id.data()), streamCount);
}

// What the entries of an index lead to.
struct SKrEntryCounts
{
    uint64_t right = 0;
    uint64_t ofOtherKind = 0; // data chunks with the stream's number
    uint64_t wrong = 0;
};

// Takes out what is in a stream beside its frames or sound, such as changes of the palette.
SKrEntryCounts CountEntries(const CKrAviFile& file, size_t streamCount, uint32_t stream, EKrStreamKind kind,
                            Chunks& chunks)
{
    SKrEntryCounts counts;
    const auto isBeside = [&](const SKrChunkIndexEntry& entry)
    {
        const std::optional<SKrDataTag> tag = TagAt(file, entry, streamCount);
        if (!tag || tag->stream != stream)
            ++counts.wrong;
        else if (IsOfKind(tag->content, kind))
            ++counts.right;
        else if (tag->content == EKrContent::Other)
            return true;
        else
            ++counts.ofOtherKind;
        return false;
    };
    std::erase_if(chunks, isBeside);
    return counts;
}

// The chunks that a stream's index leads to, and whether all of them are there.
struct SKrIndexedStreamChunks
{
    Chunks chunks;
    bool areRight = true;
};

// Nothing when there is no index that can be used.
std::optional<SKrIndexedStreamChunks> IndexedChunks(const CKrAviFile& file, const SKrAviFacts& facts,
                                                    uint32_t stream, EKrStreamKind kind, CKrReport& report)
{
    const std::optional<SKrStreamIndex> index = LoadStreamIndex(file, stream);
    if (!index || index->entries.empty())
        return std::nullopt;
    const std::string name = Format("the {} index", KindName(kind));
    Chunks chunks = ChunksOfIndex(*index);
    if (!IsPlausible(file, chunks))
    {
        report.Finding(Format("the chunks of {} are larger in total than the file; it is not used", name));
        return std::nullopt;
    }
    const SKrEntryCounts counts = CountEntries(file, facts.streams.size(), stream, kind, chunks);
    if (counts.right == 0 && counts.wrong == 0)
        return std::nullopt; // the index of a stream of another kind
    if (const uint64_t wrong = counts.wrong + counts.ofOtherKind; wrong != 0)
        report.Finding(Format("not at a chunk of stream {}: {} of {}; it is not used", stream,
                              Counted(wrong, "entry"), name));
    if (index->outside != 0)
        report.Finding(Format("past the end of the file: {} of {}", Counted(index->outside, "chunk"), name));
    return SKrIndexedStreamChunks{std::move(chunks), counts.wrong + counts.ofOtherKind == 0};
}

// How many more units than these chunks have the header of a stream announces, if the file can hold them.
uint64_t MissingUnits(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                      const SKrStreamChunks& stream)
{
    if (stream.stream >= facts.streams.size() || !facts.streams[stream.stream].IsOfKind(kind))
        return 0;
    const SKrAviStream& header = facts.streams[stream.stream];
    const bool isInBytes = kind == EKrStreamKind::Audio && header.sampleSize != 0;
    const uint64_t there = isInBytes ? TotalBytes(stream.chunks) / header.sampleSize : stream.chunks.size();
    const uint64_t most = file.Length() / (isInBytes ? header.sampleSize : kSmallestChunk);
    return header.length <= most && header.length > there ? header.length - there : 0;
}

SKrStreamChunks TakeFound(uint32_t stream, SKrFoundChunks found, CKrReport& report)
{
    if (found.cut)
        report.Finding(
            Format("the file has too many chunks; those after the first {} are left out", kMostFoundChunks));
    if (found.lost != 0)
        report.Finding(
            Format("left out: {} of stream {} with incomplete data", Counted(found.lost, "chunk"), stream));
    return {stream, false, std::move(found.chunks)};
}

// The chunks of a stream whose index is wrong or incomplete. Lists may be wrong, too.
SKrStreamChunks FindDamagedChunks(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                                  const SKrStreamChunks& indexed, bool areRight, CKrReport& report,
                                  CKrProgress& progress)
{
    SKrFoundChunks found = Scan(file, facts.streams.size(), indexed.stream, kind, kFollowerRules, progress);
    if (areRight && found.chunks.size() <= indexed.chunks.size())
        return indexed;
    if (areRight)
        report.Finding(Format("missing in the {} index: {} of stream {}; it is not used", KindName(kind),
                              Counted(found.chunks.size() - indexed.chunks.size(), "chunk"), indexed.stream));
    return TakeFound(indexed.stream, std::move(found), report);
}

// The chunks of a stream that no index covers.
SKrStreamChunks FindChunks(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                           uint32_t stream, CKrReport& report, CKrProgress& progress)
{
    report.Note(Format("{} {}: found by scanning the file (no index)", KindName(kind), stream));
    return TakeFound(stream, ScanForChunks(file, facts.streams.size(), stream, kind, progress), report);
}
} // namespace

SKrFoundChunks ScanForChunks(const CKrByteSource& file, size_t streamCount, uint32_t stream,
                             std::optional<EKrStreamKind> kind, CKrProgress& progress)
{
    return Scan(file, streamCount, stream, kind, kAnyListRules, progress);
}

void CheckStreamNumber(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t wanted)
{
    if (facts.streams.empty())
        return; // bare chunks: a scan shows which exist
    if (wanted >= facts.streams.size())
        throw CKrToolError(file.Path(), Format("there is no stream {}: the file has {}", wanted,
                                               Counted(facts.streams.size(), "stream")));
}

const char* SourceName(const SKrStreamChunks& stream)
{
    return stream.fromIndex ? "index" : "chunk search";
}

std::optional<uint32_t> StreamNumber(const std::optional<uint64_t>& wanted)
{
    if (!wanted)
        return std::nullopt;
    return static_cast<uint32_t>(std::min<uint64_t>(*wanted, UINT32_MAX));
}

// Some programs number the chunks by their order, not by that of the headers.
std::optional<uint32_t> DefaultStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind)
{
    const std::optional<uint32_t> byHeaders = StreamByHeaders(facts, kind);
    if (byHeaders && HasChunksOfKind(file, *byHeaders, kind))
        return byHeaders;
    for (const SKrAviStream& stream : facts.streams)
    {
        if (!stream.IsOfKind(kind) && HasChunksOfKind(file, stream.number, kind))
            return stream.number;
    }
    return byHeaders ? byHeaders : StreamByFirstChunk(file, kind);
}

uint32_t ChooseStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                      std::optional<uint32_t> wanted)
{
    if (wanted)
        CheckStream(file, facts, kind, *wanted);
    const std::optional<uint32_t> stream = wanted ? wanted : DefaultStream(file, facts, kind);
    if (!stream)
        throw CKrToolError(file.Path(), Format("the file has no {} stream", KindName(kind)));
    return *stream;
}

SKrStreamChunks ChunksOfStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                               std::optional<uint32_t> wanted, CKrReport& report, CKrProgress& progress)
{
    const uint32_t number = ChooseStream(file, facts, kind, wanted);
    std::optional<SKrIndexedStreamChunks> indexed = IndexedChunks(file, facts, number, kind, report);
    SKrStreamChunks stream;
    if (indexed)
        stream = {number, true, std::move(indexed->chunks)};
    else
        stream = FindChunks(file, facts, kind, number, report, progress);
    if (indexed && (!indexed->areRight || MissingUnits(file, facts, kind, stream) != 0))
        stream = FindDamagedChunks(file, facts, kind, stream, indexed->areRight, report, progress);
    if (kind == EKrStreamKind::Video && MissingUnits(file, facts, kind, stream) != 0)
        report.Finding(Format("stream {} has {}; its header announces {}", number,
                              Counted(stream.chunks.size(), "frame"), facts.streams[number].length));
    return stream;
}

bool IsPlausible(const CKrByteSource& file, const Chunks& index)
{
    return TotalBytes(index) <= file.Length();
}

uint64_t TotalBytes(const Chunks& chunks)
{
    uint64_t total = 0;
    for (const SKrChunkIndexEntry& chunk : chunks)
        total += chunk.size;
    return total;
}

uint64_t CountCutChunks(const CKrByteSource& file, const Chunks& chunks)
{
    return static_cast<uint64_t>(std::ranges::count_if(
        chunks, [&file](auto& chunk) { return chunk.position + chunk.size > file.Length(); }));
}
} // namespace KrTool
