// Calls from inside a sample when the writer has no worker: the submission itself writes.
#include "base/KrRef.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrManualClock.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/writer/KrHostSample.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrAviWriter.h"

#include <gtest/gtest.h>

#include <functional>

namespace KrTest
{
namespace
{
constexpr wchar_t kChainPath[] = L"chain.avi";
} // namespace

// Each sample submits the next when it is unlocked. Without a worker that must not nest a hundred thousand
// calls.
TEST(WriterHostsWithoutWorker, ChainOfSamplesThatSubmitTheNext_TakesNoStack)
{
    constexpr int kLength = 100'000;
    CKrMemoryFileSystem memory;
    CKrManualClock clock;
    SKrWriterServices services{memory, clock};
    services.createWorkerThread = [](int, IKrWorkerThread**)
    {
        return 0;
    };
    const auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
    const SKrAviVideoParams params = ParamsFor(SKrWritten{});
    ASSERT_EQ(writer->OpenFile(kChainPath, &params, 0, nullptr), 1);
    int submitted = 0;
    const std::function<void()> submitNext = [&]
    {
        if (submitted++ == kLength)
            return;
        const auto frame = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(1)));
        frame->inUnlockBuffer = submitNext;
        EXPECT_EQ(writer->AddVideoSample(frame.Get()), 1);
    };
    submitNext();
    EXPECT_EQ(writer->CloseFile(), 1);
    EXPECT_EQ(submitted, kLength + 1);
    EXPECT_EQ(CKrHostSample::Alive(), 0);
}

// The sound is queued while the frame is written; the chunk that fails then stops the recording before it.
TEST(WriterHostsWithoutWorker, DirectChunkThatFailsInsideASample_FailsTheSubmission)
{
    CKrMemoryFileSystem memory;
    CKrFaultyFileSystem faults(memory);
    CKrManualClock clock;
    SKrWriterServices services{faults, clock};
    services.createWorkerThread = [](int, IKrWorkerThread**)
    {
        return 0;
    };
    const auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
    const SKrAviVideoParams params = ParamsFor(SKrWritten{});
    const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
    ASSERT_EQ(writer->OpenFile(kChainPath, &params, 0, &format), 1);
    const auto frame = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(100)));
    frame->inUnlockBuffer = [&]
    {
        const auto sound = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(48000 / 25 * 4)));
        EXPECT_EQ(writer->AddAudioSample(sound.Get()), 1);
        faults.Reset();
        faults.FailCall(EKrFileCall::Write, 1);
        const uint8_t byte = 1;
        EXPECT_EQ(writer->WriteVideoChunk(&byte, 1), 0);
    };
    EXPECT_EQ(writer->AddVideoSample(frame.Get()), 0);
    EXPECT_EQ(writer->CloseFile(), 0);
}
} // namespace KrTest
