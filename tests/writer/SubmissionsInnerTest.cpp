// What becomes of samples that are submitted while the worker waits for the other stream.
#include "tests/support/KrManualClock.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTestSample.h"
#include "tests/writer/KrRecordingArguments.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrSubmissions.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
class Submissions : public testing::Test
{
protected:
    Submissions()
    {
        const SKrAviVideoParams params = ParamsFor({});
        const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
        m_setup = *MakeWriterSetup(&params, 0, &format);
        m_submissions.Begin(m_setup, m_rules);
        m_submissions.SetWorkerRunning(true);
        m_submissions.StartAccepting();
        m_taken.Begin(m_setup);
    }
    ~Submissions() override
    {
        CKrSampleList rest = m_submissions.With([](CKrSampleQueue& queue) { return queue.TakeAll(); });
        CKrSampleList taken = m_taken.TakeAll();
        m_submissions.Release(rest);
        m_submissions.Release(taken);
    }

    EKrSubmission Submit(EKrStream stream)
    {
        CKrSampleList samples;
        samples.emplace_back(CKrRef<IKrMediaSample>::Adopt(new CKrTestSample(KrBytes(10))), 10u);
        return m_submissions.Submit(stream, samples, true).whose;
    }

    // As the worker does before it waits.
    void TakeAllThatHasCome()
    {
        while (m_submissions.TakeArrived(m_taken))
        {
        }
    }

    SKrWriterSetup m_setup;
    const SKrRecordingOptions m_options = FastOptions();
    const SKrRecordingRules m_rules = *MakeRecordingRules(&m_options);
    CKrManualClock m_clock;
    SKrRecordingFaults m_faults;
    CKrRecordingStatus m_status{m_clock};
    CKrSubmissions m_submissions{m_faults, m_status};
    CKrSampleQueue m_taken;
};
} // namespace

TEST_F(Submissions, UntilTheWorkerHasLooked_AllAreForIt)
{
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForWorker);
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForWorker);
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForWorker);
}

TEST_F(Submissions, SoundWhileTheWorkerWaitsForAFrame_DoesNotWakeIt)
{
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForWorker);
    TakeAllThatHasCome();
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForLater);
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForLater);
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForWorker);
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForWorker) << "it has not looked since";
}

TEST_F(Submissions, FramesWhileTheWorkerWaitsForSound_DoNotWakeIt)
{
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForWorker);
    TakeAllThatHasCome();
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForLater);
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForWorker);
}

TEST_F(Submissions, WithoutAWorker_AreForTheCaller)
{
    m_submissions.SetWorkerRunning(false);
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForCaller);
    TakeAllThatHasCome();
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForCaller);
}

TEST_F(Submissions, WhatDoesNotWakeTheWorker_IsTakenWithWhatDoes)
{
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForWorker);
    TakeAllThatHasCome();
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForLater);
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForWorker);
    TakeAllThatHasCome();
    EXPECT_EQ(m_taken.Sizes(), (CKrSampleQueue::SKrSizes{.video = 1, .audio = 2, .readyAudio = 0}));
}

TEST_F(Submissions, SoundThatHasCome_IsNotLate)
{
    EXPECT_TRUE(m_submissions.NoteLateSound(0));
    EXPECT_EQ(m_status.Snapshot().state, kKrStateSoundIsLate);
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForWorker);
    EXPECT_FALSE(m_submissions.NoteLateSound(10));
    EXPECT_EQ(m_status.Snapshot().state, 0u);
    TakeAllThatHasCome();
    EXPECT_EQ(Submit(EKrStream::Audio), EKrSubmission::ForLater) << "nothing of it was replaced";
}

TEST_F(Submissions, NextFile_WaitsForNothing)
{
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForWorker);
    TakeAllThatHasCome();
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForLater) << "the worker waits for sound";
    CKrSampleList rest = m_submissions.With([](CKrSampleQueue& queue) { return queue.TakeAll(); });
    m_submissions.Release(rest);
    m_submissions.Begin(m_setup, m_rules);
    EXPECT_EQ(Submit(EKrStream::Video), EKrSubmission::ForWorker);
}
