#include "tools/avi/KrStreamChunks.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
// The reader keeps a record of each match until its search ends, so a long search is taken in stretches.
constexpr uint64_t kMatchesPerSearch = 65536;

// Even days of recording have fewer data chunks.
constexpr size_t kMostFoundChunks = size_t{1} << 24;

constexpr uint64_t kReadersChoice = UINT64_MAX;

constexpr uint32_t kNoStream = UINT32_MAX;

// One stretch of a search: appends matches, and returns the position where the next stretch starts, or
// nothing when there are no more matches.
std::optional<uint64_t> SearchStretch(const CKrAviFile& file, uint64_t from, Chunks& chunks,
                                      CKrProgress& progress)
{
    uint64_t matches = 0;
    for (int more = 1; more != 0 && chunks.size() < kMostFoundChunks; ++matches)
    {
        SKrRiffChunkInfo chunk{};
        // 0 with the last one, too
        more =
            file.Reader().FindNextChunk(&chunk.ckid, &chunk.fccType, &chunk.cksize, &chunk.offset, nullptr);
        if (chunk.offset <= from || chunk.offset > file.Length())
            return std::nullopt;
        chunks.push_back({chunk.offset, chunk.cksize, 0});
        from = RoundUpToEven(chunk.offset + chunk.cksize);
        progress.Advance(chunk.offset);
        if (more != 0 && matches + 1 == kMatchesPerSearch)
            return from;
    }
    return std::nullopt;
}

// The stream that the reader would choose according to the headers.
std::optional<uint32_t> StreamByHeaders(const SKrAviFacts& facts, EKrStreamKind kind)
{
    const SKrAviStream* const stream =
        kind == EKrStreamKind::Video ? FirstVideoStream(facts) : FirstUsableAudioStream(facts);
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

void CheckStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind, uint32_t wanted)
{
    if (facts.streams.empty())
        return; // bare chunks: the search shows which exist
    const std::string name = "stream " + std::to_string(wanted);
    if (wanted >= facts.streams.size())
        throw CKrToolError(file.Path(), "there is no " + name + ": the file has " +
                                            Counted(facts.streams.size(), "stream"));
    const SKrAviStream& stream = facts.streams[wanted];
    if (!stream.IsOfKind(kind))
        throw CKrToolError(file.Path(),
                           name + " is of type '" + FourCcText(stream.type) + "', not " + KindName(kind));
}

void ReportWrongEntries(const CKrAviFile& file, const SKrStreamChunks& result, EKrStreamKind kind,
                        CKrReport& report)
{
    uint64_t wrong = 0;
    for (const SKrChunkIndexEntry& entry : result.chunks)
        wrong += StreamOfEntry(file, entry, kind) != result.stream ? 1 : 0;
    if (wrong != 0)
        report.Finding("not at a chunk of stream " + std::to_string(result.stream) + ": " +
                       Counted(wrong, "entry") + " of the " + KindName(kind) + " index");
}

// The chunks of a stream that no index covers.
SKrStreamChunks FindChunks(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                           uint32_t stream, CKrReport& report, CKrProgress& progress)
{
    report.Note(std::string(KindName(kind)) + ' ' + std::to_string(stream) +
                ": found by scanning the file (no index); empty chunks are skipped");
    SKrFoundChunks found = SearchChunks(file, DataChunkIds(stream, facts.streams.size(), kind), progress);
    if (found.cut)
        report.Finding("the file has too many chunks; those after the first " +
                       std::to_string(kMostFoundChunks) + " are left out");
    return {stream, false, std::move(found.chunks)};
}
} // namespace

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

std::optional<uint32_t> DefaultStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind)
{
    if (const auto covered = StreamByHeaders(facts, kind))
        return covered;
    const SKrAviStream* const first = FirstStream(facts.streams, kind);
    return first != nullptr ? std::optional(first->number) : StreamByFirstChunk(file, kind);
}

std::optional<Chunks> LoadIndex(const CKrAviFile& file, EKrStreamKind kind, SKrAudioChunkPattern* pattern)
{
    CArray<SKrChunkIndexEntry> entries;
    SKrAudioChunkPattern ignored = {};
    try
    {
        const int loaded =
            kind == EKrStreamKind::Video
                ? file.Reader().LoadVideoIndex(entries)
                : file.Reader().LoadAudioIndex(entries, pattern != nullptr ? pattern : &ignored);
        if (loaded == 0)
            return std::nullopt;
    }
    catch (const CInvalidArgException&)
    {
        return std::nullopt; // its length differed between passes
    }
    catch (const CMemoryException&)
    {
        return std::nullopt;
    }
    return Chunks(entries.GetData(), entries.GetData() + entries.GetSize());
}

std::optional<uint32_t> StreamOfEntry(const CKrAviFile& file, const SKrChunkIndexEntry& entry,
                                      EKrStreamKind kind)
{
    std::array<uint8_t, 4> bytes = {};
    if (entry.position < kChunkHeaderSize ||
        file.ReadAt(entry.position - kChunkHeaderSize, bytes.data(), bytes.size()) != bytes.size())
        return std::nullopt;
    const uint32_t id = GetLe32(bytes.data());
    const std::optional<EKrContent> content = ContentOf(id);
    return content && IsOfKind(*content, kind) ? StreamDigits(id) : std::nullopt;
}

std::optional<uint32_t> StreamOfIndex(const CKrAviFile& file, const SKrAviFacts& facts, const Chunks& index,
                                      EKrStreamKind kind)
{
    if (index.empty())
        return std::nullopt;
    const std::optional<uint32_t> stream = StreamOfEntry(file, index.front(), kind);
    return stream ? stream : StreamByHeaders(facts, kind);
}

SKrFoundChunks SearchChunks(const CKrAviFile& file, const std::vector<uint32_t>& ids, CKrProgress& progress)
{
    SKrFoundChunks found;
    CDWordArray wanted;
    for (const uint32_t id : ids)
        wanted.Add(id);
    progress.Begin("searching", file.Length(), EKrUnit::Byte);
    const bool isRiff = file.Reader().FindFirstRiffSegment() != 0;
    std::optional<uint64_t> from = isRiff ? kListHeaderSize : kReadersChoice;
    while (from && file.Reader().FindFirstChunk(&wanted, *from) != 0)
        from = SearchStretch(file, *from == kReadersChoice ? 0 : *from, found.chunks, progress);
    file.Reader().EndChunkSearch();
    progress.End();
    found.cut = found.chunks.size() == kMostFoundChunks;
    return found;
}

SKrStreamChunks ChunksOfStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                               std::optional<uint32_t> wanted, CKrReport& report, CKrProgress& progress)
{
    if (wanted)
        CheckStream(file, facts, kind, *wanted);
    const std::optional<uint32_t> byDefault = DefaultStream(file, facts, kind);
    if (!wanted && !byDefault)
        throw CKrToolError(file.Path(), std::string("the file has no ") + KindName(kind) + " stream");

    std::optional<Chunks> index = LoadIndex(file, kind);
    const bool hasIndex = index && !index->empty();
    // The headers and the index differ where streams are numbered by the order of their chunks.
    const uint32_t covered =
        hasIndex ? StreamOfIndex(file, facts, *index, kind).value_or(kNoStream) : kNoStream;
    const uint32_t preferred = covered != kNoStream ? covered : byDefault.value_or(0);
    const uint32_t stream = wanted.value_or(preferred);
    if (covered != stream)
        return FindChunks(file, facts, kind, stream, report, progress);
    if (!IsPlausible(file, *index))
    {
        report.Finding(std::string("the chunks of the ") + KindName(kind) +
                       " index are larger in total than the file; it is not used");
        return FindChunks(file, facts, kind, stream, report, progress);
    }
    SKrStreamChunks result = {stream, true, std::move(*index)};
    ReportWrongEntries(file, result, kind, report);
    return result;
}

bool IsPlausible(const CKrAviFile& file, const Chunks& index)
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

uint64_t CountCutChunks(const CKrAviFile& file, const Chunks& chunks)
{
    return static_cast<uint64_t>(std::ranges::count_if(
        chunks, [&file](auto& chunk) { return chunk.position + chunk.size > file.Length(); }));
}
} // namespace KrTool
