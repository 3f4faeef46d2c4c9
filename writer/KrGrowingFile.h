// A file while it is being written: its chunks. One thread at a time.
#ifndef KR_WRITER_KRGROWINGFILE_H
#define KR_WRITER_KRGROWINGFILE_H

#include "platform/KrPlatform.h"
#include "writer/KrFileTail.h"
#include "writer/KrHeaderFields.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrSegments.h"
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
                   SKrRecordingFaults& faults);
    ~CKrGrowingFile(); // closes the file
    CKrGrowingFile(const CKrGrowingFile&) = delete;
    CKrGrowingFile& operator=(const CKrGrowingFile&) = delete;

    // Writes the headers and the first standard index of each stream.
    [[nodiscard]] bool Begin() { return m_segments.Begin(); }

    // Starts a segment unless the current one has room for queued chunks of these lengths with their padding,
    // one after the other from the write position on. Those of length 0 take none.
    [[nodiscard]] bool Reserve(std::span<const uint32_t> lengths);

    // Writes a chunk with its padding to the sector, and counts it as a frame or as audio. `rest` are the
    // lengths of what follows it in its group.
    [[nodiscard]] bool WriteQueued(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                   std::span<const uint32_t> rest);

    // What follows each queued chunk: starts the next standard index or copies entries into the current one.
    [[nodiscard]] bool KeepIndex(EKrStream stream) { return m_segments.KeepIndex(stream); }

    // Writes a chunk that is neither padded nor counted.
    [[nodiscard]] bool WriteDirect(EKrStream stream, KrByteSpan data);

    // Measures the data rate, and flushes the file, once a second of video has been written since the last
    // time.
    void MeasureDataRate();

    // Writes 'idx1' if that is still to come, and what the standard indexes wait for.
    [[nodiscard]] bool Finish() { return m_segments.Finish(); }

    // Lets go of all views, cuts off what a failed write left after the last whole chunk, and flushes the
    // file.
    void Close();

    [[nodiscard]] uint32_t FramesWritten() const { return m_totals.frames; }
    [[nodiscard]] bool Has(EKrStream stream) const
    {
        return stream == EKrStream::Video || m_setup.HasAudio();
    }

private:
    [[nodiscard]] uint64_t PaddingAfter(uint64_t position) const;
    [[nodiscard]] uint64_t PredictedSize(std::span<const uint32_t> lengths) const;
    [[nodiscard]] bool KeepFieldsIn32Bits(EKrStream stream, uint32_t length, bool& startedIndex);
    [[nodiscard]] bool WritePadded(EKrStream stream, KrByteSpan data);
    bool Record(EKrStream stream, uint32_t length);
    void Count(EKrStream stream, uint32_t length);

    const SKrWriterSetup m_setup;
    SKrRecordingFaults& m_faults;
    SKrRecordedTotals m_totals;
    CKrFileTail m_tail;
    CKrSegments m_segments;

    uint64_t m_measuredPosition = 0;
    uint32_t m_measuredFrames = 0;
    std::vector<KrByteSpan> m_parts; // of one write
};

#endif
