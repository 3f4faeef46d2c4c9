// Processor time of a recording in real time: 1080-line video of 25 frames per second, 500,000 bytes each,
// with sound, against bare writes and flushes of the same bytes at the same pace, once without the writer's
// pauses and once with the defaults. All of the process counts, submissions and flushes too.
#include "benchmarks/recording/KrFigures.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

namespace KrFigures
{
namespace
{
constexpr size_t kFrameBytes = 500'000; // 100 Mbit/s

struct SKrMaterial
{
    CKrPages frame{kFrameBytes, 1};
    CKrPages sound{kSoundBytes, 2};
    int64_t frames = 0;
};

// Calls it once for each frame, when that is due.
template <class Action>
void AtThePaceOfFrames(int64_t frames, Action action)
{
    auto due = std::chrono::steady_clock::now();
    for (int64_t number = 0; number < frames; ++number)
    {
        action(number);
        due += std::chrono::milliseconds(1000 / kFramesPerSecond);
        std::this_thread::sleep_until(due);
    }
}

double Record(const std::string& path, const SKrMaterial& material, const SKrRecordingOptions* options)
{
    const auto frame = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(material.frame.Bytes()));
    const auto sound = CKrRef<CKrSharedSample>::Adopt(new CKrSharedSample(material.sound.Bytes()));
    const CKrRef<IKrAviWriter> writer = OpenWriter(path, options);
    const double before = ProcessorSeconds();
    AtThePaceOfFrames(material.frames,
                      [&](int64_t)
                      {
                          Require(writer->AddAudioSample(sound.Get()) != 0 &&
                                      writer->AddVideoSample(frame.Get()) != 0,
                                  "submission");
                      });
    const double used = ProcessorSeconds() - before;
    Require(writer->CloseFile() != 0, "close");
    ::unlink(path.c_str());
    return used;
}

void WriteChunk(int file, std::span<uint8_t> data, uint64_t& position)
{
    static uint8_t header[8];
    static uint8_t zeros[2 * kSectorBytes];
    const uint64_t end = position + sizeof header + data.size();
    const iovec parts[] = {{header, sizeof header}, {data.data(), data.size()}, {zeros, PaddingAfter(end)}};
    Require(::pwritev(file, parts, 3, static_cast<off_t>(position)) > 0, "bare write");
    position = end + PaddingAfter(end);
}

// Flushes once in a second of video, as the library does.
double WriteBare(const std::string& path, const SKrMaterial& material)
{
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    Require(file >= 0, "bare file");
    uint64_t position = 0;
    const double before = ProcessorSeconds();
    AtThePaceOfFrames(material.frames,
                      [&](int64_t number)
                      {
                          WriteChunk(file, material.sound.Bytes(), position);
                          WriteChunk(file, material.frame.Bytes(), position);
                          if (number % kFramesPerSecond == kFramesPerSecond - 1)
                              ::fdatasync(file);
                      });
    const double used = ProcessorSeconds() - before;
    ::close(file);
    ::unlink(path.c_str());
    return used;
}
} // namespace

void MeasurePacedRecording(const std::vector<std::string>& arguments)
{
    SKrMaterial material;
    const int64_t seconds = NumberOr(10, arguments, 1);
    material.frames = seconds * kFramesPerSecond;
    const int64_t rounds = NumberOr(3, arguments, 2);
    const std::string path = arguments[0] + "/paced.avi";
    const SKrRecordingOptions fast = FastOptions();
    std::vector<double> bare;
    std::vector<double> fastRatios;
    std::vector<double> defaultRatios;
    for (int64_t round = 0; round < rounds; ++round)
    {
        bare.push_back(WriteBare(path, material));
        fastRatios.push_back(Record(path, material, &fast) / bare.back());
        defaultRatios.push_back(Record(path, material, nullptr) / bare.back());
    }
    const double anHour = 3600.0 / static_cast<double>(seconds);
    std::printf("| processor time of a recording in real time | an hour | to bare writes and flushes: min / "
                "median / max | target |\n|---|---|---|---|\n");
    std::printf("| bare writes and flushes | %.1f s | - | - |\n", Median(bare) * anHour);
    const auto print = [&](const char* name, const std::vector<double>& ratios, const char* target)
    {
        std::printf("| %s | %.1f s | %.2f / %.2f / %.2f | %s |\n", name,
                    Median(bare) * Median(ratios) * anHour, Quantile(ratios, 0), Median(ratios),
                    Quantile(ratios, 1), target);
    };
    print("spacing 0, delay 0", fastRatios, "1.15");
    print("defaults", defaultRatios, "-");
}
} // namespace KrFigures
