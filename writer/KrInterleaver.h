// Moves samples from the queue to the file: the steps that the worker runs, or each submission when there is
// no worker.
//
// The host's samples are called under no lock that a submission or a direct chunk waits for. Locks are
// entered in this order: m_stepLock, then either m_queueLock or the file's lock of CKrSampleWriter. A
// submission takes m_queueLock alone, for a few instructions; a direct chunk takes the file's lock alone, for
// its write.
#ifndef KR_WRITER_KRINTERLEAVER_H
#define KR_WRITER_KRINTERLEAVER_H

#include "base/KrReentrantLock.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "writer/KrGrowingFile.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrSampleQueue.h"
#include "writer/KrSampleWriter.h"

#include <cstdint>
#include <memory>

enum class EKrSubmission
{
    Refused,
    ForWorker, // which must be signalled
    ForCaller  // no worker runs: RunStepOfCaller does its part
};

class CKrInterleaver
{
public:
    explicit CKrInterleaver(IKrClock& clock) : m_writer(clock, m_faults) {}

    SKrRecordingFaults& Faults() { return m_faults; }

    // For opening and closing, which one thread does at a time.
    void Begin(std::unique_ptr<CKrGrowingFile> file, const SKrWriterSetup& setup);
    void SetWorkerRunning(bool isRunning);
    void StartAccepting();

    // Ends the submissions; what was accepted before is still written. Answers whether a worker has to be
    // stopped.
    [[nodiscard]] bool StopAccepting();
    [[nodiscard]] bool HasFile() const { return m_writer.HasFile(); }
    void FinishQueue();
    void FinishIndexes();
    void CloseFile();
    void ReleaseQueued();

    // Any thread.
    [[nodiscard]] EKrSubmission Submit(EKrStream stream, CKrSampleList& samples);
    [[nodiscard]] bool RunStepOfCaller();
    [[nodiscard]] bool WriteDirect(EKrStream stream, KrByteSpan data)
    {
        return m_writer.WriteDirect(stream, data);
    }

    // The worker's thread. When writing has failed, what is queued is released.
    void RunStepOfWorker();

private:
    template <class Step>
    void StopWhenOutOfMemory(Step step);
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

    // Held by whoever moves samples from the queue to the file, also while it calls them: the worker, or
    // without one each submission, whose samples may submit more.
    CKrReentrantLock m_stepLock;
    CKrSampleWriter m_writer;  // under m_stepLock, but for direct chunks
    bool m_isStepping = false; // under m_stepLock: a submission without a worker is at work
    bool m_stepAgain = false;  // under m_stepLock: another came from inside a sample

    CKrMutex m_queueLock; // guards what follows
    CKrSampleQueue m_queue;
    bool m_accepting = false;     // between a successful open and the close that follows
    bool m_workerRunning = false; // else each submission does the worker's part itself
    bool m_hasAudio = false;      // changed under m_stepLock too, read under either
};

#endif
