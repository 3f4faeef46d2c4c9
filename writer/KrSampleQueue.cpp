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

CKrSampleList CKrSampleQueue::TakeAll()
{
    CKrSampleList all = std::move(m_video);
    all.splice(all.end(), m_audio);
    all.splice(all.end(), m_readyAudio);
    m_video.clear();
    return all;
}
