#include "writer/KrRecordingStatus.h"

#include <algorithm>
#include <mutex>

void CKrRecordingStatus::SKrDuration::Begin(int64_t now)
{
    isRunning = true;
    start = now;
}

void CKrRecordingStatus::SKrDuration::End(int64_t now, int64_t frequency)
{
    longest = Longest(now, frequency);
    isRunning = false;
}

uint64_t CKrRecordingStatus::SKrDuration::Longest(int64_t now, int64_t frequency) const
{
    if (!isRunning)
        return longest;
    const auto ticks = static_cast<uint64_t>(std::max<int64_t>(now - start, 0));
    const auto perSecond = static_cast<uint64_t>(frequency);
    const uint64_t microseconds =
        ticks / perSecond * 1'000'000 + ticks % perSecond * 1'000'000 / perSecond; // no product overflows
    return std::max(longest, microseconds);
}

void CKrRecordingStatus::Begin()
{
    const std::lock_guard guard(m_lock);
    m_status = {};
    m_write = {};
    m_flush = {};
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
    const int64_t now = m_clock.PerformanceCounter();
    const std::lock_guard guard(m_lock);
    m_write.Begin(now);
}

void CKrRecordingStatus::EndWrite(const SKrTransfer& transfer, bool whole)
{
    const int64_t now = m_clock.PerformanceCounter();
    const std::lock_guard guard(m_lock);
    m_write.End(now, m_clock.PerformanceFrequency());
    m_status.bytesWritten += transfer.bytes;
    if (!whole)
        NoteError(kKrStateWriteFailed, transfer.osError);
}

void CKrRecordingStatus::BeginFlush()
{
    const int64_t now = m_clock.PerformanceCounter();
    const std::lock_guard guard(m_lock);
    m_flush.Begin(now);
}

void CKrRecordingStatus::EndFlush(const SKrFlushOutcome& outcome)
{
    const int64_t now = m_clock.PerformanceCounter();
    const std::lock_guard guard(m_lock);
    m_flush.End(now, m_clock.PerformanceFrequency());
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
    const int64_t now = m_clock.PerformanceCounter();
    const std::lock_guard guard(m_lock);
    SKrRecordingStatus status = m_status;
    status.size = sizeof status;
    status.longestWriteUs = m_write.Longest(now, m_clock.PerformanceFrequency());
    status.longestFlushUs = m_flush.Longest(now, m_clock.PerformanceFrequency());
    return status;
}
