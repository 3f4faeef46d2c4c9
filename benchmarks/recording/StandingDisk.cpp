// A queue with a limit while the disk takes nothing for ten seconds: the memory of its samples, and what is
// refused.
#include "benchmarks/recording/KrFigures.h"
#include "tests/support/KrStallingFileSystem.h"

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

namespace KrFigures
{
namespace
{
constexpr size_t kFrameBytes = 1 << 20;
constexpr int64_t kFramesPerSecondHere = 60;

double PeakMegabytes()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024 / 1e6;
}

struct SKrSubmittedFrames
{
    std::vector<uint64_t> accepted;
    uint64_t refused = 0;
};

// Frames with their sound at their pace; the disk stands still after the first second, for so many.
SKrSubmittedFrames Submit(IKrAviWriter& writer, int64_t seconds, std::atomic<bool>& stands)
{
    SKrSubmittedFrames submitted;
    auto due = std::chrono::steady_clock::now();
    for (int64_t number = 0; number < (seconds + 2) * kFramesPerSecondHere; ++number)
    {
        stands = number >= kFramesPerSecondHere && number < (seconds + 1) * kFramesPerSecondHere;
        stands.notify_all();
        const auto frame = CKrRef<CKrNumberedSample>::Adopt(
            new CKrNumberedSample(kFrameBytes, static_cast<uint64_t>(number)));
        const auto sound = CKrRef<CKrNumberedSample>::Adopt(new CKrNumberedSample(kSoundBytes, 0));
        if (writer.AddVideoSample(frame.Get()) != 0)
            submitted.accepted.push_back(static_cast<uint64_t>(number));
        else
            ++submitted.refused;
        submitted.refused += writer.AddAudioSample(sound.Get()) == 0 ? 1 : 0;
        due += std::chrono::microseconds(1'000'000 / kFramesPerSecondHere);
        std::this_thread::sleep_until(due);
    }
    stands = false;
    stands.notify_all();
    return submitted;
}
} // namespace

void MeasureStandingDisk(const std::vector<std::string>& arguments)
{
    const std::string path = arguments[0] + "/standing.avi";
    const int64_t seconds = NumberOr(10, arguments, 1);
    const auto limit = static_cast<uint64_t>(NumberOr(64, arguments, 2)) << 20;
    std::atomic<bool> stands = false;
    KrTest::CKrStallingFileSystem files(KrPlatform::OsFileSystem());
    files.beforeWrite = files.beforeFlush = [&]
    {
        stands.wait(true);
    };
    const KrPlatform::CFileSystemScope scope(files);
    SKrRecordingOptions options = FastOptions();
    options.queueLimit = limit;
    options.queueWaitMs = 0;
    const CKrRef<IKrAviWriter> writer = OpenWriter(path, &options);
    const double before = PeakMegabytes();
    const SKrSubmittedFrames submitted = Submit(*writer.Get(), seconds, stands);
    Require(writer->CloseFile() != 0, "close");
    const double after = PeakMegabytes();
    const SKrRecordingStatus status = StatusOf(*writer.Get());
    const bool isWhole = HasNumberedFrames(path, submitted.accepted, kFrameBytes);
    ::unlink(path.c_str());

    const uint64_t most = CKrNumberedSample::MostBytes();
    const uint64_t allowed = limit + kFrameBytes + kSoundBytes; // those that were just being submitted
    const auto megabytes = [](uint64_t bytes)
    {
        return static_cast<double>(bytes) / 1e6;
    };
    std::printf("| a disk that stands still for %lld s | measured | target |\n|---|---|---|\n",
                static_cast<long long>(seconds));
    std::printf("| most memory in samples | %.2f MB | %.2f MB |\n", megabytes(most), megabytes(allowed));
    std::printf("| most in the queue | %.2f MB | %.2f MB |\n", megabytes(status.mostQueuedBytes),
                megabytes(limit));
    std::printf("| memory of the process, more than before | %.1f MB | - |\n", after - before);
    std::printf("| samples refused, and counted as that | %llu, %llu | the same |\n",
                static_cast<unsigned long long>(submitted.refused),
                static_cast<unsigned long long>(status.samplesRefused));
    std::printf("| file of what was accepted | %s | whole |\n", isWhole ? "whole" : "NOT WHOLE");
    Require(isWhole && most <= allowed && submitted.refused == status.samplesRefused, "standing disk");
}
} // namespace KrFigures
