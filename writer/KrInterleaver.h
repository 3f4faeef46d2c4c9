// Moves samples from the queue to the file: the steps that the worker runs, or each submission when there is
// no worker.
//
// The host's samples are called under no lock, and in no turn that a submission or a direct chunk waits for.
// This is the order: m_stepTurn, then either the lock of the submissions or the file's turn of
// CKrSampleWriter. A submission takes the former alone, for a few instructions; a direct chunk takes the
// file's turn alone, for its write.
#ifndef KR_WRITER_KRINTERLEAVER_H
#define KR_WRITER_KRINTERLEAVER_H

#include "base/KrTurn.h"
#include "platform/KrPlatform.h"
#include "siblings/KrKernel/KrWorkerThread.h"
#include "writer/KrFreeRun.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrRecordingRules.h"
#include "writer/KrRecordingStatus.h"
#include "writer/KrSampleQueue.h"
#include "writer/KrSampleWriter.h"
#include "writer/KrSubmissions.h"

#include <cstdint>
#include <memory>

class CKrInterleaver
{
public:
    CKrInterleaver(IKrClock& clock, int (*createThread)(int kind, IKrWorkerThread** out));

    SKrRecordingFaults& Faults() { return m_faults; }
    CKrRecordingStatus& Status() { return m_status; }

    // For opening and closing, which one thread does at a time.
    void Begin(std::unique_ptr<CKrGrowingFile> file, const SKrWriterSetup& setup,
               const SKrRecordingRules& rules);
    void SetWorkerRunning(bool isRunning) { m_submissions.SetWorkerRunning(isRunning); }
    void StartAccepting();

    // Ends the submissions; what was accepted before is still written. Answers whether a worker has to be
    // stopped.
    [[nodiscard]] bool StopAccepting();
    [[nodiscard]] bool HasFile() const { return m_writer.HasFile(); }
    void FinishQueue();
    void FinishIndexes();
    void CloseFile();
    void ReleaseQueued();

    // Any thread. A submission may wait where the host has set a limit and `mayWait`.
    [[nodiscard]] SKrSubmitted Submit(EKrStream stream, CKrSampleList& samples, bool mayWait)
    {
        return m_submissions.Submit(stream, samples, mayWait);
    }
    void CountRefused() { m_submissions.CountRefused(); }
    [[nodiscard]] bool RunStepOfCaller();
    [[nodiscard]] bool WriteDirect(EKrStream stream, KrByteSpan data)
    {
        return m_writer.WriteDirect(stream, data);
    }

    // The worker's thread. When writing has failed, what is queued is released.
    void RunStepOfWorker();

    // The worker's thread: whether each submission is a step of its own, or a step takes all that has come;
    // and for how many milliseconds the worker may then wait for more.
    [[nodiscard]] bool RunsFreely() const { return m_runsFreely; }
    [[nodiscard]] uint32_t WaitMs();

private:
    template <class Step>
    void StopWhenOutOfMemory(Step step);
    void Fail();
    [[nodiscard]] bool RunStep();
    [[nodiscard]] bool RunFinalStep();
    [[nodiscard]] bool WriteNext();
    [[nodiscard]] bool WriteAllVideo();
    [[nodiscard]] bool WriteNextBatch();
    [[nodiscard]] bool Drain();
    [[nodiscard]] CKrSampleQueue::SKrSizes QueueSizes();
    [[nodiscard]] bool WriteRemaining();
    [[nodiscard]] bool WriteAll(SKrQueuedSample (CKrSampleQueue::*take)(), EKrStream stream,
                                EKrSegmentBudget budget);

    SKrRecordingFaults m_faults;
    CKrRecordingStatus m_status;
    CKrSubmissions m_submissions;

    // Of whoever moves samples from the queue to the file, also while it calls them: the worker, or without
    // one each submission, whose samples may submit more.
    CKrTurn m_stepTurn;
    CKrSampleWriter m_writer;  // in m_stepTurn, but for direct chunks
    CKrFreeRun m_free;         // in m_stepTurn
    bool m_runsFreely = false; // changed in m_stepTurn while no worker runs
    bool m_hasAudio = false;   // likewise
    bool m_isStepping = false; // in m_stepTurn: a submission without a worker is at work
    bool m_stepAgain = false;  // in m_stepTurn: another came from inside a sample
};

#endif
