// How long submissions take beside the writes and flushes of a real disk.
#include "benchmarks/recording/KrFigures.h"

#include <unistd.h>

#include <cstdio>
#include <thread>

namespace KrFigures
{
namespace
{
template <class Action>
void Time(std::vector<double>& times, Action action)
{
    const CKrStopwatch watch;
    Require(action() != 0, "submission");
    times.push_back(watch.Seconds() * 1e3);
}
} // namespace

void MeasureSubmissions(const std::vector<std::string>& arguments)
{
    const std::string path = arguments[0] + "/submissions.avi";
    const int64_t seconds = NumberOr(10, arguments, 1);
    const int64_t framesPerSecond = NumberOr(100, arguments, 2);
    const auto frameBytes = static_cast<size_t>(NumberOr(1 << 20, arguments, 3));
    CKrPages frameMemory(frameBytes, 1);
    CKrPages soundMemory(kSoundBytes, 2);
    const auto frame = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(frameMemory.Bytes()));
    const auto sound = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(soundMemory.Bytes()));
    const SKrRecordingOptions options = FastOptions();
    const CKrRef<IKrAviWriter> writer = OpenWriter(path, &options);
    std::vector<double> times; // milliseconds
    auto due = std::chrono::steady_clock::now();
    for (int64_t number = 0; number < seconds * framesPerSecond; ++number)
    {
        Time(times, [&] { return writer->AddAudioSample(sound.Get()); });
        Time(times, [&] { return writer->AddVideoSample(frame.Get()); });
        due += std::chrono::microseconds(1'000'000 / framesPerSecond);
        std::this_thread::sleep_until(due);
    }
    Require(writer->CloseFile() != 0, "close");
    const SKrRecordingStatus status = StatusOf(*writer.Get());
    ::unlink(path.c_str());
    std::printf("| submissions beside a disk, %.0f MB/s | ms | target |\n|---|---|---|\n",
                static_cast<double>(framesPerSecond) * static_cast<double>(frameBytes) / 1e6);
    std::printf("| median | %.4f | - |\n", Median(times));
    std::printf("| 99.9 %% within | %.3f | 20 |\n", Quantile(times, 0.999));
    std::printf("| longest | %.3f | - |\n", Quantile(times, 1));
    std::printf("| longest write beside them | %.1f | - |\n",
                static_cast<double>(status.longestWriteUs) / 1e3);
    std::printf("| longest flush beside them | %.1f | - |\n",
                static_cast<double>(status.longestFlushUs) / 1e3);
    std::printf("| most in the queue | %.1f MB | - |\n", static_cast<double>(status.mostQueuedBytes) / 1e6);
}
} // namespace KrFigures
