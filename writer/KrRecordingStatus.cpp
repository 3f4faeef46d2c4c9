#include "writer/KrRecordingStatus.h"

#include <algorithm>
#include <mutex>

void CKrRecordingStatus::CKrDuration::Reset()
{
    m_start = kNotRunning;
    m_longest = 0;
}

void CKrRecordingStatus::CKrDuration::End(int64_t now)
{
    m_longest = Longest(now);
    m_start = kNotRunning;
}

int64_t CKrRecordingStatus::CKrDuration::Longest(int64_t now) const
{
    const int64_t start = m_start;
    return start == kNotRunning ? m_longest : std::max(m_longest, now - start);
}

// Not at each write: only who asks pays for the divisions.
uint64_t CKrRecordingStatus::Microseconds(int64_t ticks) const
{
    const auto count = static_cast<uint64_t>(ticks);
    const auto perSecond = static_cast<uint64_t>(m_clock.PerformanceFrequency());
    return count / perSecond * 1'000'000 + count % perSecond * 1'000'000 / perSecond; // no product overflows
}

void CKrRecordingStatus::Begin()
{
    const std::lock_guard guard(m_lock);
    m_status = {};
    m_write.Reset();
    m_flush.Reset();
}

void CKrRecordingStatus::SetState(uint32_t bits, bool on)
{
    const std::lock_guard guard(m_lock);
    m_status.state = on ? m_status.state | bits : m_status.state & ~bits;
}

void CKrRecordingStatus::Queued(EKrStream stream, uint32_t length)
{
    const std::lock_guard guard(m_lock);
    ++(stream == EKrStream::Video ? m_status.queuedFrames : m_status.queuedAudioChunks);
    m_status.queuedBytes += length;
    m_status.mostQueuedBytes = std::max(m_status.mostQueuedBytes, m_status.queuedBytes);
}

void CKrRecordingStatus::Released(uint64_t frames, uint64_t audioChunks, uint64_t bytes)
{
    const std::lock_guard guard(m_lock);
    m_status.queuedFrames -= frames;
    m_status.queuedAudioChunks -= audioChunks;
    m_status.queuedBytes -= bytes;
}

void CKrRecordingStatus::Refused()
{
    const std::lock_guard guard(m_lock);
    ++m_status.samplesRefused;
}

void CKrRecordingStatus::PassedOver()
{
    const std::lock_guard guard(m_lock);
    ++m_status.samplesPassedOver;
}

void CKrRecordingStatus::SetCounts(const SKrFileCounts& counts)
{
    const std::lock_guard guard(m_lock);
    m_status.segments = counts.segments;
    m_status.framesWritten = counts.frames;
    m_status.audioChunksWritten = counts.audioChunks;
    m_status.framesInIndex = counts.framesInIndex.value_or(m_status.framesInIndex);
    if (counts.superIndexFull)
        m_status.state |= kKrStateSuperIndexFull;
}

void CKrRecordingStatus::SetFramesInIndex(uint64_t frames)
{
    const std::lock_guard guard(m_lock);
    m_status.framesInIndex = frames;
}

void CKrRecordingStatus::BeginWrite()
{
    m_write.Begin(m_clock.PerformanceCounter());
}

void CKrRecordingStatus::EndWrite(const SKrTransfer& transfer, bool whole)
{
    const std::lock_guard guard(m_lock);
    m_write.End(m_clock.PerformanceCounter());
    m_status.bytesWritten += transfer.bytes;
    if (!whole)
        NoteError(kKrStateWriteFailed, transfer.osError);
}

void CKrRecordingStatus::BeginFlush()
{
    m_flush.Begin(m_clock.PerformanceCounter());
}

void CKrRecordingStatus::EndFlush(const SKrFlushOutcome& outcome)
{
    const std::lock_guard guard(m_lock);
    m_flush.End(m_clock.PerformanceCounter());
    if (!outcome.done)
        NoteError(kKrStateFlushFailed, outcome.osError);
}

void CKrRecordingStatus::NoteError(uint32_t state, uint32_t osError)
{
    if (m_status.systemError == 0)
        m_status.systemError = osError;
    m_status.state |= state;
}

SKrRecordingStatus CKrRecordingStatus::Snapshot()
{
    const std::lock_guard guard(m_lock);
    const int64_t now = m_clock.PerformanceCounter();
    SKrRecordingStatus status = m_status;
    status.size = sizeof status;
    status.longestWriteUs = Microseconds(m_write.Longest(now));
    status.longestFlushUs = Microseconds(m_flush.Longest(now));
    return status;
}
