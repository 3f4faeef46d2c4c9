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
    static_cast<CKrAviWriter*>(context)->Work(stop);
    return 0;
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
        m_writeFailed = true;
    }
}

void CKrAviWriter::Work(const std::stop_token& stop)
{
    while (m_work.WaitForWork(stop))
    {
        FailWhereMemoryIsShort([this] { static_cast<void>(RunStep()); });
        if (m_writeFailed)
            ReleaseQueued();
    }
    FinishQueue();
    FinishIndexes();
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

// Moves what is due. False when writing failed, now or before.
bool CKrAviWriter::RunStep()
{
    const CKrLockScope step(m_stepLock);
    if (m_writeFailed)
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
    if (m_writeFailed)
        return false;
    const bool written = WriteNext() && Drain();
    MeasureDataRate();
    return written;
}

bool CKrAviWriter::WriteNext()
{
    return m_hasAudio ? WriteNextBatch() : WriteAllVideo();
}

// Without audio the queue's order is the file's. Submissions wait meanwhile.
bool CKrAviWriter::WriteAllVideo()
{
    const CKrLockScope scope(m_lock);
    while (const CKrRef<IKrMediaSample> sample = m_queue.TakeVideo())
    {
        if (!WriteSample(EKrStream::Video, *sample.Get(), EKrRoom::Reserve))
            return false;
    }
    return true;
}

bool CKrAviWriter::WriteNextBatch()
{
    SKrBatch batch;
    {
        const CKrLockScope scope(m_lock);
        batch = m_queue.TakeBatch(m_file->FramesWritten());
    }
    EKrRoom room = EKrRoom::Reserve;
    if (!batch.video.empty() && !batch.audio.empty())
    {
        if (!ReserveGroup(batch))
            return false;
        for (; !batch.audio.empty(); batch.audio.pop_front())
        {
            if (!WriteSample(EKrStream::Audio, *batch.audio.front().Get(), EKrRoom::AlreadyThere))
                return false;
        }
        room = EKrRoom::AlreadyThere;
    }
    for (; !batch.video.empty(); batch.video.pop_front())
    {
        if (!WriteSample(EKrStream::Video, *batch.video.front().Get(), std::exchange(room, EKrRoom::Reserve)))
            return false;
    }
    return true;
}

// Steps as long as they move anything, then what they left: frames without their audio, audio without frames.
bool CKrAviWriter::Drain()
{
    for (;;)
    {
        const auto sizes = [this]
        {
            const CKrLockScope scope(m_lock);
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
        [this](CKrRef<IKrMediaSample> (CKrSampleQueue::*take)(), EKrStream stream, EKrRoom room)
    {
        for (;;)
        {
            CKrRef<IKrMediaSample> sample;
            {
                const CKrLockScope scope(m_lock);
                sample = (m_queue.*take)();
            }
            if (!sample)
                return true;
            if (!WriteSample(stream, *sample.Get(), room))
                return false;
        }
    };
    return writeAll(&CKrSampleQueue::TakeVideo, EKrStream::Video, EKrRoom::Reserve) &&
           writeAll(&CKrSampleQueue::TakeReadyAudio, EKrStream::Audio, EKrRoom::TakeAnyway) &&
           writeAll(&CKrSampleQueue::TakeWaitingAudio, EKrStream::Audio, EKrRoom::TakeAnyway);
}

// Room for a frame and the audio that goes before it, so that no segment starts between them.
bool CKrAviWriter::ReserveGroup(const SKrBatch& batch)
{
    m_groupLengths.clear();
    for (const CKrRef<IKrMediaSample>& sample : batch.audio)
        m_groupLengths.push_back(LengthOf(*sample.Get()));
    m_groupLengths.push_back(LengthOf(*batch.video.front().Get()));

    const std::lock_guard guard(
        m_fileLock); // not before: a sample may be locked by whoever waits for the file
    uint64_t size = 0;
    for (const uint32_t length : m_groupLengths)
    {
        if (length > 0)
            size += m_file->PredictedSize(size, length);
    }
    return m_file->Reserve(size);
}

// A sample that cannot be locked is passed over.
bool CKrAviWriter::WriteSample(EKrStream stream, IKrMediaSample& sample, EKrRoom room)
{
    const CKrLockedBuffer buffer(sample);
    if (buffer.Bytes().empty())
        return true;
    if (!WriteLocked(stream, buffer.Bytes(), room))
        return false;
    m_pacer.Pace();
    const std::lock_guard guard(m_fileLock);
    return m_file->KeepIndex(stream);
}

bool CKrAviWriter::WriteLocked(EKrStream stream, KrByteSpan data, EKrRoom room)
{
    const std::lock_guard guard(m_fileLock);
    if (room == EKrRoom::Reserve &&
        !m_file->Reserve(m_file->PredictedSize(0, static_cast<uint32_t>(data.size()))))
        return false;
    return m_file->WriteQueued(stream, data);
}

void CKrAviWriter::MeasureDataRate()
{
    const std::lock_guard guard(m_fileLock);
    m_file->MeasureDataRate();
}
