// Direct chunks against bare gathered writes, queued frames without pauses, and the close of a long file.
#include "benchmarks/KrBench.h"
#include "tests/support/KrTestSample.h"
#include "writer/KrAviWriter.h"

#include <sys/uio.h>

using namespace KrBench;

namespace
{
constexpr uint64_t kMostBytes = uint64_t{400} << 20; // of one file: all in its first segment

// The system's time, without pauses.
class CKrHurriedClock final : public IKrClock
{
public:
    uint32_t TickCount() override { return KrPlatform::OsClock().TickCount(); }
    int64_t PerformanceCounter() override { return KrPlatform::OsClock().PerformanceCounter(); }
    int64_t PerformanceFrequency() override { return KrPlatform::OsClock().PerformanceFrequency(); }
    void Sleep(uint32_t) override {}
};

int WithoutAThread(int, IKrWorkerThread**)
{
    return 0;
}

SKrAviVideoParams Params()
{
    SKrAviVideoParams params{};
    params.width = params.displayWidth = 640;
    params.height = params.displayHeight = 360;
    params.frameRate = 2;
    return params;
}

CKrHurriedClock g_clock;

CKrRef<CKrAviWriter> OpenWriter()
{
    auto writer =
        CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter({KrPlatform::OsFileSystem(), g_clock, &WithoutAThread}));
    const SKrAviVideoParams params = Params();
    Require(writer->OpenFile(WidePathOf("written.avi", EKrFolder::Written).c_str(), &params, 0x47504A4D,
                             nullptr) != 0,
            "open");
    return writer;
}

// Not timed.
void StartAnewWhenFull(benchmark::State& state, CKrRef<CKrAviWriter>& writer, uint64_t& written)
{
    if (written <= kMostBytes)
        return;
    state.PauseTiming();
    writer.Reset();
    writer = OpenWriter();
    written = 0;
    state.ResumeTiming();
}

// Writes and bytes of one chunk, averaged over many: this includes the index and the headers.
void ReportWrites(benchmark::State& state)
{
    constexpr int kChunks = 1000;
    KrTest::CKrCountingFileSystem counts(KrPlatform::OsFileSystem());
    auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter({counts, g_clock, &WithoutAThread}));
    const SKrAviVideoParams params = Params();
    const std::vector<uint8_t> data(static_cast<size_t>(std::min<int64_t>(state.range(0), 1 << 16)), 1);
    writer->OpenFile(WidePathOf("written.avi", EKrFolder::Written).c_str(), &params, 0x47504A4D, nullptr);
    counts.Reset();
    for (int chunk = 0; chunk < kChunks; ++chunk)
        writer->WriteVideoChunk(data.data(), static_cast<int32_t>(data.size()));
    state.counters["writes"] = static_cast<double>(counts.Calls().writes) / kChunks;
}

void DirectOurs(benchmark::State& state)
{
    const std::vector<uint8_t> data(static_cast<size_t>(state.range(0)), 1);
    CKrRef<CKrAviWriter> writer = OpenWriter();
    uint64_t written = 0;
    for (auto _ : state)
    {
        if (writer->WriteVideoChunk(data.data(), static_cast<int32_t>(data.size())) == 0)
            state.SkipWithError("write");
        written += data.size();
        StartAnewWhenFull(state, writer, written);
    }
    writer.Reset();
    ReportWrites(state);
}

void DirectFloor(benchmark::State& state)
{
    std::vector<uint8_t> data(static_cast<size_t>(state.range(0)), 1);
    const std::string path = PathOf("floor.bin", EKrFolder::Written);
    const auto open = [&]
    {
        return ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    };
    int file = open();
    uint8_t header[8] = {};
    uint64_t written = 0;
    for (auto _ : state)
    {
        const iovec parts[] = {{header, sizeof header}, {data.data(), data.size()}};
        benchmark::DoNotOptimize(::pwritev(file, parts, 2, static_cast<off_t>(written)));
        written += data.size() + sizeof header;
        if (written > kMostBytes)
        {
            state.PauseTiming();
            ::close(file);
            file = open();
            written = 0;
            state.ResumeTiming();
        }
    }
    ::close(file);
}

// 'idx1' of the same number of frames, written at once.
void CloseFloor(benchmark::State& state)
{
    const std::vector<uint8_t> index(180'000 * 16, 1);
    const std::string path = PathOf("floor.bin", EKrFolder::Written);
    for (auto _ : state)
    {
        const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        benchmark::DoNotOptimize(::pwrite(file, index.data(), index.size(), 0));
        ::close(file);
    }
}

void Queued(benchmark::State& state)
{
    CKrRef<CKrAviWriter> writer = OpenWriter();
    const auto sample = CKrRef<KrTest::CKrTestSample>::Adopt(
        new KrTest::CKrTestSample(std::vector<uint8_t>(static_cast<size_t>(state.range(0)), 1)));
    uint64_t written = 0;
    for (auto _ : state)
    {
        if (writer->AddVideoSample(sample.Get()) == 0)
            state.SkipWithError("write");
        written += static_cast<uint64_t>(state.range(0));
        StartAnewWhenFull(state, writer, written);
    }
}

// The close of two hours of small frames: 'idx1', the last flush, the headers.
void Close(benchmark::State& state)
{
    const auto sample =
        CKrRef<KrTest::CKrTestSample>::Adopt(new KrTest::CKrTestSample(std::vector<uint8_t>(2000, 1)));
    for (auto _ : state)
    {
        state.PauseTiming();
        CKrRef<CKrAviWriter> writer = OpenWriter();
        for (int frame = 0; frame < 180'000; ++frame)
            writer->AddVideoSample(sample.Get());
        state.ResumeTiming();
        writer->CloseFile();
        state.PauseTiming();
        writer.Reset();
        state.ResumeTiming();
    }
}
} // namespace

BENCHMARK(DirectOurs)->Name("direct chunk of 4 KB/ours")->Arg(4 << 10);
BENCHMARK(DirectFloor)->Name("direct chunk of 4 KB/floor")->Arg(4 << 10);
BENCHMARK(DirectOurs)->Name("direct chunk of 64 KB/ours")->Arg(64 << 10);
BENCHMARK(DirectFloor)->Name("direct chunk of 64 KB/floor")->Arg(64 << 10);
BENCHMARK(DirectOurs)->Name("direct chunk of 1 MB/ours")->Arg(1 << 20);
BENCHMARK(DirectFloor)->Name("direct chunk of 1 MB/floor")->Arg(1 << 20);
BENCHMARK(Queued)->Name("queued frame of 64 KB/ours")->Arg(64 << 10);
BENCHMARK(DirectFloor)->Name("queued frame of 64 KB/floor")->Arg(64 << 10);
BENCHMARK(Close)->Name("close of 180,000 frames/ours")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(CloseFloor)->Name("close of 180,000 frames/floor")->Unit(benchmark::kMillisecond);
