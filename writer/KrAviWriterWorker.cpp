// From the queue to the file: the steps that the worker runs, or each submission when there is no worker.
#include "writer/KrAviWriter.h"

#include <new>
#include <utility>

namespace
{
// A sample's buffer, locked while this lives.
class CKrLockedBuffer
{
public:
    explicit CKrLockedBuffer(IKrMediaSample& sample) : m_sample(sample)
    {
        m_locked = sample.LockBuffer(&m_data, &m_length) != 0;
    }
    ~CKrLockedBuffer()
    {
        if (m_locked)
            m_sample.UnlockBuffer();
    }
    CKrLockedBuffer(const CKrLockedBuffer&) = delete;
    CKrLockedBuffer& operator=(const CKrLockedBuffer&) = delete;

    // Empty when the sample could not be locked.
    [[nodiscard]] KrByteSpan Bytes() const
    {
        if (!m_locked || m_data == nullptr || m_length < 1)
            return {};
        return {m_data, static_cast<size_t>(m_length)};
    }

private:
    IKrMediaSample& m_sample;
    uint8_t* m_data = nullptr;
    int32_t m_length = 0;
    bool m_locked = false;
};

uint32_t LengthOf(IKrMediaSample& sample)
{
    return static_cast<uint32_t>(CKrLockedBuffer(sample).Bytes().size());
}
} // namespace

uint32_t CKrAviWriter::WorkRoutine(void* context, std::stop_token stop)
{
    auto* const writer = static_cast<CKrAviWriter*>(context);
    writer->Work(stop);
    if (writer->m_isLeftToWorker)
        delete writer;
    return 0;
}

bool CKrAviWriter::IsOnWorker() const
{
    return m_workerThread == KrCurrentThread();
}

// The last reference went on the worker's own thread, from inside a sample that it released. Nobody waits for
// the worker then: it completes the file, deletes the writer, and keeps the library loaded for what is left
// of it.
void CKrAviWriter::LeaveToWorker()
{
    m_isLeftToWorker = true;
    m_moduleHold.Keep();
    static_cast<void>(StopAccepting());
    m_worker->Stop();
}

// An exception would leave the worker's thread and end the process; from a close it would keep the file open.
template <class Step>
void CKrAviWriter::FailWhereMemoryIsShort(Step step)
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

void CKrAviWriter::Work(const std::stop_token& stop)
{
    const CKrCallers::CScope caller(m_callers);
    m_workerThread = KrCurrentThread();
    while (m_work.WaitForWork(stop))
    {
        FailWhereMemoryIsShort([this] { static_cast<void>(RunStep()); });
        if (m_faults.writeFailed)
            ReleaseQueued();
    }
    FinishQueue();
    FinishIndexes();
    m_workerThread = 0;
}

void CKrAviWriter::FinishQueue()
{
    FailWhereMemoryIsShort([this] { static_cast<void>(RunFinalStep()); });
}

// Writes what the file still needs, also when not all samples could be written.
void CKrAviWriter::FinishIndexes()
{
    FailWhereMemoryIsShort(
        [this]
        {
            const CKrLockScope step(m_stepLock);
            const std::lock_guard guard(m_fileLock);
            static_cast<void>(m_file->Finish());
        });
}

// What a submission does when there is no worker. One that comes from inside a sample leaves its part to the
// one under way: steps never lie inside each other, however long a chain of samples that submit the next.
bool CKrAviWriter::DoWorkersPart()
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

// Moves what is due. False when writing failed, now or before.
bool CKrAviWriter::RunStep()
{
    const CKrLockScope step(m_stepLock);
    if (m_faults.writeFailed)
        return false;
    if (m_file == nullptr)
        return true; // closed since the submission, which was written then
    const bool written = WriteNext();
    MeasureDataRate();
    return written;
}

bool CKrAviWriter::RunFinalStep()
{
    const CKrLockScope step(m_stepLock);
    if (m_faults.writeFailed)
        return false;
    const bool written = WriteNext() && Drain();
    MeasureDataRate();
    return written;
}

bool CKrAviWriter::WriteNext()
{
    return m_hasAudio ? WriteNextBatch() : WriteAllVideo();
}

// Without audio the queue's order is the file's.
bool CKrAviWriter::WriteAllVideo()
{
    for (;;)
    {
        SKrQueuedSample next;
        {
            const std::lock_guard guard(m_queueLock);
            next = m_queue.TakeVideo();
        }
        if (!next)
            return true;
        if (!WriteSample(EKrStream::Video, *next.sample.Get(), EKrSegmentBudget::Check))
            return false;
    }
}

bool CKrAviWriter::WriteNextBatch()
{
    SKrBatch batch;
    {
        const std::lock_guard guard(m_queueLock);
        batch = m_queue.TakeBatch(m_file->FramesWritten());
    }
    if (!batch.video.empty() && !batch.audio.empty() && !WriteGroup(batch))
        return false;
    for (; !batch.video.empty(); batch.video.pop_front())
    {
        if (!WriteSample(EKrStream::Video, *batch.video.front().sample.Get(), EKrSegmentBudget::Check))
            return false;
    }
    return true;
}

// The audio of a batch and its first frame, in one segment.
bool CKrAviWriter::WriteGroup(SKrBatch& batch)
{
    if (!ReserveGroup(batch))
        return false;
    std::span<const uint32_t> rest(m_groupLengths);
    for (; !batch.audio.empty(); batch.audio.pop_front())
    {
        rest = rest.subspan(1);
        if (!WriteSample(EKrStream::Audio, *batch.audio.front().sample.Get(), EKrSegmentBudget::Reserved,
                         rest))
            return false;
    }
    if (!WriteSample(EKrStream::Video, *batch.video.front().sample.Get(), EKrSegmentBudget::Reserved))
        return false;
    batch.video.pop_front();
    return true;
}

// Steps as long as they move anything, then what they left: frames without their audio, audio without frames.
bool CKrAviWriter::Drain()
{
    for (;;)
    {
        const auto sizes = [this]
        {
            const std::lock_guard guard(m_queueLock);
            return m_queue.Sizes();
        };
        const CKrSampleQueue::SKrSizes before = sizes();
        if (before == CKrSampleQueue::SKrSizes{})
            return true;
        if (!RunStep())
            return false;
        if (sizes() == before)
            return WriteRemaining();
    }
}

bool CKrAviWriter::WriteRemaining()
{
    const auto writeAll =
        [this](SKrQueuedSample (CKrSampleQueue::*take)(), EKrStream stream, EKrSegmentBudget budget)
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
            if (!WriteSample(stream, *next.sample.Get(), budget))
                return false;
        }
    };
    return writeAll(&CKrSampleQueue::TakeVideo, EKrStream::Video, EKrSegmentBudget::Check) &&
           writeAll(&CKrSampleQueue::TakeReadyAudio, EKrStream::Audio, EKrSegmentBudget::Ignore) &&
           writeAll(&CKrSampleQueue::TakeWaitingAudio, EKrStream::Audio, EKrSegmentBudget::Ignore);
}

// Room for a frame and the audio that goes before it, so that no segment starts between them.
bool CKrAviWriter::ReserveGroup(const SKrBatch& batch)
{
    m_groupLengths.clear();
    for (const SKrQueuedSample& queued : batch.audio)
        m_groupLengths.push_back(LengthOf(*queued.sample.Get()));
    m_groupLengths.push_back(LengthOf(*batch.video.front().sample.Get()));

    // Not before: a sample may be locked by whoever waits for the file.
    const std::lock_guard guard(m_fileLock);
    return m_file->Reserve(m_groupLengths);
}

// A sample that cannot be locked is passed over. `rest` are the lengths of what follows it in its group.
bool CKrAviWriter::WriteSample(EKrStream stream, IKrMediaSample& sample, EKrSegmentBudget budget,
                               std::span<const uint32_t> rest)
{
    const CKrLockedBuffer buffer(sample);
    if (buffer.Bytes().empty())
    {
        m_faults.samplePassedOver = true;
        return true;
    }
    if (!WriteLocked(stream, buffer.Bytes(), budget, rest))
        return false;
    m_pacer.Pace();
    const std::lock_guard guard(m_fileLock);
    return m_file->KeepIndex(stream);
}

bool CKrAviWriter::WriteLocked(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                               std::span<const uint32_t> rest)
{
    const std::lock_guard guard(m_fileLock);
    return m_file->WriteQueued(stream, data, budget, rest);
}

void CKrAviWriter::MeasureDataRate()
{
    const std::lock_guard guard(m_fileLock);
    m_file->MeasureDataRate();
}
