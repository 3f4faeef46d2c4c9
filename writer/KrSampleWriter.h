// The open file as samples and direct chunks reach it.
#ifndef KR_WRITER_KRSAMPLEWRITER_H
#define KR_WRITER_KRSAMPLEWRITER_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrPacer.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrSampleQueue.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// Samples are locked, paced and unlocked outside of its lock, which guards the file while a chunk is written
// or the file flushed. All but WriteDirect is called by one thread at a time, which its owner sees to.
class CKrSampleWriter
{
public:
    CKrSampleWriter(IKrClock& clock, SKrRecordingFaults& faults) : m_faults(faults), m_pacer(clock) {}

    void Begin(std::unique_ptr<CKrGrowingFile> file);

    // Whether a file is open. For the owner's thread, or where none can open or close.
    [[nodiscard]] bool HasFile() const { return m_file != nullptr; }
    [[nodiscard]] uint32_t FramesWritten() const { return m_file->FramesWritten(); }

    // Writes a sample; one that cannot be locked is passed over.
    [[nodiscard]] bool Write(EKrStream stream, IKrMediaSample& sample, EKrSegmentBudget budget);

    // Writes the audio of a batch and its first frame, in one segment, and takes them out of it.
    [[nodiscard]] bool WriteGroup(SKrBatch& batch);

    void MeasureDataRate();
    [[nodiscard]] bool Finish();
    void Close();

    // Direct chunks are refused until they are let in. Any thread.
    void AcceptDirect(bool accept);
    [[nodiscard]] bool WriteDirect(EKrStream stream, KrByteSpan data);

private:
    [[nodiscard]] bool ReserveGroup(const SKrBatch& batch);
    [[nodiscard]] bool WriteInGroup(EKrStream stream, IKrMediaSample& sample, EKrSegmentBudget budget,
                                    std::span<const uint32_t> rest);
    [[nodiscard]] bool WriteBytes(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                  std::span<const uint32_t> rest);

    SKrRecordingFaults& m_faults;
    CKrPacer m_pacer;
    std::vector<uint32_t> m_groupLengths;

    CKrMutex m_fileLock; // guards what follows
    std::unique_ptr<CKrGrowingFile>
        m_file; // changed by the owner's thread alone, which may test it without the lock
    bool m_acceptingDirect = false;
};

#endif
