// Records pictures and sound in real time until it is killed: KrRecordUntilKilled FILE [MILLISECONDS
// [close]]. With a time it kills itself after it, without any clean-up, or closes the file properly. Prints
// "recording" and when it began, in milliseconds since 1970; frame n comes n / kKilledFramesPerSecond later.
// After closing the file, how long its longest submission and the longest flush took.
#include "KrOsTypes.h"
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/killed/KrKilledPattern.h"
#include "tests/support/KrTestSample.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <csignal>
#endif

using namespace KrTest;

namespace
{
[[noreturn]] void Die()
{
#if defined(_WIN32)
    TerminateProcess(GetCurrentProcess(), 9);
#else
    std::raise(SIGKILL);
#endif
    std::abort();
}

int Add(IKrAviWriter& writer, bool isVideo, uint32_t number)
{
    const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KilledBytes(isVideo, number)));
    return isVideo ? writer.AddVideoSample(sample.Get()) : writer.AddAudioSample(sample.Get());
}
} // namespace

int main(int count, char** arguments)
{
    if (count < 2)
        return 2;
    const std::string narrow = arguments[1];
    const std::wstring path(narrow.begin(), narrow.end());
    IKrAviWriter* writer = nullptr;
    SKrMediaInfo info{};
    info.videoStreamCount = info.audioStreamCount = 1;
    info.width = 640;
    info.height = 360;
    info.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate50);
    info.channels = 2;
    info.bitsPerSample = 16;
    info.samplesPerSec = 48000;
    if (KrCreateAviWriter(&writer) == 0 || writer->OpenFileFromInfo(path.c_str(), &info) == 0)
        return 1;
    const bool closes = count > 3;
    const auto time = std::chrono::milliseconds(count > 2 ? std::atoi(arguments[2]) : 0);
    if (count == 3)
        std::thread(
            [time]
            {
                std::this_thread::sleep_for(time);
                Die();
            })
            .detach();
    std::printf("recording %lld\n", static_cast<long long>(MillisecondsSince1970()));
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    auto longest = std::chrono::steady_clock::duration::zero();
    for (uint32_t number = 0; !closes || std::chrono::steady_clock::now() - start < time; ++number)
    {
        for (const bool isVideo : {false, true})
        {
            const auto before = std::chrono::steady_clock::now();
            if (Add(*writer, isVideo, number) == 0)
                return 1;
            longest = std::max(longest, std::chrono::steady_clock::now() - before);
        }
        std::this_thread::sleep_until(start + std::chrono::milliseconds(1000) * (number + 1) /
                                                  kKilledFramesPerSecond);
    }
    const bool closed = writer->CloseFile() != 0;
    SKrRecordingStatus status{};
    status.size = sizeof status;
    if (writer->GetRecordingStatus(&status) == 0)
        return 1;
    std::printf(
        "longest submission %lld us, longest flush %llu us\n",
        static_cast<long long>(std::chrono::duration_cast<std::chrono::microseconds>(longest).count()),
        static_cast<unsigned long long>(status.longestFlushUs));
    writer->Release();
    return closed ? 0 : 1;
}
