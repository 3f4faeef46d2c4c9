// Recordings at the disk's speed, through the queue and its worker, against a bare loop of one gathered write
// for each chunk and its padding. Nothing is flushed by either while it is timed.
#include "benchmarks/KrBench.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrTestSample.h"
#include "writer/KrAviWriter.h"

#include <sys/uio.h>

#include <algorithm>
#include <thread>

using namespace KrBench;

namespace
{
constexpr size_t kBytesOfSound = 48000 / 25 * 4;
constexpr int64_t kBytesOfARun = int64_t{256} << 20;

int64_t FramesOfARun(int64_t frameBytes)
{
    return std::clamp<int64_t>(kBytesOfARun / (frameBytes + int64_t{kBytesOfSound}), 16, 20'000);
}

// Files whose flushes do nothing: they would measure the device.
class CKrUnflushedFiles final : public IKrFileSystem
{
public:
    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        return m_os.OpenForReading(path);
    }
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        return std::make_unique<CFile>(m_os.CreateForWriting(path), *this);
    }
    bool Exists(const wchar_t* path) override { return m_os.Exists(path); }
    bool Delete(const wchar_t* path) override { return m_os.Delete(path); }
    uint32_t BytesPerSector(const wchar_t* folder) override { return m_os.BytesPerSector(folder); }

    uint64_t writes = 0;

private:
    class CFile final : public IKrWritableFile
    {
    public:
        CFile(std::unique_ptr<IKrWritableFile> file, CKrUnflushedFiles& owner)
            : m_file(std::move(file)), m_owner(owner)
        {
        }
        SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
        {
            ++m_owner.writes;
            return m_file->WriteAt(position, parts);
        }
        SKrFlushOutcome Flush() override { return {true, 0}; }
        std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
        {
            return m_file->Map(position, length);
        }
        bool CutTo(uint64_t size) override { return m_file->CutTo(size); }

    private:
        std::unique_ptr<IKrWritableFile> m_file;
        CKrUnflushedFiles& m_owner;
    };

    IKrFileSystem& m_os = KrPlatform::OsFileSystem();
};

CKrRef<CKrAviWriter> OpenFast(IKrFileSystem& files)
{
    auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter({files, KrPlatform::OsClock()}));
    SKrRecordingOptions options{};
    options.size = sizeof options;
    options.queueWaitMs = options.audioWaitMs = 0xFFFFFFFF;
    Require(writer->SetRecordingOptions(&options) != 0, "options");
    SKrAviVideoParams params{};
    params.width = params.displayWidth = 1920;
    params.height = params.displayHeight = 1080;
    params.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate25);
    const WAVEFORMATEX sound{1, 2, 48000, 48000 * 4, 4, 16, 0};
    Require(writer->OpenFile(WidePathOf("written.avi", EKrFolder::Written).c_str(), &params, 0x47504A4D,
                             &sound) != 0,
            "open");
    return writer;
}

uint64_t FramesWritten(IKrAviWriter& writer)
{
    SKrRecordingStatus status{};
    status.size = sizeof status;
    writer.GetRecordingStatus(&status);
    return status.framesWritten;
}

// Submits sound and frame as a host does, and waits until all frames but the last are written.
void RecordedOurs(benchmark::State& state)
{
    const auto frame = CKrRef<KrTest::CKrTestSample>::Adopt(
        new KrTest::CKrTestSample(std::vector<uint8_t>(static_cast<size_t>(state.range(0)), 1)));
    const auto sound = CKrRef<KrTest::CKrTestSample>::Adopt(
        new KrTest::CKrTestSample(std::vector<uint8_t>(kBytesOfSound, 2)));
    const int64_t frames = FramesOfARun(state.range(0));
    CKrUnflushedFiles files;
    for (auto _ : state)
    {
        state.PauseTiming();
        CKrRef<CKrAviWriter> writer = OpenFast(files);
        files.writes = 0;
        state.ResumeTiming();
        for (int64_t number = 0; number < frames; ++number)
        {
            Require(writer->AddAudioSample(sound.Get()) != 0 && writer->AddVideoSample(frame.Get()) != 0,
                    "submission");
        }
        while (FramesWritten(*writer.Get()) < static_cast<uint64_t>(frames))
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        state.PauseTiming();
        writer.Reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * frames);
    state.counters["writes per 64 KB"] =
        static_cast<double>(files.writes) * 65'536 /
        static_cast<double>(frames * (state.range(0) + int64_t{kBytesOfSound}));
}

// A chunk with its padding: four parts of one write.
void WriteChunk(int file, std::vector<uint8_t>& data, std::vector<uint8_t>& zeros, uint64_t& position)
{
    uint8_t header[8] = {};
    const uint64_t end = position + sizeof header + data.size();
    const uint64_t padding = end % 512 == 0 ? 0 : (end + 8 + 511) / 512 * 512 - end;
    const iovec parts[] = {{header, sizeof header}, {data.data(), data.size()}, {zeros.data(), padding}};
    benchmark::DoNotOptimize(::pwritev(file, parts, 3, static_cast<off_t>(position)));
    position = end + padding;
}

void RecordedFloor(benchmark::State& state)
{
    std::vector<uint8_t> frame(static_cast<size_t>(state.range(0)), 1);
    std::vector<uint8_t> sound(kBytesOfSound, 2);
    std::vector<uint8_t> zeros(1024);
    const int64_t frames = FramesOfARun(state.range(0));
    const std::string path = PathOf("floor.bin", EKrFolder::Written);
    for (auto _ : state)
    {
        state.PauseTiming();
        ::unlink(path.c_str());
        const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        uint64_t position = 0;
        state.ResumeTiming();
        for (int64_t number = 0; number < frames; ++number)
        {
            WriteChunk(file, sound, zeros, position);
            WriteChunk(file, frame, zeros, position);
        }
        state.PauseTiming();
        ::close(file);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void AddPair(const char* name, int64_t bytes)
{
    const std::string title = std::string("recorded frame of ") + name;
    benchmark::RegisterBenchmark((title + "/ours").c_str(), RecordedOurs)
        ->Arg(bytes)
        ->Iterations(1)
        ->MeasureProcessCPUTime()
        ->UseRealTime();
    benchmark::RegisterBenchmark((title + "/floor").c_str(), RecordedFloor)
        ->Arg(bytes)
        ->Iterations(1)
        ->MeasureProcessCPUTime()
        ->UseRealTime();
}

const bool g_added = []
{
    AddPair("4 KB", 4 << 10);
    AddPair("64 KB", 64 << 10);
    AddPair("1 MB", 1 << 20);
    AddPair("16 MB", 16 << 20);
    return true;
}();
} // namespace
