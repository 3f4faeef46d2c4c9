// The writer in a host: samples that a thread holds, mutexes of the host, disks that block, calls from inside
// a sample.
#include "base/KrRef.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrStallingFileSystem.h"
#include "tests/support/KrTempFolder.h"
#include "tests/support/KrThreadGate.h"
#include "tests/writer/KrHostSample.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrAviWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace KrTest
{
namespace
{
using namespace std::chrono;

constexpr wchar_t kPath[] = L"a.avi";

// Runs an operation that may never end. A hanging thread cannot be abandoned, so the program ends then.
void ExpectToEnd(const std::function<void()>& body)
{
    auto ended = std::async(std::launch::async, body);
    if (ended.wait_for(seconds(60)) == std::future_status::ready)
        return;
    std::fprintf(stderr, "hangs\n");
    std::abort();
}

// With and without sound.
class WriterHosts : public testing::TestWithParam<bool>
{
protected:
    WriterHosts() { Make(m_files, KrPlatform::OsClock()); }

    void Make(IKrFileSystem& files, IKrClock& clock)
    {
        m_writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(SKrWriterServices{files, clock}));
    }

    int Open(const wchar_t* path = kPath)
    {
        const SKrAviVideoParams params = ParamsFor(SKrWritten{});
        const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
        return m_writer->OpenFile(path, &params, FourCcValue("MJPG"), GetParam() ? &format : nullptr);
    }

    int Submit(CKrHostSample& frame)
    {
        if (GetParam())
        {
            const auto sound = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(48000 / 25 * 4)));
            EXPECT_EQ(m_writer->AddAudioSample(sound.Get()), 1);
        }
        return m_writer->AddVideoSample(&frame);
    }

    int SubmitNew() { return Submit(*CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(500)))); }

    size_t FramesInFile()
    {
        SKrWritten written;
        if (GetParam())
            written.pcm = SKrPcmFormat{};
        const SKrCheckedAvi checked = CheckWrittenAvi(m_memory.Content(kPath), written);
        for (const std::string& problem : checked.problems)
            ADD_FAILURE() << problem;
        return checked.video.size();
    }

    CKrMemoryFileSystem m_memory;
    CKrStallingFileSystem m_files{m_memory};
    CKrRef<CKrAviWriter> m_writer;
};

std::string SoundName(const testing::TestParamInfo<bool>& info)
{
    return info.param ? "WithSound" : "WithoutSound";
}
} // namespace

INSTANTIATE_TEST_SUITE_P(All, WriterHosts, testing::Bool(), SoundName);

// The worker blocks on a sample that is held, while the thread that holds it continues.
TEST_P(WriterHosts, SampleThatItsSubmitterHolds_DoesNotHoldUpTheNext)
{
    KrTest::CKrThreadGate gate;
    ASSERT_EQ(Open(), 1);
    m_files.beforeWrite = [&]
    {
        gate.Pass();
    };
    ExpectToEnd(
        [&]
        {
            ASSERT_EQ(SubmitNew(), 1);
            ASSERT_TRUE(gate.WaitForArrival());
            const auto frame = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(500)));
            const auto sound = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(48000 / 25 * 4)));
            ASSERT_EQ(m_writer->AddVideoSample(frame.Get()), 1);
            ASSERT_EQ(m_writer->AddAudioSample(sound.Get()), GetParam() ? 1 : 0);
            uint8_t* data = nullptr;
            int32_t length = 0;
            frame->LockBuffer(&data, &length);
            sound->LockBuffer(&data, &length);
            gate.Open();
            std::this_thread::sleep_for(milliseconds(20)); // the worker reaches the sample
            for (int next = 0; next < 3; ++next)
                ASSERT_EQ(SubmitNew(), 1);
            ASSERT_EQ(m_writer->WriteVideoChunk(data, length), 1) << "a direct chunk neither";
            sound->UnlockBuffer();
            frame->UnlockBuffer();
        });
    EXPECT_EQ(m_writer->CloseFile(), 1);
    EXPECT_EQ(CKrHostSample::Alive(), 0);
}

TEST_P(WriterHosts, MutexAroundSubmissionsAndInRelease_BlocksNoThread)
{
    std::mutex hostMutex;
    ExpectToEnd(
        [&]
        {
            ASSERT_EQ(Open(), 1);
            for (int turn = 0; turn < 50; ++turn)
            {
                auto* const frame = new CKrHostSample(KrBytes(500));
                frame->inRelease = [&]
                {
                    const std::lock_guard guard(hostMutex);
                };
                {
                    const std::lock_guard guard(hostMutex);
                    ASSERT_EQ(Submit(*frame), 1);
                }
                frame->Release();
            }
            EXPECT_EQ(m_writer->CloseFile(), 1);
        });
}

// The write or flush ends only after the submissions have returned: none can have waited for it.
TEST_P(WriterHosts, DiskThatBlocks_BlocksNoSubmission)
{
    for (const bool inWrite : {true, false})
    {
        SCOPED_TRACE(inWrite ? "write" : "flush");
        KrTest::CKrThreadGate gate;
        ASSERT_EQ(Open(), 1);
        (inWrite ? m_files.beforeWrite : m_files.beforeFlush) = [&]
        {
            gate.Pass();
        };
        ExpectToEnd(
            [&]
            {
                for (int number = 0; number < 60; ++number)
                    ASSERT_EQ(SubmitNew(), 1);
                EXPECT_TRUE(gate.WaitForArrival());
                for (int number = 0; number < 60; ++number)
                    ASSERT_EQ(SubmitNew(), 1);
            });
        gate.Open();
        EXPECT_EQ(m_writer->CloseFile(), 1);
        m_files.beforeWrite = m_files.beforeFlush = [] {
        };
        EXPECT_EQ(FramesInFile(), 120u);
    }
}

TEST_P(WriterHosts, DirectChunkThatWaitsForAFlush_BlocksNoSubmission)
{
    KrTest::CKrThreadGate gate;
    ASSERT_EQ(Open(), 1);
    m_files.beforeFlush = [&]
    {
        gate.Pass();
    };
    std::jthread direct;
    ExpectToEnd(
        [&]
        {
            for (int number = 0; number < 60; ++number)
                ASSERT_EQ(SubmitNew(), 1);
            ASSERT_TRUE(gate.WaitForArrival());
            std::promise<void> started;
            direct = std::jthread(
                [&]
                {
                    const KrBytes chunk(100, 7);
                    started.set_value();
                    EXPECT_EQ(m_writer->WriteVideoChunk(chunk.data(), 100), 1);
                });
            started.get_future().wait();
            std::this_thread::sleep_for(milliseconds(20)); // by now it waits for the file
            for (int number = 0; number < 60; ++number)
                ASSERT_EQ(SubmitNew(), 1);
        });
    gate.Open();
    direct.join();
    EXPECT_EQ(m_writer->CloseFile(), 1);
}

TEST_P(WriterHosts, OpenAndCloseFromInsideASample_AreRefusedAndChangeNothing)
{
    for (const auto place : {&CKrHostSample::inGetDataLength, &CKrHostSample::inLockBuffer,
                             &CKrHostSample::inUnlockBuffer, &CKrHostSample::inRelease})
    {
        ExpectToEnd(
            [&]
            {
                ASSERT_EQ(Open(), 1);
                std::atomic<int> calls = 0;
                auto* const frame = new CKrHostSample(KrBytes(500));
                frame->*place = [&]
                {
                    ++calls;
                    EXPECT_EQ(Open(L"other.avi"), 0);
                    EXPECT_EQ(m_writer->CloseFile(), 0);
                };
                ASSERT_EQ(Submit(*frame), 1);
                ASSERT_EQ(SubmitNew(), 1);
                EXPECT_EQ(m_writer->CloseFile(), 1);
                EXPECT_GT(calls, 0);
                frame->*place = [] {
                };
                frame->Release();
            });
        EXPECT_FALSE(m_memory.Exists(L"other.avi"));
        EXPECT_EQ(FramesInFile(), 2u);
    }
}

TEST_P(WriterHosts, SubmissionsFromInsideASample_AreTaken)
{
    ExpectToEnd(
        [&]
        {
            ASSERT_EQ(Open(), 1);
            std::atomic<bool> done = false;
            auto* const frame = new CKrHostSample(KrBytes(500));
            frame->inLockBuffer = [&, first = true]() mutable
            {
                if (!std::exchange(first, false))
                    return;
                EXPECT_EQ(SubmitNew(), 1);
                done = true;
            };
            ASSERT_EQ(Submit(*frame), 1);
            while (!done)
                std::this_thread::yield();
            EXPECT_EQ(m_writer->CloseFile(), 1);
            frame->Release();
        });
    EXPECT_EQ(FramesInFile(), 2u);
}

// A sample owns the last reference and drops it on the worker's thread.
TEST_P(WriterHosts, LastReleaseFromInsideASample_CompletesTheFile)
{
    ExpectToEnd(
        [&]
        {
            KrTest::CKrThreadGate gate;
            ASSERT_EQ(Open(), 1);
            m_writer->AddRef();
            const auto frame = CKrRef<CKrHostSample>::Adopt(new CKrHostSample(KrBytes(500)));
            frame->inUnlockBuffer = [&gate, last = m_writer.Get(), calls = 0]() mutable
            {
                gate.Pass();
                if (++calls == 1)
                    last->Release();
            };
            ASSERT_EQ(Submit(*frame), 1);
            ASSERT_EQ(SubmitNew(), 1);
            ASSERT_EQ(SubmitNew(), 1);
            m_writer.Reset();
            gate.Open();
            while (m_memory.OpenFiles() != 0 || CKrHostSample::Alive() > 1)
                std::this_thread::yield();
        });
    EXPECT_EQ(FramesInFile(), 3u);
    EXPECT_EQ(CKrHostSample::Alive(), 0);
}

// On a real file and in real time: a write of 700 ms, then flushes of a second. A few attempts rule out other
// load on the machine.
TEST_P(WriterHosts, SlowDisk_BlocksNoSubmissionFor20Milliseconds)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"slow.avi");
    CKrStallingFileSystem slow(KrPlatform::OsFileSystem());
    std::atomic<int> writeMs = 0;
    std::atomic<int> flushMs = 0;
    slow.beforeWrite = [&]
    {
        std::this_thread::sleep_for(milliseconds(writeMs.exchange(0)));
    };
    slow.beforeFlush = [&]
    {
        std::this_thread::sleep_for(milliseconds(flushMs));
    };
    constexpr int kTries = 5;
    milliseconds longest = hours(1);
    for (int attempt = 0; attempt < kTries && longest > milliseconds(20); ++attempt)
    {
        Make(slow, KrPlatform::OsClock());
        ASSERT_EQ(Open(path.c_str()), 1);
        writeMs = 700;
        flushMs = 1000;
        longest = milliseconds(0);
        std::jthread direct(
            [this](const std::stop_token& stop)
            {
                const KrBytes chunk(100, 7);
                for (; !stop.stop_requested(); std::this_thread::sleep_for(milliseconds(10)))
                    EXPECT_EQ(m_writer->WriteVideoChunk(chunk.data(), 100), 1);
            });
        for (const auto end = steady_clock::now() + milliseconds(2000); steady_clock::now() < end;)
        {
            const auto start = steady_clock::now();
            ASSERT_EQ(SubmitNew(), 1);
            longest = std::max(longest, ceil<milliseconds>(steady_clock::now() - start));
            std::this_thread::sleep_for(milliseconds(15));
        }
        flushMs = 0;
        direct.request_stop();
        direct.join();
        EXPECT_EQ(m_writer->CloseFile(), 1);
        m_writer.Reset();
    }
    RecordProperty("longest_submission_ms", static_cast<int>(longest.count()));
    EXPECT_LE(longest, milliseconds(20));
}
} // namespace KrTest
