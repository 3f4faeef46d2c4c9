#include "writer/KrSubmissions.h"

#include <algorithm>
#include <utility>

CKrSubmissions::CKrSubmissions(SKrRecordingFaults& faults, CKrRecordingStatus& status)
    : m_faults(faults), m_status(status), m_account(status)
{
}

void CKrSubmissions::Begin(const SKrWriterSetup& setup, const SKrRecordingRules& rules)
{
    const std::lock_guard guard(m_account.Lock());
    m_queue.Begin(setup);
    m_rules = rules;
    m_hasAudio = setup.HasAudio();
    m_waitsFor.reset();
    m_silence = 0;
}

void CKrSubmissions::SetWorkerRunning(bool isRunning)
{
    const std::lock_guard guard(m_account.Lock());
    m_workerRunning = isRunning;
}

void CKrSubmissions::StartAccepting()
{
    const std::lock_guard guard(m_account.Lock());
    m_accepting = true;
}

bool CKrSubmissions::StopAccepting()
{
    const std::lock_guard guard(m_account.Lock());
    m_accepting = false;
    m_account.WakeAll();
    return std::exchange(m_workerRunning, false);
}

SKrSubmitted CKrSubmissions::Submit(EKrStream stream, CKrSampleList& samples, bool mayWait)
{
    SKrQueuedSample& sample = samples.front();
    const uint32_t length = sample.length;
    std::unique_lock guard(m_account.Lock());
    if (!m_accepting || (stream == EKrStream::Audio && !m_hasAudio))
        return {};
    if ((stream == EKrStream::Audio && DropForSilence(sample)) ||
        (m_rules.queueLimit != 0 && !WaitForRoom(guard, stream, length, mayWait)))
    {
        m_status.Refused();
        return {};
    }
    if (stream == EKrStream::Audio)
        m_status.SetState(kKrStateSoundIsLate, false);
    m_account.Enter(stream, length);
    sample.ticket.Hold(m_account, stream, length);
    m_queue.Push(stream, samples);
    const bool canBeWritten = !m_waitsFor || m_waitsFor == stream;
    if (canBeWritten)
        m_waitsFor.reset();
    const EKrSubmission forWorker = canBeWritten ? EKrSubmission::ForWorker : EKrSubmission::ForLater;
    return {m_workerRunning ? forWorker : EKrSubmission::ForCaller, m_rules.submissionDelayMs};
}

// What the worker waits for is taken past the limit: nothing else could make room.
bool CKrSubmissions::Accepts(EKrStream stream, uint32_t length) const
{
    const uint64_t bytes = m_account.Bytes();
    const bool fits = bytes == 0 || (length <= m_rules.queueLimit && bytes <= m_rules.queueLimit - length);
    return m_accepting && !m_faults.writeFailed && (fits || m_waitsFor == stream);
}

bool CKrSubmissions::WaitForRoom(std::unique_lock<CKrMutex>& guard, EKrStream stream, uint32_t length,
                                 bool mayWait)
{
    if (!Accepts(stream, length) && mayWait && m_rules.queueWaitMs != 0)
    {
        m_account.WaitFor(guard, m_rules.queueWaitMs, m_rules.queueWaitMs == kKrForEver,
                          [&] {
                              return Accepts(stream, length) || !m_accepting || m_faults.writeFailed ||
                                     m_waitsFor.has_value();
                          });
    }
    return Accepts(stream, length);
}

// Sound for a time that was filled with silence goes; of a sample that is longer its end is kept.
bool CKrSubmissions::DropForSilence(SKrQueuedSample& sample)
{
    const auto late = static_cast<uint32_t>(std::min<uint64_t>(m_silence, sample.length));
    m_silence -= late;
    sample.skip = late;
    sample.length -= late;
    return sample.length == 0;
}

void CKrSubmissions::CountRefused()
{
    const std::lock_guard guard(m_account.Lock());
    if (m_accepting)
        m_status.Refused();
}

bool CKrSubmissions::TakeArrived(CKrSampleQueue& to)
{
    const std::lock_guard guard(m_account.Lock());
    if (to.TakeOver(m_queue))
        return true;
    m_waitsFor = to.WaitsFor();
    m_account.WakeAll();
    return false;
}

bool CKrSubmissions::NoteLateSound(uint64_t silence)
{
    const std::lock_guard guard(m_account.Lock());
    if (m_queue.Sizes().audio != 0)
        return false;
    m_silence += silence;
    m_status.SetState(kKrStateSoundIsLate, true);
    return true;
}

void CKrSubmissions::Release(CKrSampleList& samples)
{
    CKrQueueAccount::SKrLeaving leaving;
    for (SKrQueuedSample& sample : samples)
    {
        sample.sample = {};
        const CKrQueueAccount::SKrLeaving one = sample.ticket.HandOver();
        leaving.frames += one.frames;
        leaving.audioChunks += one.audioChunks;
        leaving.bytes += one.bytes;
    }
    if (!samples.empty())
        m_account.Leave(leaving);
    samples.clear();
}

void CKrSubmissions::WakeAll()
{
    const std::lock_guard guard(m_account.Lock());
    m_account.WakeAll();
}
