#include "tools/map/KrFileSpans.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrFileScanner.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kMostSpans = size_t{1} << 24;  // days of recording
constexpr uint64_t kLongestZeroPadding = 65536; // the largest sectors
constexpr size_t kMostLists = 1000;
constexpr size_t kMostIndexes = size_t{1} << 16;

// Trusts chunks, and lists as far as their chunks confirm them.
constexpr SKrScanRules kMapRules = {
    .trust = EKrTrust::ChunkSizes,
    .chunks = kAnyList | kDataOrIndex | GuessesOf(EKrGuess::OtherData, EKrGuess::Header, EKrGuess::Printable),
    .reportsZeros = true,
    .levels = kDeepestLevel + 1,
    .search = {.chunks = kDataOrIndex,
               .lists = GuessesOf(EKrGuess::AviList),
               .followers = kDataOrIndex | GuessesOf(EKrGuess::AviList, EKrGuess::OtherData, EKrGuess::Zeros,
                                                     EKrGuess::Rest, EKrGuess::End),
               .padding = EKrPadding::BySize,
               .listProof = EKrListProof::Type}};

constexpr bool IsFiller(uint32_t id)
{
    return id == kFccJunk || id == kFccJunq || id == kFccPad;
}

bool IsInMovi(IKrScanListener::Lists around)
{
    return std::ranges::find(around, EKrListKind::Movi, &SKrScannedList::kind) != around.end();
}

class CKrSpanListener final : public IKrScanListener
{
public:
    CKrSpanListener(SKrFileSpans& spans, size_t streamCount) : m_spans(spans), m_streamCount(streamCount) {}

    void OnList(const SKrScannedList& list, Lists around) override
    {
        const SKrMapList place = {list.type, list.position, list.end, list.claimedEnd, !list.isUnset};
        if (list.kind == EKrListKind::Segment)
            m_spans.segments.push_back(place);
        else if (around.back().kind == EKrListKind::Segment && m_spans.lists.size() < kMostLists)
            m_spans.lists.push_back(place);
        AddSpan({list.position, 0, EKrSpanKind::Headers, 0});
        m_outsideEnd = 0;
    }

    void OnListEnd(const SKrScannedList& list, Lists, uint64_t position) override
    {
        std::vector<SKrMapList>& places =
            list.kind == EKrListKind::Segment ? m_spans.segments : m_spans.lists;
        if (!places.empty() && places.back().start == list.position)
            places.back().end = position;
    }

    void OnOverrun(const SKrScannedChunk& chunk, Lists, uint64_t, bool isCut) override
    {
        if (isCut)
            m_spans.regions.Of(EKrRegionKind::CutChunk).Add({chunk.position, chunk.end});
        else
            ++m_spans.overruns;
    }

    void OnWrongSize(const SKrScannedChunk&) override { ++m_spans.wrongSizes; }

    void OnChunk(const SKrScannedChunk& chunk, Lists around) override
    {
        const SKrChunkGuess& guess = chunk.guess;
        const EKrSpanKind kind = KindOf(guess, around);
        ++m_spans.chunks[static_cast<size_t>(kind)];
        if (kind == EKrSpanKind::Index)
            NoteIndex({chunk.position, guess.id, guess.size}, chunk.end);
        NoteOutside(chunk.position, chunk.end, kind, around);
        SKrSpan span = {chunk.position, 0, kind, 0};
        if (IsDataSpan(span))
        {
            span.payload = static_cast<uint32_t>(chunk.end - chunk.position - kChunkHeaderSize);
            span.stream = static_cast<uint8_t>(DataTagOf(guess.id, m_streamCount)->stream);
        }
        AddSpan(span);
    }

    void OnZeros(uint64_t from, uint64_t to, Lists around) override
    {
        if (to - from <= kLongestZeroPadding)
            NoteOutside(from, to, EKrSpanKind::Padding, around);
        OnGap(from, to, true, around);
    }

    void OnGap(uint64_t from, uint64_t to, bool isZeros, Lists) override
    {
        m_spans.cut = m_spans.cut || IsFull();
        const bool isPadding = isZeros && to - from <= kLongestZeroPadding;
        const EKrSpanKind kind = isPadding ? EKrSpanKind::Padding : EKrSpanKind::Unaccounted;
        if (!isPadding)
            m_spans.regions.Of(EKrRegionKind::Unaccounted).Add({from, to});
        ++m_spans.chunks[static_cast<size_t>(kind)];
        AddSpan({from, 0, kind, 0});
    }

    [[nodiscard]] bool IsFull() const override { return m_spans.spans.size() >= kMostSpans; }

private:
    EKrSpanKind KindOf(const SKrChunkGuess& guess, Lists around) const
    {
        if (IsFiller(guess.id))
            return EKrSpanKind::Padding;
        if (guess.kind == EKrGuess::Index)
            return EKrSpanKind::Index;
        if (guess.kind == EKrGuess::Data)
            return DataTagOf(guess.id, m_streamCount)->Kind() == EKrStreamKind::Video ? EKrSpanKind::Video
                                                                                      : EKrSpanKind::Audio;
        const bool isData = guess.kind == EKrGuess::OtherData || (!guess.IsList() && IsInMovi(around));
        return isData ? EKrSpanKind::OtherData : EKrSpanKind::Headers;
    }

    void NoteIndex(const SKrIndexPlace& index, uint64_t end)
    {
        if (index.id == kFccIdx1)
            ++m_spans.oldIndexes;
        else if (index.id == kFccIndx)
            ++m_spans.superIndexes;
        else
            ++m_spans.standardIndexes;
        const bool isWhole = end - index.position == kChunkHeaderSize + uint64_t{index.size};
        if (isWhole && index.id != kFccIndx && m_spans.indexes.size() < kMostIndexes)
            m_spans.indexes.push_back(index);
    }

    void AddSpan(const SKrSpan& span)
    {
        const bool continues =
            !m_spans.spans.empty() && !IsDataSpan(span) && m_spans.spans.back().kind == span.kind;
        if (!continues)
            m_spans.spans.push_back(span);
    }

    // Data chunks that are in no 'movi' although the file has segments, with the padding between them; and
    // whatever lies between and after the segments.
    void NoteOutside(uint64_t from, uint64_t to, EKrSpanKind kind, Lists around)
    {
        if (m_spans.segments.empty())
            return;
        const bool isData = kind == EKrSpanKind::Video || kind == EKrSpanKind::Audio;
        const bool isOutside = around.size() == 1 || (isData && !IsInMovi(around));
        if (!isOutside)
        {
            m_outsideEnd = kind == EKrSpanKind::Padding ? m_outsideEnd : 0;
            return;
        }
        const uint64_t start = m_outsideEnd != 0 ? m_outsideEnd : from;
        m_spans.regions.Of(EKrRegionKind::OutsideMovi).Add({start, to});
        m_outsideEnd = to;
    }

    SKrFileSpans& m_spans;
    const size_t m_streamCount;
    uint64_t m_outsideEnd = 0; // what lies between there and the position is padding
};
} // namespace

void SKrRegions::Add(const SKrRegion& region)
{
    bytes += region.end - region.start;
    const bool continues = region.start == m_lastEnd;
    m_lastEnd = region.end;
    if (continues && count == kept.size())
    {
        kept.back().end = region.end;
        return;
    }
    count += continues ? 0 : 1;
    if (!continues && kept.size() < kMostKept)
        kept.push_back(region);
}

SKrFileSpans MeasureSpans(const CKrByteSource& file, size_t streamCount, CKrProgress& progress)
{
    SKrFileSpans spans;
    spans.length = file.Length();
    CKrSpanListener listener(spans, streamCount);
    CKrFileScanner(file, kMapRules, listener, progress).Run("measuring");
    return spans;
}
} // namespace KrTool
