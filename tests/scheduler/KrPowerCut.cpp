#include "tests/scheduler/KrPowerCut.h"

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/scheduler/KrScheduledWorker.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTestSample.h"
#include "tests/writer/KrRecordingArguments.h"
#include "tests/writer/KrWriterArguments.h"
#include "writer/KrAviWriter.h"

#include <utility>

namespace KrTest
{
namespace
{
constexpr wchar_t kCrashedPath[] = L"a.avi";

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

// Bytes that no header has.
CKrRef<CKrTestSample> RandomSample(size_t size, std::mt19937_64& random)
{
    KrBytes bytes(size);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(0x80 | random());
    return CKrRef<CKrTestSample>::Adopt(new CKrTestSample(std::move(bytes)));
}

void AppendEntries(const CArray<SKrChunkIndexEntry>& from, std::vector<SKrChunkIndexEntry>& to)
{
    to.assign(from.GetData(), from.GetData() + from.GetSize());
}
} // namespace

SKrFound FindByReader(const KrBytes& bytes)
{
    CKrMemoryFileSystem files;
    files.Set(kCrashedPath, KrBytes(bytes));
    const KrPlatform::CFileSystemScope scope(files);
    SKrFound found;
    CKrRef<IKrRiffReader> reader;
    EXPECT_EQ(KrCreateRiffReader(reader.Put()), 1);
    found.opened = reader->Open(kCrashedPath) == 1;
    CArray<SKrChunkIndexEntry> entries;
    if (found.opened && reader->LoadVideoIndex(entries) == 1)
        AppendEntries(entries, found.video);
    SKrAudioChunkPattern pattern;
    if (found.opened && reader->LoadAudioIndex(entries, &pattern) == 1)
        AppendEntries(entries, found.audio);
    return found;
}

void CKrPowerCut::Record(CKrScheduler& scheduler, uint32_t flags)
{
    m_hasAudio = scheduler.Choose(2) == 0;
    scheduler.Add([this, flags] { RecordFile(flags); });
    ASSERT_EQ(scheduler.Run(), "");
    m_whole = m_memory.Content(kCrashedPath).ToBytes();
    m_all = FindByReader(m_whole);
}

void CKrPowerCut::RecordFile(uint32_t flags)
{
    CSteppingClock clock;
    SKrWriterServices services{m_files, clock};
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
    ASSERT_EQ(writer->OpenFile(kCrashedPath, &params, 0, m_hasAudio ? &format : nullptr), 1);
    m_opened = m_crashes.Events();
    const size_t frames = 60 + m_random() % 60;
    for (size_t number = 0; number < frames; ++number)
    {
        if (m_hasAudio)
        {
            ASSERT_EQ(writer->AddAudioSample(RandomSample(640, m_random).Get()), 1);
        }
        ASSERT_EQ(writer->AddVideoSample(RandomSample(1 + m_random() % 1200, m_random).Get()), 1);
        YieldToScheduler();
    }
    ASSERT_EQ(writer->CloseFile(), 1);
}

KrBytes CKrPowerCut::Crash()
{
    const size_t events = m_opened + m_random() % (m_crashes.Events() - m_opened + 1);
    m_durable = m_crashes.DurableSize(events);
    return m_crashes.Crash(events, m_random);
}
} // namespace KrTest
