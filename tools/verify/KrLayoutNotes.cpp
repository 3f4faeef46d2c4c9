// What the walk keeps of the chunks that it meets.
#include "format/KrFourCC.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrLayoutWalk.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr size_t kMostStreams = 256; // as many as two hexadecimal digits can name
constexpr size_t kMostPrivateChunks = 16;
constexpr uint64_t kEmptyRun = 5;

constexpr uint32_t kFccIndx = KrFourCC("indx");
constexpr uint32_t kInMovi = ListBit(EKrListKind::Movi) | ListBit(EKrListKind::Rec);

SKrPlacedChunk Placed(const SKrSight& sight, uint64_t position)
{
    return {position, sight.id, sight.size};
}
} // namespace

void CKrLayoutWalk::NotePlace(uint32_t places, const SKrSight& sight)
{
    const uint32_t name = sight.isContainer ? sight.type : sight.id;
    if (Top().kind == EKrListKind::File)
        m_results.Add(EKrCheck::ChunkOutsideSegment, m_position, "a segment", FourCcText(name));
    else if ((places & ListBit(Top().kind)) == 0)
        m_results.Add(EKrCheck::ChunkMisplaced, m_position, "it elsewhere", FourCcText(name));
}

void CKrLayoutWalk::NoteList(const SKrListKind& list)
{
    SKrSegmentPlace* const segment = m_model.segments.empty() ? nullptr : &m_model.segments.back();
    const auto repeated = [this](const char* name)
    {
        m_results.Add(EKrCheck::ChunkRepeated, m_position, "one list", std::string("another list ") + name);
    };
    if (list.kind == EKrListKind::Hdrl)
    {
        if (segment != nullptr && segment->movi && !m_model.hdrl)
            m_results.Add(EKrCheck::HeaderOrder, m_position, "hdrl before movi", "hdrl behind movi");
        if (m_model.hdrl)
            repeated("hdrl");
        else
            m_model.hdrl = m_position;
    }
    else if (list.kind == EKrListKind::Movi && segment != nullptr)
    {
        if (segment->movi)
            repeated("movi");
        else
            segment->movi = m_position + 8;
    }
    else if (list.kind == EKrListKind::Rec)
    {
        m_results.Add(EKrCheck::RecList, m_position, "data chunks in movi", "LIST 'rec '");
    }
    else if (list.kind == EKrListKind::Strl)
    {
        if (m_model.streams.size() < kMostStreams)
            m_model.streams.push_back({m_position, {}, {}, {}});
        else
            m_results.Add(EKrCheck::StreamsTooMany, m_position, "256 streams at most", "another stream");
    }
}

void CKrLayoutWalk::NoteRun(uint32_t size)
{
    m_emptyRun = size == 0 ? m_emptyRun + 1 : 0;
    if (m_emptyRun == kEmptyRun)
        m_results.Add(EKrCheck::ChunkEmptyRun, m_position, "a chunk with data", "the fifth without");
}

void CKrLayoutWalk::NoteChunk(const SKrSight& sight, EKrBytes& bytes)
{
    const SKrPlacedChunk chunk = Placed(sight, m_position);
    const std::optional<SKrDataTag> tag = DataTagOf(sight.id, m_model.streams.size());
    if (Top().kind == EKrListKind::Movi && !Top().hasChildren && !tag)
        m_results.Add(EKrCheck::MoviFirstNotData, m_position, "a data chunk", FourCcText(sight.id));
    if (tag)
    {
        bytes = EKrBytes::Data;
        NoteData(sight, *tag);
    }
    else if (IsStandardIndexId(sight.id))
    {
        bytes = EKrBytes::Indexes;
        NotePlace(kInMovi, sight);
        NoteStandardIndex(chunk);
    }
    else if (const SKrChunkKind* const kind = KindOfChunk(sight.id); kind != nullptr)
    {
        bytes = kind->bytes;
        NotePlace(kind->places, sight);
        NoteKnown(chunk);
    }
    else if (sight.isContainer)
    {
        const bool isTooDeep = KindOfList(sight.type) != nullptr;
        m_results.Add(isTooDeep ? EKrCheck::ListTooDeep : EKrCheck::ListUnknown, m_position, "a known list",
                      FourCcText(sight.type));
    }
    else if (Top().kind == EKrListKind::File)
    {
        NotePlace(0, sight);
    }
    else if (Top().kind != EKrListKind::Info)
    {
        m_results.Add(EKrCheck::ChunkUnknown, m_position, "a known chunk", FourCcText(sight.id));
    }
}

void CKrLayoutWalk::NoteData(const SKrSight& sight, const SKrDataTag& tag)
{
    if (Top().kind == EKrListKind::File)
        NotePlace(0, sight);
    else if ((kInMovi & ListBit(Top().kind)) == 0)
        m_results.Add(EKrCheck::DataOutsideMovi, m_position, FoundId("a place in movi", sight.id));
    if (sight.size == 0 && tag.content != EKrContent::Other)
        m_results.Add(EKrCheck::ChunkEmpty, m_position, FoundId("data", sight.id));
    if (m_model.chunks.size() == kMostVerifiedChunks || m_position > kLastDataPosition)
    {
        m_model.isCut = true;
        m_results.Add(EKrCheck::ChunksTooMany, m_position, FoundId("at most 16777216 data chunks", sight.id));
        return;
    }
    SKrDataChunk chunk;
    chunk.position = m_position & kLastDataPosition;
    chunk.segment = m_model.segments.empty() ? 0 : (m_model.segments.size() - 1) & kMostSegments;
    chunk.size = sight.size;
    chunk.stream = static_cast<uint16_t>(tag.stream);
    chunk.kind = tag.content;
    m_model.chunks.push_back(chunk);
}

void CKrLayoutWalk::NoteStandardIndex(const SKrPlacedChunk& chunk)
{
    if (m_model.standardIndexes.size() < kMostStandardIndexes)
    {
        m_model.standardIndexes.push_back({chunk});
        return;
    }
    m_model.isCut = true;
    m_results.Add(EKrCheck::ChunksTooMany, m_position, FoundId("at most 4194304 standard indexes", chunk.id));
}

void CKrLayoutWalk::NoteHeader(std::optional<SKrPlacedChunk>& place, const SKrPlacedChunk& chunk,
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

void CKrLayoutWalk::NoteKnown(const SKrPlacedChunk& chunk)
{
    SKrVerifyStream* const stream = m_model.streams.empty() ? nullptr : &m_model.streams.back();
    const bool isFirst = !Top().hasChildren;
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
    else if ((chunk.id == kFccKrlA || chunk.id == kFccPrmA || chunk.id == kFccCtsI) &&
             m_model.privateChunks.size() < kMostPrivateChunks)
        m_model.privateChunks.push_back({chunk, Top().kind == EKrListKind::Segment &&
                                                    m_model.segments.size() == 1 && m_model.hdrl &&
                                                    !m_model.segments.front().movi});
}
} // namespace KrTool
