// The worker's processor time for a recording in real time: KrPacedRecording FILE [SECONDS] records 1080-line
// video of 25 frames per second with sound, 500,000 bytes a frame, then writes the same bytes by bare calls,
// and prints one line for each.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrTestSample.h"

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <unistd.h>

namespace
{
constexpr int kFramesPerSecond = 25;
constexpr size_t kFrameBytes = 500'000;    // 100 Mbit/s
constexpr uint32_t kSamplesPerSec = 48000; // stereo, 16 bits
constexpr size_t kBlockAlign = 4;
constexpr size_t kSoundBytes = kSamplesPerSec / kFramesPerSecond * kBlockAlign; // of one frame

double Seconds(int who)
{
    rusage usage{};
    ::getrusage(who, &usage);
    const auto seconds = [](const timeval& time)
    {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Of all threads except this one.
double OtherThreads()
{
    return Seconds(RUSAGE_SELF) - Seconds(RUSAGE_THREAD);
}

void Require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(what);
}

class CKrFrameClock
{
public:
    void WaitForNextFrame()
    {
        m_due += std::chrono::milliseconds(1000 / kFramesPerSecond);
        std::this_thread::sleep_until(m_due);
    }

private:
    std::chrono::steady_clock::time_point m_due = std::chrono::steady_clock::now();
};

CKrRef<IKrAviWriter> OpenWriter(const std::wstring& path)
{
    CKrRef<IKrAviWriter> writer;
    Require(KrCreateAviWriter(writer.Put()) != 0, "writer");
    SKrAviVideoParams video{};
    video.width = video.displayWidth = 1920;
    video.height = video.displayHeight = 1080;
    video.frameRate = 2; // 25
    WAVEFORMATEX audio{};
    audio.wFormatTag = 1; // PCM
    audio.nChannels = 2;
    audio.nSamplesPerSec = kSamplesPerSec;
    audio.nBlockAlign = kBlockAlign;
    audio.nAvgBytesPerSec = kSamplesPerSec * kBlockAlign;
    audio.wBitsPerSample = 16;
    Require(writer->OpenFile(path.c_str(), &video, 0x47504A4D, &audio) != 0, "open");
    return writer;
}

double Record(const std::wstring& path, int seconds)
{
    const auto frame =
        CKrRef<KrTest::CKrTestSample>::Adopt(new KrTest::CKrTestSample(std::vector<uint8_t>(kFrameBytes, 1)));
    const auto sound =
        CKrRef<KrTest::CKrTestSample>::Adopt(new KrTest::CKrTestSample(std::vector<uint8_t>(kSoundBytes, 2)));
    CKrRef<IKrAviWriter> writer = OpenWriter(path);
    const double before = OtherThreads();
    CKrFrameClock clock;
    for (int number = 0; number < seconds * kFramesPerSecond; ++number)
    {
        Require(writer->AddAudioSample(sound.Get()) != 0 && writer->AddVideoSample(frame.Get()) != 0,
                "write");
        clock.WaitForNextFrame();
    }
    const double used = OtherThreads() - before;
    Require(writer->CloseFile() != 0, "close");
    return used;
}

double WriteBare(const std::string& path, int seconds)
{
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    Require(file >= 0, "floor");
    std::vector<uint8_t> frame(kFrameBytes, 1);
    std::vector<uint8_t> sound(kSoundBytes, 2);
    uint8_t header[8] = {};
    const double before = Seconds(RUSAGE_THREAD);
    off_t at = 0;
    CKrFrameClock clock;
    for (int number = 0; number < seconds * kFramesPerSecond; ++number)
    {
        for (std::vector<uint8_t>* data : {&sound, &frame})
        {
            const iovec parts[] = {{header, sizeof header}, {data->data(), data->size()}};
            at += ::pwritev(file, parts, 2, at);
        }
        if (number % (2 * kFramesPerSecond) == 0)
            ::fdatasync(file);
        clock.WaitForNextFrame();
    }
    const double used = Seconds(RUSAGE_THREAD) - before;
    ::close(file);
    return used;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    const std::string path = argv[1];
    const int seconds = argc > 2 ? std::stoi(argv[2]) : 30;
    const double hour = 3600.0 / seconds;
    const double ours = Record({path.begin(), path.end()}, seconds);
    const double floor = WriteBare(path, seconds);
    std::printf("worker: %.3f s of processor time in %d s, %.1f s an hour\n", ours, seconds, ours * hour);
    std::printf("bare writes and flushes of the same bytes: %.3f s, %.1f s an hour\n", floor, floor * hour);
    ::unlink(path.c_str());
    return 0;
}
