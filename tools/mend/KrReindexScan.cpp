#include "tools/mend/KrReindexScan.h"

#include "tools/avi/KrInputFile.h"
#include "tools/avi/KrScanRules.h"
#include "tools/mend/KrChunkKeys.h"
#include "tools/mend/KrRecentReads.h"
#include "tools/mend/KrSizeRepair.h"
#include "tools/verify/KrLayoutCheck.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>

namespace KrTool
{
namespace
{
// Listens to the scan of kravi verify, which fills the model.
class CKrReindexListener final : public IKrScanListener
{
public:
    CKrReindexListener(const CKrByteSource& file, const CKrRecentReads& recent, SKrReindexScan& scan)
        : m_file(file), m_recent(recent), m_scan(scan), m_length(file.Length()),
          m_check(file, scan.model, scan.results)
    {
    }

    void OnList(const SKrScannedList& list, Lists around) override
    {
        m_check.OnList(list, around);
        Extend(list.position + kListHeaderSize, around);
        m_ends.resize(around.size());
        m_ends.push_back(list.position + kListHeaderSize);
        const SKrListEnds ends = {list.position, list.size, false, list.position + kListHeaderSize};
        if (list.kind == EKrListKind::Segment)
            Keep(m_scan.segments, {ends, {}, false});
        else if (list.kind == EKrListKind::Movi && !m_scan.segments.empty() && !m_scan.segments.back().movi)
            m_scan.segments.back().movi = ends;
        else if (list.kind != EKrListKind::Rec)
            NoteAfterMovi();
        m_mayGrow = list.kind == EKrListKind::Movi;
        m_openMovis += m_mayGrow ? 1 : 0;
    }

    void OnListEnd(const SKrScannedList& list, Lists around, uint64_t position) override
    {
        const uint64_t stored = list.position + kChunkHeaderSize + list.size;
        const bool isRight = !list.isUnset && (stored == position || RoundUpToEven(stored) == position);
        const bool isHeader = list.kind == EKrListKind::Hdrl || list.kind == EKrListKind::Strl;
        if ((list.kind == EKrListKind::Rec || isHeader) && !isRight)
            Keep(m_scan.otherLists, {list.position, list.size, false, m_ends[around.size()]});
        Extend(m_ends[around.size()], around);
        m_openMovis -= list.kind == EKrListKind::Movi ? 1 : 0;
        if (m_scan.segments.empty())
            return;
        SKrSegmentEnds& segment = m_scan.segments.back();
        if (list.kind == EKrListKind::Segment)
            EndList(segment, list, around, isRight);
        if (list.kind == EKrListKind::Movi && segment.movi)
            EndList(*segment.movi, list, around, isRight);
    }

    void OnSegmentOverlap(const SKrScannedList& segment, uint64_t position) override
    {
        m_check.OnSegmentOverlap(segment, position);
    }

    void OnChunk(const SKrScannedChunk& chunk, Lists around) override
    {
        const size_t before = m_scan.model.chunks.size();
        m_check.OnChunk(chunk, around);
        const bool isWhole = chunk.end == chunk.position + kChunkHeaderSize + chunk.guess.size;
        const bool isData = m_scan.model.chunks.size() > before;
        if (isData)
        {
            m_scan.ids.push_back(isWhole ? chunk.guess.id : 0);
            NoteKey(before);
        }
        if (!isWhole)
            Keep(m_scan.stretches,
                 {chunk.position, chunk.end, true, chunk.guess.kind != EKrGuess::Index, chunk.guess.id});
        Extend(chunk.end, around);
        NoteOutside(around);
        if (chunk.guess.id == kFccJunk)
            return;
        if (isData && m_mayGrow && IsAfterMovi())
            GrowMovi(chunk.end);
        else
            NoteAfterMovi(chunk.guess.id);
    }

    void OnOverrun(const SKrScannedChunk& chunk, Lists around, uint64_t claimedEnd, bool isCut) override
    {
        m_check.OnOverrun(chunk, around, claimedEnd, isCut);
    }

    void OnWrongSize(const SKrScannedChunk& chunk) override { m_check.OnWrongSize(chunk); }

    void OnPadding(uint64_t position) override
    {
        m_check.OnPadding(position);
        m_scan.end = std::max(m_scan.end, position + 1);
    }

    void OnMissingPadding(uint64_t position, uint32_t idThere) override
    {
        m_check.OnMissingPadding(position, idThere);
    }

    void OnGap(uint64_t from, uint64_t to, bool isZeros, Lists around) override
    {
        m_check.OnGap(from, to, isZeros, around);
        Keep(m_scan.stretches, {from, to, false, true, 0});
        if (to != m_length)
            NoteOutside(around);
    }

private:
    // A file with more of them is not mended: hostile ones could take any amount of memory.
    template <class PLACE>
    void Keep(std::vector<PLACE>& places, const PLACE& place)
    {
        constexpr size_t kMostKept = 65536;
        if (places.size() < kMostKept)
            places.push_back(place);
        else
            m_scan.model.isCut = true;
    }

    // Most frames of codecs that say so do it in their first bytes, which the scan has read with the header.
    void NoteKey(size_t number)
    {
        constexpr size_t kFirstBytes = 64;
        const SKrDataChunk& chunk = m_scan.model.chunks[number];
        if (chunk.kind != EKrContent::Video || chunk.stream >= m_scan.model.streams.size())
            return;
        while (m_keyRules.size() <= chunk.stream)
            m_keyRules.push_back(KeyRuleOf(m_file, m_scan.model.streams[m_keyRules.size()]));
        const EKrKeyRule rule = m_keyRules[chunk.stream];
        if (!NeedsBytes(rule))
            return;
        m_scan.keyGuesses.resize(number);
        m_scan.keyGuesses.push_back(
            IsKeyByItsBytes(rule, m_recent.Find(chunk.position + kChunkHeaderSize,
                                                std::min<size_t>(chunk.size, kFirstBytes))));
    }

    // The lists around the innermost one follow when it ends.
    void Extend(uint64_t end, Lists around)
    {
        m_scan.end = std::max(m_scan.end, end);
        uint64_t& listEnd = m_ends[around.size() - 1];
        listEnd = std::max(listEnd, end);
    }

    // The first 'movi' of a segment takes what a second one has.
    void EndList(SKrListEnds& ends, const SKrScannedList& list, Lists around, bool isRight) const
    {
        ends.end = std::max(ends.end, m_ends[around.size()]);
        if (list.position == ends.position)
            ends.isRight = isRight;
    }

    // What follows a segment, and lies in none, belongs to it if it is a chunk or another segment follows.
    void NoteOutside(Lists around)
    {
        if (around.size() == 1 && !m_scan.segments.empty())
            m_scan.segments.back().isRight = false;
    }

    [[nodiscard]] bool IsAfterMovi() const
    {
        return m_openMovis == 0 && !m_scan.segments.empty() && m_scan.segments.back().movi.has_value();
    }

    // What lies there keeps 'movi' from growing over it.
    void NoteAfterMovi(uint32_t id = 0)
    {
        if (!IsAfterMovi())
            return;
        m_mayGrow = false;
        m_scan.segments.back().hasOthersAfterMovi =
            m_scan.segments.back().hasOthersAfterMovi || id != kFccIdx1;
    }

    // Data directly after 'movi' belong into it.
    void GrowMovi(uint64_t end)
    {
        m_scan.segments.back().movi->end = end;
        m_scan.segments.back().movi->isRight = false;
    }

    const CKrByteSource& m_file;
    const CKrRecentReads& m_recent; // the same file, as the scan reads it
    SKrReindexScan& m_scan;
    const uint64_t m_length;
    CKrLayoutCheck m_check;
    std::vector<uint64_t> m_ends = {0}; // of what the open lists have inside, the file itself first
    size_t m_openMovis = 0;
    std::vector<EKrKeyRule> m_keyRules; // of the first streams
    bool m_mayGrow = false;             // nothing but data and filler since the start of 'movi'
};
// Only what goes into the new indexes counts.
void CountWholeChunks(SKrReindexScan& scan, CKrFileWindow& window)
{
    for (SKrVerifyStream& stream : scan.model.streams)
    {
        stream.chunks = stream.chunksInFirstSegment = 0;
        stream.bytes = stream.bytesInFirstSegment = 0;
        stream.largest = 0;
        if (!stream.header)
            continue;
        const size_t size = std::min<size_t>(stream.header->size, SKrStreamHeader::kEncodedSize);
        static_cast<void>(DecodeStreamHeader(window.At(stream.header->Data(), size), stream));
    }
    for (size_t number = 0; number < scan.ids.size(); ++number)
    {
        const SKrDataChunk& chunk = scan.model.chunks[number];
        if (chunk.stream >= scan.model.streams.size())
            scan.ids[number] = 0;
        if (scan.ids[number] == 0 || chunk.kind == EKrContent::Other)
            continue;
        SKrVerifyStream& stream = scan.model.streams[chunk.stream];
        ++stream.chunks;
        stream.bytes += chunk.size;
        stream.largest = std::max(stream.largest, chunk.size);
        stream.chunksInFirstSegment += chunk.segment == 0 ? 1 : 0;
        stream.bytesInFirstSegment += chunk.segment == 0 ? chunk.size : 0;
    }
}
} // namespace

void ScanForReindex(const CKrByteSource& file, SKrReindexScan& scan, CKrProgress& progress)
{
    const CKrRecentReads recent(file);
    CKrReindexListener listener(file, recent, scan);
    CKrFileScanner(recent, kLayoutRules, listener, progress).Run("searching chunks");
    CKrFileWindow window(file);
    CKrFileWindow strayWindow(file);
    const SKrVerifyContext context{window, strayWindow, scan.model, scan.results, progress, kInterleaveLimit};
    CountWholeChunks(scan, window);
    CheckOldIndexes(context);
    CheckOpenDmlIndexes(context);
    RepairSizes(file, scan);
    if (!scan.repairs.empty())
        CountWholeChunks(scan, window);
    scan.cutChunks = static_cast<uint64_t>(
        std::ranges::count_if(scan.stretches, [&scan](const SKrStretch& stretch)
                              { return DataTagOf(stretch.id, scan.model.streams.size()).has_value(); }));
}
} // namespace KrTool
