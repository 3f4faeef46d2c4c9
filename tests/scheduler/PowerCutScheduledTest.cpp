// The power goes: whatever the disk then holds of a power-safe recording can be opened, and its indexes name
// nothing that is not there. KR_CRASHES says how many states are looked at; the usual 5,000 take seconds.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrScheduledWorker.h"
#include "tests/scheduler/KrYieldingFileSystem.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrCrashFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTestSample.h"
#include "tests/writer/KrRecordingArguments.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrAviWriter.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace KrTest
{
namespace
{
constexpr wchar_t kCutPath[] = L"a.avi";
constexpr size_t kStatesOfARecording = 25;

class CSteppingClock final : public IKrClock
{
public:
    uint32_t TickCount() override { return static_cast<uint32_t>(++m_milliseconds); }
    int64_t PerformanceCounter() override { return static_cast<int64_t>(++m_milliseconds); }
    int64_t PerformanceFrequency() override { return 1000; }
    void Sleep(uint32_t milliseconds) override
    {
        m_milliseconds += milliseconds;
        YieldToScheduler();
    }

private:
    uint64_t m_milliseconds = 1000;
};

// One recording, its worker and its flushes in an order that the seed chooses.
struct SKrRecorded
{
    explicit SKrRecorded(uint64_t seed) : random(seed) {}

    CKrMemoryFileSystem memory;
    CKrCrashFileSystem crashes{memory};
    CKrYieldingFileSystem files{crashes};
    CSteppingClock clock;
    std::mt19937_64 random;
    size_t opened = 0; // events when OpenFile returned
    bool hasAudio = false;
    KrBytes whole; // the file after the close

    void Run(CKrScheduler& scheduler, uint32_t flags)
    {
        hasAudio = scheduler.Choose(2) == 0;
        scheduler.Add([this, flags] { Record(flags); });
        ASSERT_EQ(scheduler.Run(), "");
        whole = memory.Content(kCutPath).ToBytes();
    }

private:
    void Record(uint32_t flags)
    {
        SKrWriterServices services{files, clock};
        services.createWorkerThread = &CKrScheduledWorker::Create;
        const auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
        SKrRecordingOptions options = FastOptions();
        options.flags = flags;
        ASSERT_EQ(writer->SetRecordingOptions(&options), 1);
        const SKrAviVideoParams params = ParamsFor({});
        SKrPcmFormat small;
        small.channels = 1;
        small.samplesPerSec = 8000;
        const WAVEFORMATEX format = WaveFormatFor(small);
        ASSERT_EQ(writer->OpenFile(kCutPath, &params, 0, hasAudio ? &format : nullptr), 1);
        opened = crashes.Events();
        const size_t frames = 60 + random() % 60;
        for (size_t number = 0; number < frames; ++number)
        {
            if (hasAudio)
            {
                ASSERT_EQ(writer->AddAudioSample(Sample(640).Get()), 1);
            }
            ASSERT_EQ(writer->AddVideoSample(Sample(1 + random() % 1200).Get()), 1);
            YieldToScheduler();
        }
        ASSERT_EQ(writer->CloseFile(), 1);
    }

    // Bytes that no header has.
    CKrRef<CKrTestSample> Sample(size_t size)
    {
        KrBytes bytes(size);
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(0x80 | random());
        return CKrRef<CKrTestSample>::Adopt(new CKrTestSample(std::move(bytes)));
    }
};

// What our reader says of a file.
struct SKrFound
{
    bool opened = false;
    std::vector<SKrChunkIndexEntry> video;
    std::vector<SKrChunkIndexEntry> audio;
};

void AppendEntries(const CArray<SKrChunkIndexEntry>& from, std::vector<SKrChunkIndexEntry>& to)
{
    to.assign(from.GetData(), from.GetData() + from.GetSize());
}

SKrFound Look(const KrBytes& bytes)
{
    CKrMemoryFileSystem files;
    files.Set(kCutPath, KrBytes(bytes));
    const KrPlatform::CFileSystemScope scope(files);
    SKrFound found;
    CKrRef<IKrRiffReader> reader;
    EXPECT_EQ(KrCreateRiffReader(reader.Put()), 1);
    found.opened = reader->Open(kCutPath) == 1;
    CArray<SKrChunkIndexEntry> entries;
    if (found.opened && reader->LoadVideoIndex(entries) == 1)
        AppendEntries(entries, found.video);
    SKrAudioChunkPattern pattern;
    if (found.opened && reader->LoadAudioIndex(entries, &pattern) == 1)
        AppendEntries(entries, found.audio);
    return found;
}

// How many entries name something else than the chunk of the whole file in their place.
size_t WrongNames(const std::vector<SKrChunkIndexEntry>& entries, const std::vector<SKrChunkIndexEntry>& all,
                  const KrBytes& crashed, const KrBytes& whole)
{
    size_t wrong = entries.size() > all.size() ? entries.size() - all.size() : 0;
    for (size_t number = 0; number < std::min(entries.size(), all.size()); ++number)
    {
        const SKrChunkIndexEntry& entry = entries[number];
        const uint64_t end = all[number].position + all[number].size;
        const bool isRight = entry.position == all[number].position && entry.size == all[number].size &&
                             end <= crashed.size() &&
                             std::equal(whole.begin() + static_cast<ptrdiff_t>(entry.position) - 8,
                                        whole.begin() + static_cast<ptrdiff_t>(end),
                                        crashed.begin() + static_cast<ptrdiff_t>(entry.position) - 8);
        wrong += isRight ? 0 : 1;
    }
    return wrong;
}

uint64_t States()
{
    return NumberFromEnvironment("KR_CRASHES", 5000);
}

// Calls `look` with crashed bytes, the recording, the whole file's entries, and the events before the crash.
template <class Action>
void ForEveryCrash(uint32_t flags, uint64_t states, Action look)
{
    for (uint64_t seed = 0; seed < states / kStatesOfARecording && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        CKrScheduler scheduler(seed);
        SKrRecorded recorded(seed);
        recorded.Run(scheduler, flags);
        const SKrFound all = Look(recorded.whole);
        for (size_t state = 0; state < kStatesOfARecording; ++state)
        {
            const size_t events =
                recorded.opened + recorded.random() % (recorded.crashes.Events() - recorded.opened + 1);
            look(recorded.crashes.Crash(events, recorded.random), recorded, all, events);
        }
    }
}
} // namespace

TEST(PowerCut, PowerSafeRecordings_CanBeOpenedAndNameOnlyWhatIsThere)
{
    uint64_t withFrames = 0;
    uint64_t withoutAll = 0;
    ForEveryCrash(kKrRecordingPowerSafe, States(),
                  [&](const KrBytes& crashed, const SKrRecorded& recorded, const SKrFound& all, size_t)
                  {
                      const SKrFound found = Look(crashed);
                      EXPECT_TRUE(found.opened);
                      EXPECT_EQ(WrongNames(found.video, all.video, crashed, recorded.whole), 0u);
                      EXPECT_EQ(WrongNames(found.audio, all.audio, crashed, recorded.whole), 0u);
                      withFrames += found.video.empty() ? 0 : 1;
                      withoutAll += found.video.size() < all.video.size() ? 1 : 0;
                  });
    EXPECT_GT(withFrames, States() / 10) << "else nothing is shown";
    EXPECT_GT(withoutAll, States() / 10);
}

// Why there is the option: the system writes pages in any order.
TEST(PowerCut, OtherRecordings_MayNameWhatIsNotThere)
{
    uint64_t broken = 0;
    ForEveryCrash(0, 250,
                  [&](const KrBytes& crashed, const SKrRecorded& recorded, const SKrFound& all, size_t)
                  {
                      const SKrFound found = Look(crashed);
                      broken +=
                          !found.opened || WrongNames(found.video, all.video, crashed, recorded.whole) != 0
                              ? 1
                              : 0;
                  });
    EXPECT_GT(broken, 0u);
}
} // namespace KrTest
