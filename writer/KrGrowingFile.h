// A file while it is being written: its chunks. One thread at a time.
#ifndef KR_WRITER_KRGROWINGFILE_H
#define KR_WRITER_KRGROWINGFILE_H

#include "platform/KrPlatform.h"
#include "writer/KrFileTail.h"
#include "writer/KrHeaderFields.h"
#include "writer/KrPatches.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrRecordingRules.h"
#include "writer/KrRecordingStatus.h"
#include "writer/KrSegments.h"
#include "writer/KrWriteBatch.h"
#include "writer/KrWriterSetup.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// What a chunk has to do with the limit of its segment.
enum class EKrSegmentBudget
{
    Check,    // a segment is started where the chunk needs one
    Reserved, // it was checked before, together with others
    Ignore
};

// Any write that fails is noted in the faults that were given to the constructor, and the operation answers
// false. The write position stays after the last thing that was written whole.
class CKrGrowingFile
{
public:
    CKrGrowingFile(std::unique_ptr<IKrWritableFile> file, const SKrWriterSetup& setup,
                   const SKrRecordingRules& rules, SKrRecordingFaults& faults, CKrRecordingStatus& status);
    ~CKrGrowingFile(); // closes the file
    CKrGrowingFile(const CKrGrowingFile&) = delete;
    CKrGrowingFile& operator=(const CKrGrowingFile&) = delete;

    // Writes the headers and the first standard index of each stream; a power-safe file has them on the disk
    // then.
    [[nodiscard]] bool Begin();

    // Starts a segment unless the current one has room for queued chunks of these lengths with their padding,
    // one after the other from the write position on. Those of length 0 take none.
    [[nodiscard]] bool Reserve(std::span<const uint32_t> lengths);

    // Writes a chunk with its padding to the sector, and counts it as a frame or as audio. `rest` are the
    // lengths of what follows it in its group.
    [[nodiscard]] bool WriteQueued(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                   std::span<const uint32_t> rest);

    // What follows each queued chunk: starts the next standard index or copies entries into the current one.
    [[nodiscard]] bool KeepIndex(EKrStream stream);

    // The same file by fewer writes: chunks are written together, and recorded, counted and indexed then. A
    // small payload may go as soon as this returns, a large one is written before. The bytes and their order
    // are those of WriteQueued and KeepIndex.
    [[nodiscard]] bool JoinQueued(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                  std::span<const uint32_t> rest);
    [[nodiscard]] bool WriteJoined();
    [[nodiscard]] bool HasJoined() const { return !m_batch.IsEmpty(); }

    // Writes a chunk that is neither padded nor counted.
    [[nodiscard]] bool WriteDirect(EKrStream stream, KrByteSpan data);

    // Measures the data rate once a second of video has been written since the last time, and answers whether
    // it did: then the file should be flushed.
    [[nodiscard]] bool MeasureDataRate();

    // Another thread may call it beside everything but Close.
    void Flush();

    // Writes 'idx1' if that is still to come, and what the standard indexes wait for.
    [[nodiscard]] bool Finish();

    // Lets go of all views, cuts off what a failed write left after the last whole chunk, and flushes the
    // file.
    void Close();

    // Those that wait to be written together included.
    [[nodiscard]] uint32_t FramesTaken() const
    {
        return m_totals.frames + static_cast<uint32_t>(m_batch.Count(EKrStream::Video));
    }
    [[nodiscard]] bool Has(EKrStream stream) const
    {
        return stream == EKrStream::Video || m_setup.HasAudio();
    }

private:
    [[nodiscard]] uint64_t PaddingAfter(uint64_t position) const;
    [[nodiscard]] uint64_t PredictedSize(std::span<const uint32_t> lengths) const;
    [[nodiscard]] bool PrepareFor(EKrStream stream, uint32_t length, EKrSegmentBudget budget,
                                  std::span<const uint32_t> rest);
    [[nodiscard]] bool CanJoin(EKrStream stream, uint32_t length, EKrSegmentBudget budget);
    [[nodiscard]] bool KeepJoined();
    [[nodiscard]] bool KeepWritten(const CKrWriteBatch::SKrChunk& chunk, uint64_t& written);
    void ReportCounts();
    [[nodiscard]] bool KeepFieldsIn32Bits(EKrStream stream, uint32_t length, bool& startedIndex);
    [[nodiscard]] bool WritePadded(EKrStream stream, KrByteSpan data);
    bool Record(EKrStream stream, uint32_t length);
    void Count(EKrStream stream, uint32_t length);

    const SKrWriterSetup m_setup;
    const SKrRecordingRules m_rules;
    SKrRecordingFaults& m_faults;
    CKrRecordingStatus& m_status;
    SKrRecordedTotals m_totals;
    uint64_t m_audioChunks = 0;
    CKrFileTail m_tail;
    CKrPatches m_patches;
    CKrSegments m_segments;
    CKrWriteBatch m_batch;

    uint64_t m_measuredPosition = 0;
    uint32_t m_measuredFrames = 0;
    std::vector<KrByteSpan> m_parts; // of one write
};

#endif
