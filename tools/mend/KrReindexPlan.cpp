#include "tools/mend/KrReindexPlan.h"

#include "format/KrBytes.h"
#include "format/KrFieldPlaces.h"
#include "format/KrFourCC.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/mend/KrFreshIndexes.h"
#include "tools/mend/KrReindexScan.h"

#include <algorithm>

namespace KrTool
{
namespace
{
class CKrReindexPlanning
{
public:
    CKrReindexPlanning(const CKrByteSource& file, CKrProgress& progress) : m_file(file)
    {
        ScanForReindex(file, m_scan, progress);
    }

    SKrReindexPlan Run()
    {
        CheckWhatIsThere();
        m_plan.cutChunks = m_scan.cutChunks;
        m_plan.sizesRepaired = m_scan.repairs.size();
        FindTail();
        PlanIndexes();
        PlanFiller();
        PlanSizes();
        PlanMainHeader();
        for (const SKrVerifyStream& stream : m_scan.model.streams)
            PlanStreamHeader(stream);
        m_plan.segments = m_scan.segments.size();
        m_plan.streams = std::move(m_scan.model.streams);
        return std::move(m_plan);
    }

private:
    [[noreturn]] void Refuse(const std::string& cause) const
    {
        throw CKrToolError(m_file.Path(), cause + "; kravi recover may make a file of it");
    }

    void CheckWhatIsThere() const
    {
        const SKrVerifyModel& model = m_scan.model;
        if (m_scan.segments.empty() || m_scan.segments.front().position != 0 ||
            model.segments.front().type != kFccAvi)
            Refuse("it does not begin with the header of an AVI file");
        if (!model.hdrl || model.streams.empty())
            Refuse("it has no headers of streams");
        if (!m_scan.segments.front().movi)
            Refuse("it has no list of data ('movi')");
        if (model.isCut || model.segments.size() != m_scan.segments.size())
            Refuse("it has too many chunks or damaged places");
        if (std::ranges::all_of(m_scan.ids, [](uint32_t id) { return id == 0; }))
            Refuse("it has no whole frame and no sound");
        for (size_t number = 0; number < model.streams.size(); ++number)
        {
            const auto& header = model.streams[number].header;
            if (!header || header->size < KrStrh::kBufferAt)
                Refuse(Format("stream {} has no whole header", number));
        }
    }

    // What is there after the last chunk, and where an index could follow.
    void FindTail()
    {
        m_append = RoundUpToEven(m_file.Length());
        if (m_scan.stretches.empty() || m_scan.stretches.back().end != m_file.Length())
            return;
        m_tail = m_scan.stretches.back();
        if (!IsFillable(*m_tail))
            m_append = RoundUpToEven(m_tail->position);
    }

    static bool IsFillable(const SKrStretch& stretch)
    {
        const uint64_t size = stretch.end - stretch.position;
        return stretch.position % 2 == 0 && size >= kChunkHeaderSize && size - kChunkHeaderSize <= UINT32_MAX;
    }

    void PlanIndexes()
    {
        SKrFreshIndexes fresh = MakeFreshIndexes(m_file, m_scan, m_append);
        m_plan.patches = std::move(fresh.patches);
        m_plan.oldIndexEntries = fresh.oldIndexEntries;
        m_plan.standardIndexes = fresh.standardIndexes;
        m_moviGrows = fresh.appendedToMovi != 0;
        m_moviEnd = m_append + fresh.appendedToMovi;
        m_isAppended = !fresh.appended.empty();
        m_end = m_append + fresh.appended.size();
        if (m_isAppended)
            m_plan.patches.Put(m_append, std::move(fresh.appended));
        if (fresh.hasNoPlaceForOldIndex)
            m_plan.notes.emplace_back(
                "'idx1' of the first segment has no room for all entries and is filler now; the "
                "OpenDML indexes lead to all chunks");
    }

    // What is no chunk becomes one, so that programs that walk the file do not stop there.
    void PlanFiller()
    {
        const bool lastIsOpen = !m_scan.segments.back().isRight || m_isAppended;
        for (const SKrStretch& stretch : m_scan.stretches)
        {
            if (stretch.position < m_scan.segments.front().movi->position)
                continue;
            m_plan.bytesSkipped += stretch.isLost ? stretch.end - stretch.position : 0;
            const bool isTail = stretch.end == m_file.Length();
            const bool isFollowed = isTail || stretch.end % 2 == 0;
            if (IsFillable(stretch) && isFollowed && (!isTail || lastIsOpen || stretch.isChunk))
                m_plan.patches.PutFiller(stretch.position, stretch.end);
            else if (!isTail || m_append >= stretch.end)
                ++m_unfilled;
        }
        if (m_unfilled != 0)
            m_plan.notes.push_back(
                Format("bytes in no chunk stay as they are at {}; kravi recover leaves them out",
                       Counted(m_unfilled, "place")));
    }

    void PlanSizes()
    {
        for (const SKrRightSize& repair : m_scan.repairs)
            m_plan.patches.PutU32Le(repair.position + sizeof(uint32_t), repair.size);
        for (const SKrListEnds& list : m_scan.otherLists)
            PutSize(list, RoundUpToEven(list.end));
        for (size_t number = 0; number < m_scan.segments.size(); ++number)
        {
            const SKrSegmentEnds& segment = m_scan.segments[number];
            const bool isLast = number + 1 == m_scan.segments.size();
            const uint64_t next = isLast ? m_file.Length() : m_scan.segments[number + 1].position;
            if (isLast && m_moviGrows)
                PutSize(*segment.movi, m_moviEnd);
            else if (segment.movi && !segment.movi->isRight)
                PutSize(*segment.movi, isLast && m_isAppended
                                           ? RoundUpToEven(segment.movi->end)
                                           : std::min(RoundUpToEven(segment.movi->end), next));
            if (isLast && m_isAppended)
                PutSize(segment, m_end);
            else if (!segment.isRight)
                PutSize(segment, next);
        }
    }

    void PutSize(const SKrListEnds& list, uint64_t end)
    {
        const uint64_t size = end - list.position - kChunkHeaderSize;
        if (size > UINT32_MAX)
            Refuse(Format("the list at {} would be larger than 4 GiB", list.position));
        m_plan.patches.PutU32Le(list.position + sizeof(uint32_t), static_cast<uint32_t>(size));
    }

    [[nodiscard]] const SKrVerifyStream* MainVideo() const
    {
        const auto& streams = m_scan.model.streams;
        const auto found = std::ranges::find(streams, uint32_t{kFccVids}, &SKrVerifyStream::type);
        return found == streams.end() ? nullptr : &*found;
    }

    void PlanMainHeader()
    {
        const SKrVerifyStream* const video = MainVideo();
        const std::optional<SKrPlacedChunk>& total = m_scan.model.openDmlHeader;
        if (total && total->size >= sizeof(uint32_t) && video != nullptr)
            m_plan.patches.PutU32Le(total->Data(), static_cast<uint32_t>(video->chunks));
        const std::optional<SKrPlacedChunk>& place = m_scan.model.mainHeader;
        if (!place || place->size < SKrMainHeader::kEncodedSize)
        {
            m_plan.notes.emplace_back("it has no whole main header 'avih'");
            return;
        }
        std::vector<uint8_t> bytes(SKrMainHeader::kEncodedSize);
        m_file.Fill(place->Data(), bytes);
        CKrByteReader in(bytes);
        SKrMainHeader header;
        if (!Decode(in, header))
            return;
        CKrBytePatches& patches = m_plan.patches;
        patches.PutU32Le(place->Data() + KrAvih::kFlagsAt, header.flags | kAvifHasIndex);
        // Of the whole file, or of the first segment.
        if (video != nullptr && header.totalFrames != video->chunks &&
            header.totalFrames != video->chunksInFirstSegment)
            patches.PutU32Le(place->Data() + KrAvih::kFramesAt,
                             static_cast<uint32_t>(video->chunksInFirstSegment));
        patches.PutU32Le(place->Data() + KrAvih::kStreamsAt,
                         static_cast<uint32_t>(m_scan.model.streams.size()));
        const uint32_t largest =
            std::ranges::max(m_scan.model.streams, {}, &SKrVerifyStream::largest).largest;
        if (header.suggestedBufferSize != 0 && header.suggestedBufferSize < largest)
            patches.PutU32Le(place->Data() + KrAvih::kBufferAt, largest);
    }

    // Lengths that count the first segment alone, or a part of a sample as a whole one, stay.
    void PlanStreamHeader(const SKrVerifyStream& stream)
    {
        const bool hasSamples = stream.type == kFccAuds && stream.sampleSize != 0;
        const auto units = [&stream, hasSamples](uint64_t chunks, uint64_t bytes)
        {
            return hasSamples ? bytes / stream.sampleSize : chunks;
        };
        const uint64_t inAll = units(stream.chunks, stream.bytes);
        const bool isRounded =
            hasSamples && stream.bytes % stream.sampleSize != 0 && stream.length == inAll + 1;
        if (stream.length != inAll && !isRounded &&
            stream.length != units(stream.chunksInFirstSegment, stream.bytesInFirstSegment))
            m_plan.patches.PutU32Le(stream.header->Data() + KrStrh::kLengthAt,
                                    static_cast<uint32_t>(std::min<uint64_t>(inAll, UINT32_MAX)));
        if (stream.suggestedBufferSize != 0 && stream.suggestedBufferSize < stream.largest &&
            stream.header->size >= KrStrh::kBufferAt + sizeof(uint32_t))
            m_plan.patches.PutU32Le(stream.header->Data() + KrStrh::kBufferAt, stream.largest);
    }

    const CKrByteSource& m_file;
    SKrReindexScan m_scan;
    SKrReindexPlan m_plan;
    std::optional<SKrStretch> m_tail;
    uint64_t m_append = 0; // where indexes would be appended
    bool m_isAppended = false;
    bool m_moviGrows = false;
    uint64_t m_moviEnd = 0;
    uint64_t m_end = 0; // of the file with them
    uint64_t m_unfilled = 0;
};
} // namespace

SKrReindexPlan PlanReindex(const CKrByteSource& file, CKrProgress& progress)
{
    return CKrReindexPlanning(file, progress).Run();
}
} // namespace KrTool
