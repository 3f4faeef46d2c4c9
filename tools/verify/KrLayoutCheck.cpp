#include "tools/verify/KrLayoutCheck.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrInputFile.h"
#include "tools/avi/KrScanRules.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrGapReport.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kMostPrivateChunks = 16;
constexpr uint64_t kEmptyRun = 5;

std::string LatestEnd(uint64_t position)
{
    return "an end at " + std::to_string(position) + " at the latest";
}
} // namespace

void CKrLayoutCheck::Run(CKrProgress& progress)
{
    const SKrChunkGuess first = CKrChunkFinder(m_file, kLayoutRules.search, progress).At(0);
    if (first.id != kFccRiff || first.type != kFccAvi)
        m_results.Add(EKrCheck::RiffMissing, 0, "RIFF 'AVI '",
                      FourCcText(first.id) + " '" + FourCcText(first.type) + '\'');
    CKrFileScanner(m_file, kLayoutRules, *this, progress).Run("checking chunks");
}

void CKrLayoutCheck::OnSegmentOverlap(const SKrScannedList& segment, uint64_t position)
{
    m_results.Add(EKrCheck::SegmentOverlap, segment.position, LatestEnd(position),
                  "an end at " + std::to_string(segment.claimedEnd));
}

void CKrLayoutCheck::OnList(const SKrScannedList& list, Lists around)
{
    Account(EKrBytes::Structure, std::min<uint64_t>(kListHeaderSize, m_file.Length() - list.position));
    if (list.kind == EKrListKind::Segment)
    {
        NoteSegment(list);
        return;
    }
    if (list.isUnset)
        m_results.Add(EKrCheck::ListSizeUnset, list.position, "the size of the list " + FourCcText(list.type),
                      std::to_string(list.size));
    NotePlace(list.position, list.type, KindOfList(list.type)->places, around.back().kind);
    NoteList(list);
    NoteRun(list.position, list.size);
}

void CKrLayoutCheck::NoteSegment(const SKrScannedList& segment)
{
    constexpr uint64_t kGib = uint64_t{1} << 30;
    const uint64_t position = segment.position;
    const uint64_t size = kChunkHeaderSize + segment.size;
    const bool isFirst = m_model.segments.empty();
    if (!isFirst && segment.type != kFccAvix)
        m_results.Add(EKrCheck::SegmentType, position, "AVIX", FourCcText(segment.type));
    if (segment.isUnset)
        m_results.Add(EKrCheck::SegmentSizeUnset, position, "the size of the segment",
                      std::to_string(segment.size));
    else if (segment.isOpen)
        m_results.Add(EKrCheck::SegmentBeyondFile, position, LatestEnd(m_file.Length()),
                      "an end at " + std::to_string(segment.claimedEnd));
    if (!segment.isUnset && size > 2 * kGib)
        m_results.Add(EKrCheck::SegmentBeyond2Gib, position, "2147483648 bytes at most",
                      Counted(size, "byte"));
    else if (!segment.isUnset && size > kGib && isFirst)
        m_results.Add(EKrCheck::SegmentBeyond1Gib, position, "1073741824 bytes at most",
                      Counted(size, "byte"));
    if (m_model.segments.size() == kMostSegmentsHeld)
        m_results.Add(EKrCheck::SegmentsTooMany, position, FoundId("65535 segments at most", segment.type));
    else
        m_model.segments.push_back({position, segment.type, segment.size, {}, {}});
}

void CKrLayoutCheck::OnChunk(const SKrScannedChunk& chunk, Lists around)
{
    const EKrBytes bytes = NoteChunk(chunk, around.back());
    NoteRun(chunk.position, chunk.guess.size);
    const uint64_t size = chunk.end - chunk.position;
    const uint64_t header = std::min<uint64_t>(kChunkHeaderSize, size);
    Account(EKrBytes::Structure, header);
    Account(bytes, size - header);
}

// A chunk or list that extends past its list or the file.
void CKrLayoutCheck::OnOverrun(const SKrScannedChunk& chunk, Lists around, uint64_t claimedEnd, bool isCut)
{
    const bool isList = chunk.guess.IsList();
    if (isCut && isList)
        return; // the truncated chunk inside reports it
    EKrCheck check = isList ? EKrCheck::ListOverrunsList : EKrCheck::ChunkOverrunsList;
    if (isCut)
        check = EKrCheck::ChunkCut;
    m_results.Add(check, chunk.position, LatestEnd(isCut ? m_file.Length() : around.back().claimedEnd),
                  FourCcText(isList ? chunk.guess.type : chunk.guess.id) + " with an end at " +
                      std::to_string(claimedEnd));
}

void CKrLayoutCheck::OnWrongSize(const SKrScannedChunk& chunk)
{
    m_results.Add(EKrCheck::ChunkSizeWrong, chunk.position,
                  Counted(chunk.end - chunk.position - kChunkHeaderSize, "byte") + " at most",
                  Counted(chunk.guess.size, "byte"));
}

void CKrLayoutCheck::OnPadding(uint64_t)
{
    Account(EKrBytes::Padding, 1);
}

void CKrLayoutCheck::OnMissingPadding(uint64_t position, uint32_t idThere)
{
    m_results.Add(idThere == kFccJunk ? EKrCheck::PaddingByFiller : EKrCheck::PaddingMissing, position,
                  "a padding byte", FourCcText(idThere));
}

void CKrLayoutCheck::OnGap(uint64_t from, uint64_t to, bool isZeros, Lists around)
{
    const SKrScannedList& parent = around.back();
    const uint64_t size = to - from;
    const bool isKept = m_model.gaps.size() < kMostGaps;
    SKrGap gap = {from, to, isZeros, true};
    if (parent.kind == EKrListKind::File && from != 0) // at 0 it is the missing header
        AddGap(m_results, to == m_file.Length() ? EKrCheck::TrailingData : EKrCheck::SegmentGap, gap);
    else if (parent.kind != EKrListKind::File && isKept)
        gap.isReported = false;
    else if (parent.kind != EKrListKind::File)
        AddGap(m_results, KindOf(gap), gap);
    if (parent.kind == EKrListKind::Movi && !parent.hasChildren)
        m_results.Add(EKrCheck::MoviFirstNotData, from, "a data chunk", Counted(size, "byte"));
    m_emptyRun = 0;
    if (isKept)
        m_model.gaps.push_back(gap);
    Account(EKrBytes::Unaccounted, size);
}

void CKrLayoutCheck::NotePlace(uint64_t position, uint32_t name, uint32_t places, EKrListKind parent)
{
    if (parent == EKrListKind::File)
        m_results.Add(EKrCheck::ChunkOutsideSegment, position, "a segment", FourCcText(name));
    else if ((places & ListBit(parent)) == 0)
        m_results.Add(EKrCheck::ChunkMisplaced, position, "it elsewhere", FourCcText(name));
}

void CKrLayoutCheck::NoteList(const SKrScannedList& list)
{
    SKrSegmentPlace* const segment = m_model.segments.empty() ? nullptr : &m_model.segments.back();
    if (list.kind == EKrListKind::Hdrl)
    {
        NoteHeaderList(list.position);
    }
    else if (list.kind == EKrListKind::Movi && segment != nullptr)
    {
        if (segment->movi)
            m_results.Add(EKrCheck::ChunkRepeated, list.position, "one list", "another list movi");
        else
            segment->movi = list.position + kChunkHeaderSize;
    }
    else if (list.kind == EKrListKind::Rec)
    {
        m_results.Add(EKrCheck::RecList, list.position, "data chunks in movi", "LIST 'rec '");
    }
    else if (list.kind == EKrListKind::Strl)
    {
        if (m_model.streams.size() < kMostStreams)
            m_model.streams.emplace_back().position = list.position;
        else
            m_results.Add(EKrCheck::StreamsTooMany, list.position, "256 streams at most", "another stream");
    }
}

void CKrLayoutCheck::NoteHeaderList(uint64_t position)
{
    if (!m_model.segments.empty() && m_model.segments.back().movi && !m_model.hdrl)
        m_results.Add(EKrCheck::HeaderOrder, position, "hdrl before movi", "hdrl after movi");
    if (m_model.hdrl)
        m_results.Add(EKrCheck::ChunkRepeated, position, "one list", "another list hdrl");
    else
        m_model.hdrl = position;
}

void CKrLayoutCheck::NoteRun(uint64_t position, uint32_t size)
{
    m_emptyRun = size == 0 ? m_emptyRun + 1 : 0;
    if (m_emptyRun == kEmptyRun)
        m_results.Add(EKrCheck::ChunkEmptyRun, position, "a chunk with data", "the fifth without");
}

// Returns the use of the chunk's data.
EKrBytes CKrLayoutCheck::NoteChunk(const SKrScannedChunk& chunk, const SKrScannedList& parent)
{
    const SKrChunkGuess& guess = chunk.guess;
    const SKrPlacedChunk placed = {chunk.position, guess.id, guess.size};
    const std::optional<SKrDataTag> tag = DataTagOf(guess.id, m_model.streams.size());
    if (parent.kind == EKrListKind::Movi && !parent.hasChildren && !tag)
        m_results.Add(EKrCheck::MoviFirstNotData, chunk.position, "a data chunk", FourCcText(guess.id));
    if (tag)
    {
        NoteData(chunk, *tag, parent.kind);
        return EKrBytes::Data;
    }
    if (IsStandardIndexId(guess.id))
    {
        NotePlace(chunk.position, guess.id, kDataLists, parent.kind);
        NoteStandardIndex(placed);
        return EKrBytes::Indexes;
    }
    if (const SKrChunkKind* const kind = KindOfChunk(guess.id); kind != nullptr)
    {
        NotePlace(chunk.position, guess.id, kind->places, parent.kind);
        NoteKnown(placed, parent);
        return kind->bytes;
    }
    if (guess.IsList())
    {
        const bool isTooDeep = KindOfList(guess.type) != nullptr;
        m_results.Add(isTooDeep ? EKrCheck::ListTooDeep : EKrCheck::ListUnknown, chunk.position,
                      "a known list", FourCcText(guess.type));
    }
    else if (parent.kind == EKrListKind::File)
    {
        NotePlace(chunk.position, guess.id, 0, parent.kind);
    }
    else if (parent.kind != EKrListKind::Info)
    {
        m_results.Add(EKrCheck::ChunkUnknown, chunk.position, "a known chunk", FourCcText(guess.id));
    }
    return EKrBytes::Other;
}

void CKrLayoutCheck::NoteData(const SKrScannedChunk& chunk, const SKrDataTag& tag, EKrListKind parent)
{
    const uint32_t id = chunk.guess.id;
    const uint64_t position = chunk.position;
    if (parent == EKrListKind::File)
        NotePlace(position, id, 0, parent);
    else if ((kDataLists & ListBit(parent)) == 0)
        m_results.Add(EKrCheck::DataOutsideMovi, position, FoundId("a place in movi", id));
    if (chunk.guess.size == 0 && tag.content != EKrContent::Other)
        m_results.Add(EKrCheck::ChunkEmpty, position, FoundId("data", id));
    if (m_model.chunks.size() == kMostVerifiedChunks || position > kLastDataPosition)
    {
        m_model.isCut = true;
        m_results.Add(EKrCheck::ChunksTooMany, position, FoundId("at most 16777216 data chunks", id));
        return;
    }
    SKrDataChunk data;
    data.position = position & kLastDataPosition;
    data.segment = m_model.segments.empty() ? 0 : (m_model.segments.size() - 1) & kMostSegmentsHeld;
    data.size = chunk.guess.size;
    data.stream = static_cast<uint16_t>(tag.stream);
    data.kind = tag.content;
    const uint64_t room = chunk.end - position - kChunkHeaderSize;
    if (room < chunk.guess.size && chunk.end < m_file.Length())
    {
        data.size = static_cast<uint32_t>(room);
        data.marks = SKrDataChunk::kSizeWrong;
    }
    m_model.chunks.push_back(data);
}

void CKrLayoutCheck::NoteStandardIndex(const SKrPlacedChunk& chunk)
{
    if (m_model.standardIndexes.size() < kMostStandardIndexes)
    {
        m_model.standardIndexes.push_back({chunk});
        return;
    }
    m_model.isCut = true;
    m_results.Add(EKrCheck::ChunksTooMany, chunk.position,
                  FoundId("at most 4194304 standard indexes", chunk.id));
}

void CKrLayoutCheck::NoteHeader(std::optional<SKrPlacedChunk>& place, const SKrPlacedChunk& chunk,
                                bool isInOrder)
{
    if (place)
        m_results.Add(EKrCheck::ChunkRepeated, chunk.position, "one chunk " + FourCcText(chunk.id),
                      "another one");
    else if (!isInOrder)
        m_results.Add(EKrCheck::HeaderOrder, chunk.position, FourCcText(chunk.id) + " first", "it later");
    if (!place)
        place = chunk;
}

void CKrLayoutCheck::NoteKnown(const SKrPlacedChunk& chunk, const SKrScannedList& parent)
{
    SKrVerifyStream* const stream = m_model.streams.empty() ? nullptr : &m_model.streams.back();
    const bool isFirst = !parent.hasChildren;
    if (chunk.id == kFccAvih)
        NoteHeader(m_model.mainHeader, chunk, isFirst);
    else if (chunk.id == kFccDmlh)
        NoteHeader(m_model.openDmlHeader, chunk, true);
    else if (chunk.id == kFccStrh && stream != nullptr)
        NoteHeader(stream->header, chunk, isFirst);
    else if (chunk.id == kFccStrf && stream != nullptr)
        NoteHeader(stream->format, chunk, true);
    else if (chunk.id == kFccIndx && stream != nullptr)
        NoteHeader(stream->superIndex, chunk, true);
    else if (chunk.id == kFccIdx1 && !m_model.segments.empty())
        NoteHeader(m_model.segments.back().oldIndex, chunk, true);
    else if (KindOfChunk(chunk.id)->bytes == EKrBytes::Private &&
             m_model.privateChunks.size() < kMostPrivateChunks)
        m_model.privateChunks.push_back({chunk, parent.kind == EKrListKind::Segment &&
                                                    m_model.segments.size() == 1 && m_model.hdrl &&
                                                    !m_model.segments.front().movi});
}
} // namespace KrTool
