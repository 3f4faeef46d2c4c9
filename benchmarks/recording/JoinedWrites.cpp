// Queued writes at the disk's speed against a bare loop of one gathered write for each chunk and its padding.
// Both copy the same pages into a new file, on the last processor while the last file was removed on the
// first, and neither flushes it. They take turns, and each round is a ratio of its own, so that what else the
// machine does meanwhile weighs on both.
#include "benchmarks/recording/KrFigures.h"
#include "platform/KrPlatform.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <thread>
#include <utility>

namespace KrFigures
{
namespace
{
constexpr int64_t kBytesOfARun = int64_t{256} << 20;

// Files whose flushes do nothing, and whose writes are counted.
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
    uint32_t BytesPerSector(const wchar_t*) override { return kSectorBytes; }

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

struct SKrMaterial
{
    explicit SKrMaterial(size_t frameBytes)
        : frame(frameBytes, 1), sound(kSoundBytes, 2),
          frames(
              std::clamp<int64_t>(kBytesOfARun / static_cast<int64_t>(frameBytes + kSoundBytes), 16, 20'000))
    {
    }

    CKrPages frame;
    CKrPages sound;
    int64_t frames;

    [[nodiscard]] uint64_t Bytes() const
    {
        return static_cast<uint64_t>(frames) * (frame.Bytes().size() + sound.Bytes().size());
    }
};

struct SKrTimed
{
    double seconds = 0;
    double processorSeconds = 0; // of whoever writes
    uint64_t writes = 0;
};

// From the first submission until the last frame was written and released.
SKrTimed Record(const std::string& path, const SKrMaterial& material)
{
    CKrUnflushedFiles files;
    const KrPlatform::CFileSystemScope scope(files);
    const SKrRecordingOptions options = FastOptions();
    MoveTo(EKrProcessor::Last); // where the worker then stays
    const CKrRef<IKrAviWriter> writer = OpenWriter(path, &options);
    MoveTo(EKrProcessor::First);
    const auto frame = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(material.frame.Bytes()));
    const auto sound = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(material.sound.Bytes()));
    std::binary_semaphore released(0);
    auto last = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(material.frame.Bytes(), &released));
    const uint64_t writesBefore = files.writes;
    const double processorBefore = ProcessorSeconds() - ProcessorSecondsOfThread();
    const CKrStopwatch watch;
    for (int64_t number = 1; number <= material.frames; ++number)
    {
        Require(writer->AddAudioSample(sound.Get()) != 0, "sound");
        Require(writer->AddVideoSample((number < material.frames ? frame : last).Get()) != 0, "frame");
    }
    last.Reset();
    released.acquire();
    const SKrTimed timed{watch.Seconds(), ProcessorSeconds() - ProcessorSecondsOfThread() - processorBefore,
                         files.writes - writesBefore};
    Require(StatusOf(*writer.Get()).framesWritten == static_cast<uint64_t>(material.frames), "frames");
    Require(writer->CloseFile() != 0, "close");
    return timed;
}

void WriteChunk(int file, std::span<uint8_t> data, uint64_t& position)
{
    static uint8_t header[8];
    static uint8_t zeros[2 * kSectorBytes];
    const uint64_t end = position + sizeof header + data.size();
    const uint64_t padding = PaddingAfter(end);
    const iovec parts[] = {{header, sizeof header}, {data.data(), data.size()}, {zeros, padding}};
    const ssize_t written = ::pwritev(file, parts, 3, static_cast<off_t>(position));
    Require(written == static_cast<ssize_t>(end + padding - position), "bare write");
    position = end + padding;
}

SKrTimed WriteBare(const std::string& path, const SKrMaterial& material)
{
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    Require(file >= 0, "bare file");
    SKrTimed timed;
    MoveTo(EKrProcessor::Last);
    std::thread worker(
        [&]
        {
            uint64_t position = 0;
            const CKrStopwatch watch;
            for (int64_t number = 0; number < material.frames; ++number)
            {
                WriteChunk(file, material.sound.Bytes(), position);
                WriteChunk(file, material.frame.Bytes(), position);
            }
            timed = {watch.Seconds(), ProcessorSecondsOfThread(), 2 * static_cast<uint64_t>(material.frames)};
        });
    MoveTo(EKrProcessor::First);
    worker.join();
    ::close(file);
    return timed;
}

SKrTimed RunOne(bool ours, const std::string& folder, const SKrMaterial& material)
{
    const std::string path = folder + "/joined.avi";
    ::unlink(path.c_str());
    const SKrTimed timed = ours ? Record(path, material) : WriteBare(path, material);
    ::unlink(path.c_str());
    return timed;
}

void MeasureSize(const std::string& folder, int64_t rounds, const char* name, size_t frameBytes,
                 const char* target)
{
    const SKrMaterial material(frameBytes);
    std::vector<double> ratios;
    std::vector<double> processorRatios;
    std::vector<double> times;
    uint64_t writes = 0;
    for (int64_t round = 0; round <= rounds; ++round)
    {
        SKrTimed timed[2]; // bare, ours
        const size_t first = static_cast<size_t>(round) % 2;
        for (const size_t which : {first, 1 - first})
            timed[which] = RunOne(which == 1, folder, material);
        if (round == 0)
            continue; // everything is warm after it
        ratios.push_back(timed[1].seconds / timed[0].seconds);
        processorRatios.push_back(timed[1].processorSeconds / timed[0].processorSeconds);
        times.push_back(timed[1].seconds);
        writes = timed[1].writes;
    }
    std::printf("| frames of %s with sound | %.1f ms | %.2f / %.2f / %.2f | %s | %.2f | %.2f |\n", name,
                Median(times) * 1e3, Quantile(ratios, 0), Median(ratios), Quantile(ratios, 1), target,
                Median(processorRatios),
                static_cast<double>(writes) * 65'536 / static_cast<double>(material.Bytes()));
    std::fflush(stdout);
}
} // namespace

void MeasureJoinedWrites(const std::vector<std::string>& arguments)
{
    const int64_t rounds = NumberOr(11, arguments, 1);
    std::printf(
        "| queued, joined writes | median | to bare writes: min / median / max | target | the writing "
        "thread's processor time to theirs | writes for 64 KB |\n|---|---|---|---|---|---|\n");
    MeasureSize(arguments[0], rounds, "4 KB", 4 << 10, "0.80");
    MeasureSize(arguments[0], rounds, "64 KB", 64 << 10, "1.00");
    MeasureSize(arguments[0], rounds, "1 MB", 1 << 20, "1.10");
    MeasureSize(arguments[0], rounds, "16 MB", 16 << 20, "1.10");
}
} // namespace KrFigures
