// Records pictures and sound in real time until it is killed: KrRecordUntilKilled FILE [MILLISECONDS
// [close]]. With a time it kills itself after it, without any clean-up, or closes the file properly.
#include "KrOsTypes.h"
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/killed/KrKilledPattern.h"
#include "tests/support/KrTestSample.h"

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
    info.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate25);
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
    std::puts("recording");
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    for (uint32_t number = 0; !closes || std::chrono::steady_clock::now() - start < time; ++number)
    {
        if (Add(*writer, false, number) == 0 || Add(*writer, true, number) == 0)
            return 1;
        std::this_thread::sleep_until(start + std::chrono::milliseconds(1000) * (number + 1) /
                                                  kKilledFramesPerSecond);
    }
    const bool closed = writer->CloseFile() != 0;
    writer->Release();
    return closed ? 0 : 1;
}
