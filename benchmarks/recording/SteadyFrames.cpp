// 10,000 frames of 4 KB in a second: how long the queue gets, and whether every frame is in the file.
#include "benchmarks/recording/KrFigures.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <numeric>
#include <thread>

namespace KrFigures
{
namespace
{
constexpr size_t kFrameBytes = 4096;

// Submits what is due by the clock, each frame with its sound.
void Submit(IKrAviWriter& writer, IKrMediaSample& sound, int64_t frames, double framesPerSecond)
{
    const CKrStopwatch watch;
    for (int64_t number = 0; number < frames; ++number)
    {
        while (watch.Seconds() * framesPerSecond < static_cast<double>(number))
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        const auto frame = CKrRef<CKrNumberedSample>::Adopt(
            new CKrNumberedSample(kFrameBytes, static_cast<uint64_t>(number)));
        Require(writer.AddAudioSample(&sound) != 0 && writer.AddVideoSample(frame.Get()) != 0, "submission");
    }
}

// Looks at the queue about a thousand times a second.
std::vector<double> WatchQueue(IKrAviWriter& writer, const std::atomic<bool>& ends)
{
    std::vector<double> lengths;
    while (!ends)
    {
        const SKrRecordingStatus status = StatusOf(writer);
        lengths.push_back(static_cast<double>(status.queuedFrames + status.queuedAudioChunks));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return lengths;
}
} // namespace

void MeasureSteadyFrames(const std::vector<std::string>& arguments)
{
    const std::string path = arguments[0] + "/steady.avi";
    const int64_t seconds = NumberOr(5, arguments, 1);
    const int64_t framesPerSecond = NumberOr(10'000, arguments, 2);
    const int64_t frames = seconds * framesPerSecond;
    CKrPages soundMemory(kSoundBytes, 2);
    const auto sound = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(soundMemory.Bytes()));
    const SKrRecordingOptions options = FastOptions();
    const CKrRef<IKrAviWriter> writer = OpenWriter(path, &options);
    std::atomic<bool> ends = false;
    std::vector<double> lengths;
    std::thread watcher([&] { lengths = WatchQueue(*writer.Get(), ends); });
    const CKrStopwatch watch;
    Submit(*writer.Get(), *sound.Get(), frames, static_cast<double>(framesPerSecond));
    const double took = watch.Seconds();
    ends = true;
    watcher.join();
    Require(writer->CloseFile() != 0, "close");

    std::vector<uint64_t> numbers(static_cast<size_t>(frames));
    std::iota(numbers.begin(), numbers.end(), uint64_t{0});
    const bool isWhole = HasNumberedFrames(path, numbers, kFrameBytes);
    ::unlink(path.c_str());
    std::printf("| %lld frames of 4 KB with sound, %.0f a second | samples in the queue | target |\n"
                "|---|---|---|\n",
                static_cast<long long>(frames), static_cast<double>(frames) / took);
    std::printf("| median | %.0f | - |\n", Median(lengths));
    std::printf("| 99.9 %% of the time at most | %.0f | 200 |\n", Quantile(lengths, 0.999));
    std::printf("| most | %.0f | 2,000 |\n", Quantile(lengths, 1));
    std::printf("| every frame in file and index | %s | yes |\n", isWhole ? "yes" : "NO");
    Require(isWhole, "a frame is missing");
}
} // namespace KrFigures
