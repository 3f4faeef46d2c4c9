// The open file as samples and direct chunks reach it.
#ifndef KR_WRITER_KRSAMPLEWRITER_H
#define KR_WRITER_KRSAMPLEWRITER_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "base/KrTurn.h"
#include "platform/KrPlatform.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "writer/KrFlusher.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrPacer.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrRecordingRules.h"
#include "writer/KrRecordingStatus.h"
#include "writer/KrSampleQueue.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// Samples are locked, paced and unlocked outside of the file's turn, in which a chunk is written or the file
// flushed. All but WriteDirect is called by one thread at a time, which its owner sees to.
class CKrSampleWriter
{
public:
    CKrSampleWriter(IKrClock& clock, SKrRecordingFaults& faults, CKrRecordingStatus& status,
                    int (*createThread)(int kind, IKrWorkerThread** out))
        : m_faults(faults), m_status(status), m_pacer(clock), m_flusher(createThread)
    {
    }

    // Recordings by other rules than the defaults flush on a thread of their own, where there is one.
    void Begin(std::unique_ptr<CKrGrowingFile> file, const SKrRecordingRules& rules);

    // Whether a file is open. For the owner's thread, or where none can open or close.
    [[nodiscard]] bool HasFile() const { return m_file != nullptr; }
    [[nodiscard]] uint32_t FramesTaken() const { return m_file->FramesTaken(); }

    // Writes a sample; one that cannot be locked is passed over.
    [[nodiscard]] bool Write(EKrStream stream, const SKrQueuedSample& sample, EKrSegmentBudget budget);

    // Writes the first sample of a list and takes it out.
    [[nodiscard]] bool Write(EKrStream stream, CKrSampleList& samples, EKrSegmentBudget budget);

    // Writes the audio of a batch and its first frame, in one segment, and takes them out of it.
    [[nodiscard]] bool WriteGroup(SKrBatch& batch);

    // By other rules than the defaults small samples are copied and unlocked, and written together: HasJoined
    // answers whether any still wait for it. Samples that were taken out of lists are not released but kept.
    [[nodiscard]] bool HasJoined() const { return m_hasJoined; }
    [[nodiscard]] bool WriteJoined();
    [[nodiscard]] CKrSampleList TakeWritten();

    // Flushes the file, too, about once in a second of video.
    void MeasureDataRate();
    [[nodiscard]] bool Finish();
    void Close();

    // Direct chunks are refused until they are let in. Any thread.
    void AcceptDirect(bool accept);
    [[nodiscard]] bool WriteDirect(EKrStream stream, KrByteSpan data);

private:
    [[nodiscard]] bool ReserveGroup(const SKrBatch& batch);
    [[nodiscard]] bool WriteInGroup(EKrStream stream, const SKrQueuedSample& sample, EKrSegmentBudget budget,
                                    std::span<const uint32_t> rest);
    [[nodiscard]] bool JoinBytes(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                 std::span<const uint32_t> rest);
    [[nodiscard]] bool KeepWritten(EKrStream stream);
    void MoveOn(CKrSampleList& samples);
    [[nodiscard]] bool WriteBytes(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                  std::span<const uint32_t> rest);

    SKrRecordingFaults& m_faults;
    CKrRecordingStatus& m_status;
    SKrRecordingRules m_rules;
    CKrPacer m_pacer;
    std::vector<uint32_t> m_groupLengths;
    bool m_joins = false; // the rules are not the defaults
    bool m_hasJoined = false;
    CKrSampleList m_written; // kept until they are released together

    CKrTurn m_fileTurn; // guards what follows
    std::unique_ptr<CKrGrowingFile>
        m_file; // changed by the owner's thread alone, which may test it outside of the turn
    bool m_acceptingDirect = false;

    CKrFlusher m_flusher; // of the open file; ended before that closes
    bool m_flushesBeside = false;
};

#endif
