#include "tools/copier/KrAviCopy.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrFileWindow.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrBlockWriter.h"
#include "tools/copier/KrSegmentPlan.h"
#include "tools/output/KrOutputFile.h"

#include <algorithm>
#include <array>
#include <optional>

namespace KrTool
{
namespace
{
// Chunks up to this size are read through a window, so that many small ones take few reads.
constexpr uint32_t kSmallChunk = 65536;

// From this size on the system copies them, if it can.
constexpr uint32_t kLargeChunk = 262144;
constexpr size_t kLookedAt = 64;

class CKrCopyWriting
{
public:
    CKrCopyWriting(const SKrCopyJob& job, const std::string& output, bool force, CKrProgress& progress)
        : m_job(job), m_plan(PlanFile(job, output)), m_file(output, force), m_progress(progress),
          m_out(m_file, progress)
    {
        const size_t streams = job.header.streams.size();
        m_result.chunks.resize(streams);
        m_result.bytes.resize(streams);
        m_result.blankFrames.resize(streams);
        for (const SKrCarriedStream& stream : job.header.streams)
            m_isCoded.push_back(IsCoded(stream));
    }

    SKrCopyResult Run()
    {
        m_progress.Begin("writing", m_plan.Size(), EKrUnit::Byte);
        m_out.Put(HeaderBytes(m_job, m_plan));
        for (const SKrPlannedSegment& segment : m_plan.segments)
            PutSegment(segment);
        m_out.Finish();
        m_file.Commit();
        m_progress.End();
        m_result.segments = m_plan.segments.size();
        m_result.fileBytes = m_plan.Size();
        return std::move(m_result);
    }

private:
    static bool IsCoded(const SKrCarriedStream& stream)
    {
        return stream.Fields().type == kFccVids &&
               IsCodedPicture(DecodeBitmapHeader(stream.Format()).compression);
    }

    [[nodiscard]] bool IsFirst(const SKrPlannedSegment& segment) const
    {
        return &segment == &m_plan.segments.front();
    }

    void PutSegment(const SKrPlannedSegment& segment)
    {
        if (!IsFirst(segment))
        {
            PutContainer(kFccRiff, segment.end - segment.position - kChunkHeaderSize, kFccAvix);
            PutContainer(kFccList, segment.moviEnd - m_out.Position() - kChunkHeaderSize, kFccMovi);
        }
        m_job.ForEach(segment.firstChunk, segment.endChunk,
                      [this](const SKrCopyClip& clip, const SKrCarriedChunk& chunk)
                      { PutChunk(clip, chunk); });
        for (uint32_t stream = 0; stream < segment.indexes.size() && m_plan.hasStandardIndexes; ++stream)
        {
            if (segment.indexes[stream].entries != 0)
                PutStandardIndex(segment, stream);
        }
        if (!IsFirst(segment))
            return;
        PutOldIndex(segment);
        std::vector<uint8_t> bytes;
        for (const SKrCarriedBytes& chunk : m_job.header.afterData)
            Encode(bytes, chunk);
        m_out.Put(bytes);
    }

    void PutContainer(uint32_t id, uint64_t size, uint32_t type)
    {
        std::array<uint8_t, kListHeaderSize> bytes = {};
        PutLe32(&bytes[0], id);
        PutLe32(&bytes[4], Low32(size));
        PutLe32(&bytes[8], type);
        m_out.Put(bytes);
    }

    void PutHeader(uint32_t id, uint32_t size)
    {
        std::array<uint8_t, kChunkHeaderSize> bytes = {};
        PutLe32(&bytes[0], id);
        PutLe32(&bytes[4], size);
        m_out.Put(bytes);
    }

    void PutChunk(const SKrCopyClip& clip, const SKrCarriedChunk& chunk)
    {
        PutHeader(chunk.Id(), chunk.size);
        PutData(clip, chunk);
        if (chunk.size % 2 != 0)
            m_out.Put(std::array<uint8_t, 1>{});
        m_result.bytes[chunk.stream] += chunk.size;
        m_result.chunks[chunk.stream] += chunk.IsPaletteChange() ? 0 : 1;
    }

    void PutData(const SKrCopyClip& clip, const SKrCarriedChunk& chunk)
    {
        const bool isMade = (chunk.position & SKrCarriedChunk::kMade) != 0;
        auto done = static_cast<uint32_t>(isMade ? 0 : CopyData(clip, chunk));
        bool isBlank = m_isCoded[chunk.stream] && chunk.size != 0 && done == 0;
        while (done < chunk.size)
        {
            std::span<uint8_t> free = m_out.Free();
            free = free.first(std::min<size_t>(free.size(), chunk.size - done));
            if (isMade)
                std::ranges::fill(free, static_cast<uint8_t>(chunk.position));
            else if (chunk.size <= kSmallChunk)
                CopySmall(clip, chunk.position + done, free);
            else
                clip.file->Fill(chunk.position + done, free);
            isBlank = isBlank && std::ranges::all_of(free, [](uint8_t byte) { return byte == 0; });
            m_out.Commit(free.size());
            done += static_cast<uint32_t>(free.size());
        }
        m_result.blankFrames[chunk.stream] += isBlank ? 1 : 0;
    }

    static_assert(kSmallChunk <= CKrFileWindow::kLargest);
    void CopySmall(const SKrCopyClip& clip, uint64_t position, std::span<uint8_t> bytes)
    {
        const std::span<const uint8_t> there = WindowOf(clip).At(position, bytes.size());
        if (there.size() < bytes.size())
            clip.file->Fill(position, bytes); // throws
        std::ranges::copy(there, bytes.begin());
    }

    // Large chunks are copied without being read, unless they may be frames of zeros.
    uint64_t CopyData(const SKrCopyClip& clip, const SKrCarriedChunk& chunk)
    {
        if (chunk.size < kLargeChunk || !m_canCopy)
            return 0;
        const std::span<const uint8_t> start = WindowOf(clip).At(chunk.position, kLookedAt);
        if (m_isCoded[chunk.stream] && std::ranges::all_of(start, [](uint8_t byte) { return byte == 0; }))
            return 0; // every byte is looked at
        const uint64_t done = m_out.PutFrom(*m_ranges, chunk.position, chunk.size);
        m_canCopy = done == chunk.size;
        return done;
    }

    CKrFileWindow& WindowOf(const SKrCopyClip& clip)
    {
        if (m_windowClip != &clip)
        {
            m_window.emplace(*clip.file);
            m_ranges.emplace(clip.file->Path(), clip.file->Identity());
        }
        m_windowClip = &clip;
        return *m_window;
    }

    void PutStandardIndex(const SKrPlannedSegment& segment, uint32_t stream)
    {
        const SKrPlannedIndex& index = segment.indexes[stream];
        SKrStdIndexHead head;
        SKrCarriedChunk named; // for the digits of its id
        named.stream = static_cast<uint8_t>(stream);
        head.chunkId = (named.Id() & 0xFFFF) << 16 | (kFccIx00 & 0xFFFF);
        head.chunkSize = static_cast<uint32_t>(SKrStdIndexHead::kEncodedSize - kChunkHeaderSize +
                                               size_t{index.entries} * SKrStdIndexEntry::kEncodedSize);
        head.entriesInUse = index.entries;
        head.streamChunkId = m_plan.chunkIds[stream];
        head.baseOffset = segment.dataPosition;
        std::vector<uint8_t> bytes;
        CKrByteWriter writer(bytes);
        Encode(writer, head);
        uint64_t position = segment.dataPosition;
        m_job.ForEach(
            segment.firstChunk, segment.endChunk,
            [&](const SKrCopyClip&, const SKrCarriedChunk& chunk)
            {
                const uint64_t data = position + kChunkHeaderSize;
                position = RoundUpToEven(data + chunk.size);
                if (chunk.stream != stream || chunk.IsPaletteChange())
                    return;
                const uint32_t flag = chunk.IsKeyFrame() ? 0 : SKrStdIndexEntry::kNotKeyFrame;
                Encode(writer, SKrStdIndexEntry{Low32(data - segment.dataPosition), chunk.size | flag});
                Flush(bytes);
            });
        m_out.Put(bytes);
    }

    // Offsets count from the type of 'movi'.
    void PutOldIndex(const SKrPlannedSegment& segment)
    {
        PutHeader(kFccIdx1, Low32(m_plan.oldIndexEntries * SKrOldIndexEntry::kEncodedSize));
        std::vector<uint8_t> bytes;
        CKrByteWriter writer(bytes);
        uint64_t offset = kListTypeSize;
        m_job.ForEach(segment.firstChunk, segment.endChunk,
                      [&](const SKrCopyClip&, const SKrCarriedChunk& chunk)
                      {
                          const uint32_t flags = (chunk.IsKeyFrame() ? kAviifKeyFrame : 0) |
                                                 (chunk.IsPaletteChange() ? kAviifNoTime : 0);
                          if (chunk.IsIndexed())
                              Encode(writer, SKrOldIndexEntry{chunk.Id(), flags, Low32(offset), chunk.size});
                          offset += kChunkHeaderSize + RoundUpToEven(chunk.size);
                          Flush(bytes);
                      });
        m_out.Put(bytes);
    }

    // Indexes of millions of chunks take no memory.
    void Flush(std::vector<uint8_t>& bytes)
    {
        constexpr size_t kEnough = 65536;
        if (bytes.size() < kEnough)
            return;
        m_out.Put(bytes);
        bytes.clear();
    }

    const SKrCopyJob& m_job;
    const SKrFilePlan m_plan;
    CKrOutputFile m_file;
    CKrProgress& m_progress;
    CKrBlockWriter m_out;
    const SKrCopyClip* m_windowClip = nullptr;
    std::optional<CKrFileWindow> m_window;
    std::optional<CKrRangeSource> m_ranges; // of the same file
    bool m_canCopy = true;
    std::vector<bool> m_isCoded; // streams of coded pictures, which are never zeros alone
    SKrCopyResult m_result;
};
} // namespace

SKrCopyResult WriteCopy(const SKrCopyJob& job, const std::string& output, bool force, CKrProgress& progress)
{
    if (job.ChunkCount() == 0) // nobody could open the new file
        throw CKrToolError(job.clips.front().file->Path(), "no whole chunk is left to be copied");
    return CKrCopyWriting(job, output, force, progress).Run();
}
} // namespace KrTool
