// KrRecordingFigures MEASUREMENT FOLDER [NUMBERS]: what recordings cost and how they behave, in ratios and
// percentiles that one run yields. scripts/bench-recording.sh runs all of them.
#include "benchmarks/recording/KrFigures.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

namespace KrFigures
{
namespace
{
constexpr uint32_t kMotionJpeg = 0x47504A4D;

std::atomic<uint64_t> g_numberedBytes = 0;
std::atomic<uint64_t> g_mostNumberedBytes = 0;

struct SKrMeasurement
{
    const char* name;
    const char* arguments;
    void (*run)(const std::vector<std::string>& arguments);
};

double ProcessorSecondsOf(int who)
{
    rusage usage{};
    ::getrusage(who, &usage);
    const auto seconds = [](const timeval& time)
    {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

constexpr SKrMeasurement kMeasurements[] = {
    {"joined", "FOLDER [ROUNDS]", &MeasureJoinedWrites},
    {"paced", "FOLDER [SECONDS] [ROUNDS]", &MeasurePacedRecording},
    {"steady", "FOLDER [SECONDS] [FRAMES_PER_SECOND]", &MeasureSteadyFrames},
    {"submissions", "FOLDER [SECONDS] [FRAMES_PER_SECOND] [FRAME_BYTES]", &MeasureSubmissions},
    {"standing", "FOLDER [SECONDS] [LIMIT_MB]", &MeasureStandingDisk},
    {"copy", "INPUT.avi OUTPUT.avi", &CopyThroughQueue}};
} // namespace

void Require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string("failed: ") + what);
}

int64_t NumberOr(int64_t usual, const std::vector<std::string>& arguments, size_t number)
{
    return number < arguments.size() ? std::stoll(arguments[number]) : usual;
}

std::wstring Wide(const std::string& path)
{
    return {path.begin(), path.end()};
}

SKrRecordingOptions FastOptions()
{
    SKrRecordingOptions options{};
    options.size = sizeof options;
    options.queueWaitMs = options.audioWaitMs = 0xFFFFFFFF;
    return options;
}

CKrRef<IKrAviWriter> OpenWriter(const std::string& path, const SKrRecordingOptions* options,
                                const SKrSoundFormat& sound)
{
    CKrRef<IKrAviWriter> writer;
    Require(KrCreateAviWriter(writer.Put()) != 0, "writer");
    Require(writer->SetRecordingOptions(options) != 0, "options");
    SKrAviVideoParams video{};
    video.width = video.displayWidth = 1920;
    video.height = video.displayHeight = 1080;
    video.bitCount = 24;
    video.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate25);
    WAVEFORMATEX audio{};
    audio.wFormatTag = 1; // PCM
    audio.nChannels = static_cast<uint16_t>(sound.blockAlign / 2);
    audio.nSamplesPerSec = sound.samplesPerSec;
    audio.nBlockAlign = sound.blockAlign;
    audio.nAvgBytesPerSec = sound.samplesPerSec * sound.blockAlign;
    audio.wBitsPerSample = 16;
    Require(writer->OpenFile(Wide(path).c_str(), &video, kMotionJpeg, &audio) != 0, "open");
    return writer;
}

SKrRecordingStatus StatusOf(IKrAviWriter& writer)
{
    SKrRecordingStatus status{};
    status.size = sizeof status;
    Require(writer.GetRecordingStatus(&status) != 0, "status");
    return status;
}

uint64_t PaddingAfter(uint64_t position)
{
    constexpr uint64_t header = 8;
    return position % kSectorBytes == 0
               ? 0
               : (position + header + kSectorBytes - 1) / kSectorBytes * kSectorBytes - position;
}

double ProcessorSeconds()
{
    return ProcessorSecondsOf(RUSAGE_SELF);
}

double ProcessorSecondsOfThread()
{
    return ProcessorSecondsOf(RUSAGE_THREAD);
}

void MoveTo(EKrProcessor processor)
{
    static const auto allowed = []
    {
        cpu_set_t all;
        CPU_ZERO(&all);
        Require(::sched_getaffinity(0, sizeof all, &all) == 0, "processors");
        std::vector<int> numbers;
        for (int number = 0; number < CPU_SETSIZE; ++number)
        {
            if (CPU_ISSET(number, &all))
                numbers.push_back(number);
        }
        return numbers;
    }();
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor == EKrProcessor::First ? allowed.front() : allowed.back(), &one);
    Require(::sched_setaffinity(0, sizeof one, &one) == 0, "processor");
}

double Median(std::vector<double> values)
{
    return Quantile(std::move(values), 0.5);
}

double Quantile(std::vector<double> values, double part)
{
    Require(!values.empty(), "nothing was measured");
    std::ranges::sort(values);
    const auto last = static_cast<double>(values.size() - 1);
    return values[static_cast<size_t>(last * part + 0.5)];
}

CKrPages::CKrPages(size_t size, uint8_t value) : m_size(size)
{
    void* const pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        throw std::bad_alloc();
    m_data = static_cast<uint8_t*>(pages);
    std::memset(m_data, value, size);
}

CKrPages::~CKrPages()
{
    ::munmap(m_data, m_size);
}

CKrNumberedSample::CKrNumberedSample(size_t size, uint64_t number) : m_bytes(size)
{
    std::memcpy(m_bytes.data(), &number, std::min(size, sizeof number));
    const uint64_t bytes = g_numberedBytes += size;
    uint64_t most = g_mostNumberedBytes;
    while (bytes > most && !g_mostNumberedBytes.compare_exchange_weak(most, bytes))
    {
    }
}

CKrNumberedSample::~CKrNumberedSample()
{
    g_numberedBytes -= m_bytes.size();
}

int CKrNumberedSample::LockBuffer(uint8_t** data, int32_t* length)
{
    *data = m_bytes.data();
    *length = static_cast<int32_t>(m_bytes.size());
    return 1;
}

uint64_t CKrNumberedSample::MostBytes()
{
    return g_mostNumberedBytes;
}

bool HasNumberedFrames(const std::string& path, const std::vector<uint64_t>& numbers, size_t frameBytes)
{
    CKrRef<IKrRiffReader> reader;
    CArray<SKrChunkIndexEntry> entries;
    if (KrCreateRiffReader(reader.Put()) == 0 || reader->Open(Wide(path).c_str()) == 0 ||
        reader->LoadVideoIndex(entries) == 0 || static_cast<size_t>(entries.GetSize()) != numbers.size())
        return false;
    for (size_t at = 0; at < numbers.size(); ++at)
    {
        const SKrChunkIndexEntry& entry = entries.GetData()[at];
        uint64_t number = 0;
        if (entry.size != frameBytes ||
            reader->ReadAt(entry.position, &number, sizeof number) != sizeof number || number != numbers[at])
            return false;
    }
    return true;
}
} // namespace KrFigures

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    for (const KrFigures::SKrMeasurement& measurement : KrFigures::kMeasurements)
    {
        if (words.size() < 2 || words[0] != measurement.name)
            continue;
        try
        {
            measurement.run({words.begin() + 1, words.end()});
            return 0;
        }
        catch (const std::exception& error)
        {
            std::fprintf(stderr, "%s: %s\n", measurement.name, error.what());
            return 1;
        }
    }
    for (const KrFigures::SKrMeasurement& measurement : KrFigures::kMeasurements)
        std::fprintf(stderr, "KrRecordingFigures %s %s\n", measurement.name, measurement.arguments);
    return 2;
}
