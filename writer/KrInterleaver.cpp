#include "writer/KrInterleaver.h"

#include <mutex>
#include <new>
#include <utility>

CKrInterleaver::CKrInterleaver(IKrClock& clock, int (*createThread)(int kind, IKrWorkerThread** out))
    : m_status(clock), m_submissions(m_faults, m_status), m_writer(clock, m_faults, m_status, createThread),
      m_free(m_submissions, m_writer, clock)
{
}

void CKrInterleaver::Begin(std::unique_ptr<CKrGrowingFile> file, const SKrWriterSetup& setup,
                           const SKrRecordingRules& rules)
{
    const CKrTurnScope step(m_stepTurn);
    m_writer.Begin(std::move(file), rules);
    m_submissions.Begin(setup, rules);
    m_free.Begin(setup, rules);
    m_runsFreely = !rules.AreDefaults();
    m_hasAudio = setup.HasAudio();
}

void CKrInterleaver::StartAccepting()
{
    m_status.SetState(kKrStateOpen, true);
    m_writer.AcceptDirect(true);
    m_submissions.StartAccepting();
}

bool CKrInterleaver::StopAccepting()
{
    const bool hasWorker = m_submissions.StopAccepting(); // first: who waits there need not wait for a write
    m_writer.AcceptDirect(false);
    return hasWorker;
}

// An exception would leave the worker's thread and end the process; from a close it would keep the file open.
template <class Step>
void CKrInterleaver::StopWhenOutOfMemory(Step step)
{
    try
    {
        step();
    }
    catch (const std::bad_alloc&)
    {
        Fail();
    }
}

// Without memory the recording ends like after a failed write.
void CKrInterleaver::Fail()
{
    m_faults.writeFailed = true;
    m_status.SetState(kKrStateWriteFailed, true);
}

void CKrInterleaver::RunStepOfWorker()
{
    StopWhenOutOfMemory([this] { static_cast<void>(RunStep()); });
    if (m_faults.writeFailed)
        ReleaseQueued(); // which wakes whoever waits for room: it is refused now
}

uint32_t CKrInterleaver::WaitMs()
{
    const CKrTurnScope step(m_stepTurn);
    return m_free.WaitMs();
}

// One that comes from inside a sample leaves its part to the one under way: steps never lie inside each
// other, however long a chain of samples that submit the next.
bool CKrInterleaver::RunStepOfCaller()
{
    const CKrTurnScope step(m_stepTurn);
    m_stepAgain = true;
    if (m_isStepping)
        return true;
    m_isStepping = true;
    bool written = true;
    try
    {
        while (written && std::exchange(m_stepAgain, false))
            written = RunStep();
    }
    catch (...)
    {
        Fail(); // samples that were taken out are lost
        m_isStepping = false;
        m_submissions.WakeAll(); // their room alone may be too little for whoever waits
        throw;
    }
    m_isStepping = false;
    if (!written)
        m_submissions.WakeAll();
    return written;
}

void CKrInterleaver::FinishQueue()
{
    StopWhenOutOfMemory([this] { static_cast<void>(RunFinalStep()); });
}

// Writes what the file still needs, also when not all samples could be written.
void CKrInterleaver::FinishIndexes()
{
    StopWhenOutOfMemory(
        [this]
        {
            const CKrTurnScope step(m_stepTurn);
            static_cast<void>(m_writer.Finish());
        });
}

void CKrInterleaver::CloseFile()
{
    const CKrTurnScope step(m_stepTurn);
    m_writer.Close();
    m_status.SetState(kKrStateOpen | kKrStateSoundIsLate, false);
}

void CKrInterleaver::ReleaseQueued()
{
    CKrSampleList released; // outside of the turn: a sample's release may call anything
    const CKrTurnScope step(m_stepTurn);
    released = m_free.TakeAll();
    CKrSampleList queued = m_submissions.With([](CKrSampleQueue& queue) { return queue.TakeAll(); });
    released.splice(released.end(), queued);
}

// Moves what is due. False when writing failed, now or before.
bool CKrInterleaver::RunStep()
{
    const CKrTurnScope step(m_stepTurn);
    if (m_faults.writeFailed)
        return false;
    if (!m_writer.HasFile())
        return true; // closed since the submission, which was written then
    const bool written = m_runsFreely ? m_free.Run() : WriteNext();
    m_writer.MeasureDataRate();
    return written;
}

bool CKrInterleaver::RunFinalStep()
{
    const CKrTurnScope step(m_stepTurn);
    if (m_faults.writeFailed)
        return false;
    const bool written = m_runsFreely ? m_free.RunToTheEnd() : WriteNext() && Drain();
    m_writer.MeasureDataRate();
    return written;
}

bool CKrInterleaver::WriteNext()
{
    return m_hasAudio ? WriteNextBatch() : WriteAllVideo();
}

// Without audio the queue's order is the file's.
bool CKrInterleaver::WriteAllVideo()
{
    return WriteAll(&CKrSampleQueue::TakeVideo, EKrStream::Video, EKrSegmentBudget::Check);
}

bool CKrInterleaver::WriteNextBatch()
{
    SKrBatch batch =
        m_submissions.With([this](CKrSampleQueue& queue) { return queue.TakeBatch(m_writer.FramesTaken()); });
    if (!batch.video.empty() && !batch.audio.empty() && !m_writer.WriteGroup(batch))
        return false;
    while (!batch.video.empty())
    {
        if (!m_writer.Write(EKrStream::Video, batch.video, EKrSegmentBudget::Check))
            return false;
    }
    return true;
}

// Steps as long as they move anything, then what they left: frames without their audio, audio without frames.
bool CKrInterleaver::Drain()
{
    for (;;)
    {
        const CKrSampleQueue::SKrSizes before = QueueSizes();
        if (before == CKrSampleQueue::SKrSizes{})
            return true;
        if (!RunStep())
            return false;
        if (QueueSizes() == before)
            return WriteRemaining();
    }
}

CKrSampleQueue::SKrSizes CKrInterleaver::QueueSizes()
{
    return m_submissions.With([](CKrSampleQueue& queue) { return queue.Sizes(); });
}

bool CKrInterleaver::WriteRemaining()
{
    return WriteAll(&CKrSampleQueue::TakeVideo, EKrStream::Video, EKrSegmentBudget::Check) &&
           WriteAll(&CKrSampleQueue::TakeReadyAudio, EKrStream::Audio, EKrSegmentBudget::Ignore) &&
           WriteAll(&CKrSampleQueue::TakeWaitingAudio, EKrStream::Audio, EKrSegmentBudget::Ignore);
}

bool CKrInterleaver::WriteAll(SKrQueuedSample (CKrSampleQueue::*take)(), EKrStream stream,
                              EKrSegmentBudget budget)
{
    for (;;)
    {
        const SKrQueuedSample next =
            m_submissions.With([take](CKrSampleQueue& queue) { return (queue.*take)(); });
        if (!next)
            return true;
        if (!m_writer.Write(stream, next, budget))
            return false;
    }
}
