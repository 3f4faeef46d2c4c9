// Refresh of recordings under way that are a minute, an hour and ten hours long, on a file system in memory:
// what it costs without the system's own calls.
#include "benchmarks/KrBench.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/writer/KrRecorder.h"

#include <map>
#include <memory>

using namespace KrBench;

namespace
{
constexpr wchar_t kPath[] = L"followed.avi";
constexpr int kFramesPerSecond = 25;
constexpr int kFrameBytes = 100;

// A recording that goes on, and a reader that follows it.
class CRecording
{
public:
    explicit CRecording(int64_t seconds)
    {
        KrTest::SKrWritten written;
        const SKrAviVideoParams params = KrTest::ParamsFor(written);
        SKrWriterServices services{m_files, m_clock};
        services.createWorkerThread = &KrTest::NoWorkerThread;
        m_writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
        Require(m_writer->OpenFile(kPath, &params, KrTest::FourCcValue(written.codec), nullptr) != 0,
                "record");
        RecordSeconds(seconds);
        Require(reader.OpenGrowing(kPath) != 0, "follow");
        while (reader.Refresh() > 0)
        {
        }
    }

    void RecordSeconds(int64_t seconds)
    {
        for (int64_t frame = 0; frame < seconds * kFramesPerSecond; ++frame)
        {
            const auto sample = CKrRef<KrTest::CKrZeroSample>::Adopt(new KrTest::CKrZeroSample(kFrameBytes));
            Require(m_writer->AddVideoSample(sample.Get()) != 0, "frame");
        }
    }

    // The reads of one Refresh without news.
    [[nodiscard]] std::vector<KrTest::SKrReadCall> Reads()
    {
        KrTest::CKrCountingFileSystem counts(m_files);
        CKrRiffReader counted(counts);
        Require(counted.OpenGrowing(kPath) != 0, "follow");
        while (counted.Refresh() > 0)
        {
        }
        counts.Reset();
        Require(counted.Refresh() == 0, "nothing new");
        return counts.Reads();
    }

private:
    KrTest::CKrMemoryFileSystem m_files;
    KrTest::CKrManualClock m_clock;
    CKrRef<CKrAviWriter> m_writer;

public:
    CKrRiffReader reader{m_files};
};

CRecording& RecordingOf(int64_t seconds)
{
    static std::map<int64_t, std::unique_ptr<CRecording>> recordings;
    std::unique_ptr<CRecording>& recording = recordings[seconds];
    if (recording == nullptr)
        recording = std::make_unique<CRecording>(seconds);
    return *recording;
}

void RefreshNothingNew(benchmark::State& state, int64_t seconds)
{
    CRecording& recording = RecordingOf(seconds);
    for (auto _ : state)
        Require(recording.reader.Refresh() == 0, "nothing new");
    Report(state, recording.Reads());
}

// Each time with what the writer flushed in a second.
void RefreshNews(benchmark::State& state, int64_t seconds)
{
    CRecording& recording = RecordingOf(seconds);
    for (auto _ : state)
    {
        state.PauseTiming();
        recording.RecordSeconds(1);
        state.ResumeTiming();
        Require(recording.reader.Refresh() == 1, "news");
    }
    Require(recording.reader.Refresh() == 0, "nothing new");
}

constexpr int64_t kMinute = 60;
constexpr int64_t kHour = 60 * kMinute;
constexpr int kNews = 5; // few, so that the recording keeps its length
} // namespace

BENCHMARK_CAPTURE(RefreshNothingNew, minute, kMinute)->Name("refresh with nothing new, 1 minute/ours");
BENCHMARK_CAPTURE(RefreshNothingNew, hour, kHour)->Name("refresh with nothing new, 1 hour/ours");
BENCHMARK_CAPTURE(RefreshNothingNew, hours, 10 * kHour)->Name("refresh with nothing new, 10 hours/ours");
BENCHMARK_CAPTURE(RefreshNews, minute, kMinute)
    ->Name("refresh with a second of news, 1 minute/ours")
    ->Iterations(kNews);
BENCHMARK_CAPTURE(RefreshNews, hour, kHour)
    ->Name("refresh with a second of news, 1 hour/ours")
    ->Iterations(kNews);
BENCHMARK_CAPTURE(RefreshNews, hours, 10 * kHour)
    ->Name("refresh with a second of news, 10 hours/ours")
    ->Iterations(kNews);
