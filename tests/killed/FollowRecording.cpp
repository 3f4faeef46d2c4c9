// Follows a recording of KrRecordUntilKilled: KrFollowRecording FILE. Refreshes ten times a second until the
// recording ends, and compares the bytes of every chunk when it is given.
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/killed/KrKilledPattern.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
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
};

void Take(IKrRiffReader& reader, SFollowed& followed)
{
    CArray<SKrStreamIndexEntry> added;
    if (reader.LoadStreamIndex(followed.stream, followed.chunks, added) == 0)
    {
        ++followed.wrong;
        return;
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
    if (count != 2 || KrCreateRiffReader(&reader) == 0)
        return 2;
    const std::string narrow = arguments[1];
    const std::wstring path(narrow.begin(), narrow.end());
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
        Take(*reader, video);
        Take(*reader, audio);
        if (refreshes > 1)
            mostAtOnce = std::max(mostAtOnce, video.chunks - before);
        std::this_thread::sleep_for(kPause);
        failed += reader->Refresh() < 0;
        ++refreshes;
        goesOn = reader->GetGrowingState() == kBeingWritten;
    }
    Take(*reader, video);
    Take(*reader, audio);
    std::printf("state %u, video %llu, audio %llu, wrong %llu, failed %llu, at once %llu\n",
                reader->GetGrowingState(), static_cast<unsigned long long>(video.chunks),
                static_cast<unsigned long long>(audio.chunks),
                static_cast<unsigned long long>(video.wrong + audio.wrong),
                static_cast<unsigned long long>(failed), static_cast<unsigned long long>(mostAtOnce));
    reader->Release();
    return 0;
}
