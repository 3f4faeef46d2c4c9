#include "writer/KrFreeRun.h"

#include "writer/KrMilliseconds.h"
#include "writer/KrSilence.h"

#include <algorithm>
#include <utility>

void CKrFreeRun::Begin(const SKrWriterSetup& setup, const SKrRecordingRules& rules)
{
    m_taken.Begin(setup);
    m_rules = rules;
    m_hasAudio = setup.HasAudio();
    m_bitsPerSample = setup.HasAudio() ? setup.audio->bitsPerSample : 0;
}

bool CKrFreeRun::Run()
{
    do
    {
        if (!MoveAll() || !WriteJoined())
            return false;
    } while (m_submissions.TakeArrived(m_taken));
    return true;
}

bool CKrFreeRun::RunToTheEnd()
{
    if (!Run())
        return false;
    SKrBatch rest = m_taken.TakeRemaining();
    return WriteEach(EKrStream::Video, rest.video, EKrSegmentBudget::Check) &&
           WriteEach(EKrStream::Audio, rest.audio, EKrSegmentBudget::Ignore) && WriteJoined();
}

// Without audio the queue's order is the file's.
bool CKrFreeRun::MoveAll()
{
    if (m_hasAudio)
        return MoveInStep();
    SKrBatch all = m_taken.TakeRemaining();
    return WriteEach(EKrStream::Video, all.video, EKrSegmentBudget::Check);
}

bool CKrFreeRun::MoveInStep()
{
    for (;;)
    {
        const CKrSampleQueue::SKrSizes before = m_taken.Sizes();
        SKrBatch batch = m_taken.TakeBatch(m_writer.FramesTaken());
        if (m_taken.Sizes() == before && !TakeLate(batch))
            return true;
        if (!batch.video.empty() && !batch.audio.empty() && !m_writer.WriteGroup(batch))
            return false;
        if (!WriteEach(EKrStream::Video, batch.video, EKrSegmentBudget::Check))
            return false;
    }
}

// The frame that has waited too long for its sound: with silence, or as it is. False when there is none, or
// sound has come meanwhile.
bool CKrFreeRun::TakeLate(SKrBatch& batch)
{
    if (WaitMs() != 0)
        return false;
    if (m_rules.silence)
        return FillWithSilence();
    if (!m_submissions.NoteLateSound(0))
        return false;
    batch = m_taken.TakeFrameWithoutAudio();
    return true;
}

// What the frame waits for becomes ready audio, so that the frame is the next to be taken.
bool CKrFreeRun::FillWithSilence()
{
    const uint64_t missing = m_taken.MissingAudio(m_writer.FramesTaken());
    CKrSampleList silence;
    silence.emplace_back(
        CKrRef<IKrMediaSample>::Adopt(new CKrSilence(static_cast<size_t>(missing), m_bitsPerSample)),
        static_cast<uint32_t>(missing));
    if (!m_submissions.NoteLateSound(missing))
        return false;
    m_taken.AddReadyAudio(silence, missing);
    return true;
}

uint32_t CKrFreeRun::WaitMs() const
{
    const SKrQueuedSample* const first = m_taken.FirstFrame();
    if (!m_hasAudio || first == nullptr || m_rules.audioWaitMs == kKrForEver)
        return kKrForEver;
    const uint64_t waited = NowMs(m_clock) - first->submittedMs;
    return static_cast<uint32_t>(m_rules.audioWaitMs - std::min<uint64_t>(waited, m_rules.audioWaitMs));
}

bool CKrFreeRun::WriteEach(EKrStream stream, CKrSampleList& samples, EKrSegmentBudget budget)
{
    while (!samples.empty())
    {
        if (!m_writer.Write(stream, samples, budget))
            return false;
        if (!m_writer.HasJoined())
            ReleaseWritten();
    }
    return true;
}

bool CKrFreeRun::WriteJoined()
{
    const bool written = m_writer.WriteJoined();
    ReleaseWritten();
    return written;
}

void CKrFreeRun::ReleaseWritten()
{
    CKrSampleList written = m_writer.TakeWritten();
    if (written.empty())
        return;
    m_submissions.Release(written);
    m_writer.MeasureDataRate();
}

CKrSampleList CKrFreeRun::TakeAll()
{
    CKrSampleList all = m_writer.TakeWritten();
    CKrSampleList taken = m_taken.TakeAll();
    all.splice(all.end(), taken);
    return all;
}
