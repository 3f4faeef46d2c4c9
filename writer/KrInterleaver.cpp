#include "writer/KrInterleaver.h"

#include <mutex>
#include <new>
#include <utility>

void CKrInterleaver::Begin(std::unique_ptr<CKrGrowingFile> file, const SKrWriterSetup& setup)
{
    const CKrLockScope step(m_stepLock);
    m_writer.Begin(std::move(file));
    const std::lock_guard guard(m_queueLock);
    m_queue.Begin(setup);
    m_hasAudio = setup.HasAudio();
}

void CKrInterleaver::SetWorkerRunning(bool isRunning)
{
    const std::lock_guard guard(m_queueLock);
    m_workerRunning = isRunning;
}

void CKrInterleaver::StartAccepting()
{
    m_writer.AcceptDirect(true);
    const std::lock_guard guard(m_queueLock);
    m_accepting = true;
}

bool CKrInterleaver::StopAccepting()
{
    m_writer.AcceptDirect(false);
    const std::lock_guard guard(m_queueLock);
    m_accepting = false;
    return std::exchange(m_workerRunning, false);
}

EKrSubmission CKrInterleaver::Submit(EKrStream stream, CKrSampleList& samples)
{
    const std::lock_guard guard(m_queueLock);
    if (!m_accepting || (stream == EKrStream::Audio && !m_hasAudio))
        return EKrSubmission::Refused;
    m_queue.Push(stream, samples);
    return m_workerRunning ? EKrSubmission::ForWorker : EKrSubmission::ForCaller;
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
        m_faults.writeFailed = true;
    }
}

void CKrInterleaver::RunStepOfWorker()
{
    StopWhenOutOfMemory([this] { static_cast<void>(RunStep()); });
    if (m_faults.writeFailed)
        ReleaseQueued();
}

// One that comes from inside a sample leaves its part to the one under way: steps never lie inside each
// other, however long a chain of samples that submit the next.
bool CKrInterleaver::RunStepOfCaller()
{
    const CKrLockScope step(m_stepLock);
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
        m_faults.writeFailed = true; // samples that were taken out are lost
        m_isStepping = false;
        throw;
    }
    m_isStepping = false;
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
            const CKrLockScope step(m_stepLock);
            static_cast<void>(m_writer.Finish());
        });
}

void CKrInterleaver::CloseFile()
{
    const CKrLockScope step(m_stepLock);
    m_writer.Close();
}

void CKrInterleaver::ReleaseQueued()
{
    CKrSampleList released; // outside the lock: a sample's release may call anything
    const std::lock_guard guard(m_queueLock);
    released = m_queue.TakeAll();
}

// Moves what is due. False when writing failed, now or before.
bool CKrInterleaver::RunStep()
{
    const CKrLockScope step(m_stepLock);
    if (m_faults.writeFailed)
        return false;
    if (!m_writer.HasFile())
        return true; // closed since the submission, which was written then
    const bool written = WriteNext();
    m_writer.MeasureDataRate();
    return written;
}

bool CKrInterleaver::RunFinalStep()
{
    const CKrLockScope step(m_stepLock);
    if (m_faults.writeFailed)
        return false;
    const bool written = WriteNext() && Drain();
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
    SKrBatch batch;
    {
        const std::lock_guard guard(m_queueLock);
        batch = m_queue.TakeBatch(m_writer.FramesWritten());
    }
    if (!batch.video.empty() && !batch.audio.empty() && !m_writer.WriteGroup(batch))
        return false;
    for (; !batch.video.empty(); batch.video.pop_front())
    {
        if (!m_writer.Write(EKrStream::Video, *batch.video.front().sample.Get(), EKrSegmentBudget::Check))
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
    const std::lock_guard guard(m_queueLock);
    return m_queue.Sizes();
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
        SKrQueuedSample next;
        {
            const std::lock_guard guard(m_queueLock);
            next = (m_queue.*take)();
        }
        if (!next)
            return true;
        if (!m_writer.Write(stream, *next.sample.Get(), budget))
            return false;
    }
}
