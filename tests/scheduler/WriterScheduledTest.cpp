// A recording with several producers, samples with locks of their own, direct chunks, slow writes and a
// close, in the order that a seed selects.
#include "base/KrReentrantLock.h"
#include "base/KrRef.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrScheduledWorker.h"
#include "tests/scheduler/KrYieldingFileSystem.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrAviWriter.h"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace KrTest
{
namespace
{
constexpr wchar_t kPath[] = L"a.avi";

// Sleeping is a switch point, and advances the time.
class CYieldingClock final : public IKrClock
{
public:
    uint32_t TickCount() override { return static_cast<uint32_t>(m_milliseconds); }
    int64_t PerformanceCounter() override { return static_cast<int64_t>(m_milliseconds); }
    int64_t PerformanceFrequency() override { return 1000; }
    void Sleep(uint32_t milliseconds) override
    {
        m_milliseconds += milliseconds;
        YieldToScheduler();
    }

private:
    uint64_t m_milliseconds = 1000;
};

// A sample that a thread holds from LockBuffer to UnlockBuffer, as those of the pool do, and which takes a
// mutex of the host when it is released.
class CLockedSample final : public CKrObject<IKrMediaSample>
{
public:
    CLockedSample(KrBytes bytes, CKrMutex* hostMutex, int& alive)
        : m_bytes(std::move(bytes)), m_hostMutex(hostMutex), m_alive(alive)
    {
        ++m_alive;
    }
    ~CLockedSample() override { --m_alive; }

    uint32_t Release() override
    {
        if (m_hostMutex != nullptr)
        {
            CKrMutex& mutex = *m_hostMutex;
            const std::lock_guard guard(mutex);
            return CKrObject::Release();
        }
        return CKrObject::Release();
    }

    void ResetElement() override {}
    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        m_lock.Enter();
        *data = m_bytes.data();
        *length = static_cast<int32_t>(m_bytes.size());
        return 1;
    }
    void UnlockBuffer() override { m_lock.Leave(); }
    uint32_t GetDataLength() override
    {
        const CKrLockScope scope(m_lock);
        return static_cast<uint32_t>(m_bytes.size());
    }

private:
    CKrReentrantLock m_lock;
    KrBytes m_bytes;
    CKrMutex* m_hostMutex;
    int& m_alive;
};

class WriterScheduled : public testing::TestWithParam<int>
{
protected:
    struct SRecording
    {
        explicit SRecording(WriterScheduled& test) : files(test.m_memory)
        {
            SKrWriterServices services{files, test.m_clock};
            services.createWorkerThread = &CKrScheduledWorker::Create;
            writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
        }

        CKrYieldingFileSystem files;
        CKrRef<CKrAviWriter> writer;
        std::map<std::string, size_t> accepted; // by the first bytes of the payload
        int alive = 0;
        bool hasAudio = false;
    };

    // A unique payload.
    static KrBytes Payload(int producer, int number, bool audio)
    {
        KrBytes bytes(audio ? 7680 : 600, 0xAA);
        bytes[0] = static_cast<uint8_t>(producer + 1);
        bytes[1] = static_cast<uint8_t>(number + 1);
        bytes[2] = audio ? 'w' : 'd';
        return bytes;
    }

    static void Note(SRecording& recording, const KrBytes& payload)
    {
        ++recording.accepted[std::string(payload.begin(), payload.begin() + 3)];
    }

    static void Open(SRecording& recording)
    {
        const SKrWritten written;
        const SKrAviVideoParams params = ParamsFor(written);
        const WAVEFORMATEX format = WaveFormatFor(SKrPcmFormat{});
        ASSERT_EQ(recording.writer->OpenFile(kPath, &params, FourCcValue("MJPG"),
                                             recording.hasAudio ? &format : nullptr),
                  1);
    }

    // Submits a frame and, if there is sound, its sound.
    static void Submit(SRecording& recording, int producer, int number, CKrMutex* hostMutex)
    {
        for (const bool audio : {true, false})
        {
            if (audio && !recording.hasAudio)
                continue;
            const KrBytes payload = Payload(producer, number, audio);
            const auto sample =
                CKrRef<CLockedSample>::Adopt(new CLockedSample(payload, hostMutex, recording.alive));
            const int taken = audio ? recording.writer->AddAudioSample(sample.Get())
                                    : recording.writer->AddVideoSample(sample.Get());
            if (taken != 0)
                Note(recording, payload);
        }
    }

    // Submits a frame, and holds it while the next ones are submitted.
    static void SubmitWhileHolding(SRecording& recording, int producer)
    {
        const KrBytes payload = Payload(producer, 7, false);
        const auto held = CKrRef<CLockedSample>::Adopt(new CLockedSample(payload, nullptr, recording.alive));
        if (recording.writer->AddVideoSample(held.Get()) != 0)
            Note(recording, payload);
        uint8_t* data = nullptr;
        int32_t length = 0;
        held->LockBuffer(&data, &length);
        for (int number = 0; number < 2; ++number)
            Submit(recording, producer, number, nullptr);
        held->UnlockBuffer();
    }

    // Every accepted payload is in the file once, as a chunk of its stream.
    void ExpectAllWritten(const SRecording& recording)
    {
        const KrBytes file = m_memory.Content(kPath).ToBytes();
        const std::string_view bytes(reinterpret_cast<const char*>(file.data()), file.size());
        std::map<std::string, size_t> found;
        for (const std::string_view id : {"00dc", "01wb"})
        {
            for (size_t at = bytes.find(id); at < bytes.size(); at = bytes.find(id, at + 1))
            {
                const std::string_view payload = bytes.substr(std::min(at + 8, bytes.size()), 5);
                if (payload.ends_with("\xAA\xAA")) // else an index that names the stream
                    ++found[std::string(payload.substr(0, 3))];
            }
        }
        EXPECT_EQ(found, recording.accepted);
    }

    void ExpectDone(CKrScheduler& scheduler, SRecording& recording)
    {
        ASSERT_EQ(scheduler.Run(), "");
        EXPECT_FALSE(recording.files.WasClosedUnderATransfer());
        EXPECT_EQ(recording.alive, 0) << "leaked samples";
        EXPECT_EQ(m_memory.OpenWritableFiles(), 0u);
        ExpectAllWritten(recording);
    }

    CKrMemoryFileSystem m_memory;
    CYieldingClock m_clock;
};

std::string ProducersName(const testing::TestParamInfo<int>& info)
{
    return "Producers" + std::to_string(info.param);
}
} // namespace

INSTANTIATE_TEST_SUITE_P(All, WriterScheduled, testing::Values(1, 2, 3, 4), ProducersName);

// A thread holds the sample that it submitted while it submits the next, and another thread closes the file.
TEST_P(WriterScheduled, ProducersThatHoldTheSampleBefore_AreNotHeldUp)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            SRecording recording(*this);
            recording.hasAudio = scheduler.Choose(2) == 0;
            scheduler.Add(
                [&]
                {
                    Open(recording);
                    for (int producer = 0; producer < GetParam(); ++producer)
                        scheduler.Add([&, producer] { SubmitWhileHolding(recording, producer); });
                    scheduler.Add(
                        [&]
                        {
                            for (int turn = 0; turn < 50; ++turn)
                                scheduler.Yield();
                            recording.writer->CloseFile();
                        });
                });
            ExpectDone(scheduler, recording);
        });
}

TEST_P(WriterScheduled, HostMutexAroundSubmissionsAndInRelease_BlocksNoThread)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            SRecording recording(*this);
            recording.hasAudio = scheduler.Choose(2) == 0;
            CKrMutex hostMutex;
            int producing = GetParam();
            scheduler.Add(
                [&]
                {
                    Open(recording);
                    for (int producer = 0; producer < GetParam(); ++producer)
                    {
                        scheduler.Add(
                            [&, producer]
                            {
                                std::vector<CKrRef<CLockedSample>> kept; // released without the mutex
                                for (int number = 0; number < 3; ++number)
                                {
                                    const KrBytes payload = Payload(producer, number, false);
                                    kept.push_back(CKrRef<CLockedSample>::Adopt(
                                        new CLockedSample(payload, &hostMutex, recording.alive)));
                                    const std::lock_guard guard(hostMutex);
                                    if (recording.writer->AddVideoSample(kept.back().Get()) != 0)
                                        Note(recording, payload);
                                }
                                kept.clear();
                                --producing;
                                scheduler.WakeAll(&producing);
                            });
                    }
                    while (producing > 0)
                        scheduler.WaitFor(&producing);
                    recording.writer->CloseFile();
                });
            ExpectDone(scheduler, recording);
        });
}

TEST_P(WriterScheduled, DirectChunksAndOpensBesideProducers_WriteEveryChunkOnce)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            SRecording recording(*this);
            recording.hasAudio = scheduler.Choose(2) == 0;
            int producing = GetParam() + 1;
            const auto done = [&]
            {
                --producing;
                scheduler.WakeAll(&producing);
            };
            scheduler.Add(
                [&]
                {
                    Open(recording);
                    for (int producer = 0; producer < GetParam(); ++producer)
                    {
                        scheduler.Add(
                            [&, producer]
                            {
                                for (int number = 0; number < 3; ++number)
                                    Submit(recording, producer, number, nullptr);
                                done();
                            });
                    }
                    scheduler.Add(
                        [&]
                        {
                            for (int number = 0; number < 4; ++number)
                            {
                                const KrBytes payload = Payload(6, number, false);
                                if (recording.writer->WriteVideoChunk(
                                        payload.data(), static_cast<int32_t>(payload.size())) != 0)
                                    Note(recording, payload);
                            }
                            done();
                        });
                    while (producing > 0)
                        scheduler.WaitFor(&producing);
                    recording.writer->CloseFile();
                });
            ExpectDone(scheduler, recording);
        });
}

TEST_P(WriterScheduled, SeveralThatClose_CloseOnce)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            SRecording recording(*this);
            recording.hasAudio = scheduler.Choose(2) == 0;
            scheduler.Add(
                [&]
                {
                    Open(recording);
                    for (int producer = 0; producer < GetParam(); ++producer)
                        scheduler.Add([&, producer] { Submit(recording, producer, 0, nullptr); });
                    for (int closer = 0; closer < 2; ++closer)
                        scheduler.Add([&] { recording.writer->CloseFile(); });
                    Submit(recording, 5, 0, nullptr);
                    recording.writer->CloseFile();
                });
            ExpectDone(scheduler, recording);
        });
}
} // namespace KrTest
