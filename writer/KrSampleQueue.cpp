#include "writer/KrSampleQueue.h"

#include "siblings/KrAVUtils/KrAVUtils.h"

#include <utility>

namespace
{
SKrQueuedSample TakeFirst(CKrSampleList& from)
{
    if (from.empty())
        return {};
    SKrQueuedSample first = std::move(from.front());
    from.pop_front();
    return first;
}

void MoveFirst(CKrSampleList& from, CKrSampleList& to)
{
    to.splice(to.end(), from, from.begin());
}
} // namespace

void CKrSampleQueue::Begin(const SKrWriterSetup& setup)
{
    m_samplesPerSec = setup.HasAudio() ? setup.audio->samplesPerSec : 0;
    m_blockAlign = setup.HasAudio() ? setup.audio->blockAlign : 0;
    m_frameRate = static_cast<EKrFrameRate>(setup.params.frameRate);
    m_scheduledBytes = 0;
}

void CKrSampleQueue::Push(EKrStream stream, CKrSampleList& samples)
{
    CKrSampleList& queue = stream == EKrStream::Video ? m_video : m_audio;
    queue.splice(queue.end(), samples);
}

uint64_t CKrSampleQueue::AudioBytesOf(uint32_t frames) const
{
    return KrAudioUtils::GetAudioSampleCounts(m_samplesPerSec, m_frameRate, 0, frames) * m_blockAlign;
}

uint64_t CKrSampleQueue::HeadLength() const
{
    return m_audio.empty() ? 0 : m_audio.front().length;
}

bool CKrSampleQueue::TargetCoversHead(uint64_t target) const
{
    return target >= m_scheduledBytes + HeadLength();
}

SKrBatch CKrSampleQueue::TakeBatch(uint32_t framesWritten)
{
    SKrBatch batch;
    uint64_t target = AudioBytesOf(framesWritten);
    const bool audioLags = m_scheduledBytes < target && TargetCoversHead(target);
    if (!audioLags)
    {
        while (!m_video.empty())
        {
            MoveFirst(m_video, batch.video);
            target = AudioBytesOf(framesWritten + static_cast<uint32_t>(batch.video.size()));
            if (TargetCoversHead(target))
                break;
        }
        if (!batch.video.empty())
            batch.audio.splice(batch.audio.end(), m_readyAudio);
    }
    MakeAudioReady(target);
    return batch;
}

void CKrSampleQueue::MakeAudioReady(uint64_t target)
{
    while (!m_audio.empty() && TargetCoversHead(target))
    {
        m_scheduledBytes += HeadLength();
        MoveFirst(m_audio, m_readyAudio);
        if (m_scheduledBytes >= target)
            break;
    }
}

SKrQueuedSample CKrSampleQueue::TakeVideo()
{
    return TakeFirst(m_video);
}

SKrQueuedSample CKrSampleQueue::TakeReadyAudio()
{
    return TakeFirst(m_readyAudio);
}

SKrQueuedSample CKrSampleQueue::TakeWaitingAudio()
{
    return TakeFirst(m_audio);
}

SKrBatch CKrSampleQueue::TakeRemaining()
{
    SKrBatch all;
    all.video.splice(all.video.end(), m_video);
    all.audio.splice(all.audio.end(), m_readyAudio);
    all.audio.splice(all.audio.end(), m_audio);
    return all;
}

bool CKrSampleQueue::TakeOver(CKrSampleQueue& from)
{
    if (from.m_video.empty() && from.m_audio.empty())
        return false;
    m_video.splice(m_video.end(), from.m_video);
    m_audio.splice(m_audio.end(), from.m_audio);
    return true;
}

std::optional<EKrStream> CKrSampleQueue::WaitsFor() const
{
    if (!m_video.empty())
        return EKrStream::Audio;
    if (!m_audio.empty() || !m_readyAudio.empty())
        return EKrStream::Video;
    return std::nullopt;
}

SKrBatch CKrSampleQueue::TakeFrameWithoutAudio()
{
    SKrBatch batch;
    MoveFirst(m_video, batch.video);
    batch.audio.splice(batch.audio.end(), m_readyAudio);
    return batch;
}

uint64_t CKrSampleQueue::MissingAudio(uint32_t framesWritten) const
{
    const uint64_t target = AudioBytesOf(framesWritten);
    return target > m_scheduledBytes ? target - m_scheduledBytes : 0;
}

void CKrSampleQueue::AddReadyAudio(CKrSampleList& samples, uint64_t bytes)
{
    m_readyAudio.splice(m_readyAudio.end(), samples);
    m_scheduledBytes += bytes;
}

CKrSampleList CKrSampleQueue::TakeAll()
{
    CKrSampleList all = std::move(m_video);
    all.splice(all.end(), m_audio);
    all.splice(all.end(), m_readyAudio);
    m_video.clear();
    return all;
}
