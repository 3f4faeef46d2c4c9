// Follows a recording of KrRecordUntilKilled: KrFollowRecording FILE BEGIN, with the time that the recorder
// printed. Refreshes ten times a second until the recording ends, and compares the bytes of every chunk when
// it is given. The lag is the longest time from a frame's submission until it is given.
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/killed/KrKilledPattern.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

using namespace KrTest;

namespace
{
constexpr auto kPause = std::chrono::milliseconds(100);
constexpr uint32_t kBeingWritten = 1;

// What was given of one stream so far.
struct SFollowed
{
    uint32_t stream = 0;
    uint64_t chunks = 0;
    uint64_t wrong = 0;
    int64_t lag = 0; // milliseconds
};

void Take(IKrRiffReader& reader, SFollowed& followed, int64_t begin)
{
    CArray<SKrStreamIndexEntry> added;
    if (reader.LoadStreamIndex(followed.stream, followed.chunks, added) == 0)
    {
        ++followed.wrong;
        return;
    }
    if (!added.IsEmpty()) // its first one has waited longest
    {
        const auto chunk = static_cast<int64_t>(followed.chunks);
        followed.lag =
            std::max(followed.lag, MillisecondsSince1970() - begin - chunk * 1000 / kKilledFramesPerSecond);
    }
    for (intptr_t number = 0; number < added.GetSize(); ++number, ++followed.chunks)
    {
        std::vector<uint8_t> bytes(added[number].size);
        const bool isRead =
            reader.ReadAt(added[number].position, bytes.data(), added[number].size) == added[number].size;
        followed.wrong +=
            !isRead || bytes != KilledBytes(followed.stream == 0, static_cast<uint32_t>(followed.chunks));
    }
}
} // namespace

int main(int count, char** arguments)
{
    IKrRiffReader* reader = nullptr;
    if (count != 3 || KrCreateRiffReader(&reader) == 0)
        return 2;
    const std::string narrow = arguments[1];
    const std::wstring path(narrow.begin(), narrow.end());
    const int64_t begin = std::strtoll(arguments[2], nullptr, 10);
    if (reader->OpenGrowing(path.c_str()) == 0)
    {
        std::puts("cannot be opened");
        return 1;
    }
    SFollowed video{0};
    SFollowed audio{1};
    uint64_t refreshes = 0;
    uint64_t failed = 0;
    uint64_t mostAtOnce = 0;
    for (bool goesOn = true; goesOn;)
    {
        const uint64_t before = video.chunks;
        Take(*reader, video, begin);
        Take(*reader, audio, begin);
        if (refreshes > 1)
            mostAtOnce = std::max(mostAtOnce, video.chunks - before);
        std::this_thread::sleep_for(kPause);
        failed += reader->Refresh() < 0;
        ++refreshes;
        goesOn = reader->GetGrowingState() == kBeingWritten;
    }
    Take(*reader, video, begin);
    Take(*reader, audio, begin);
    std::printf("state %u, video %llu, audio %llu, wrong %llu, failed %llu, at once %llu, lag %lld ms\n",
                reader->GetGrowingState(), static_cast<unsigned long long>(video.chunks),
                static_cast<unsigned long long>(audio.chunks),
                static_cast<unsigned long long>(video.wrong + audio.wrong),
                static_cast<unsigned long long>(failed), static_cast<unsigned long long>(mostAtOnce),
                static_cast<long long>(video.lag));
    reader->Release();
    return 0;
}
