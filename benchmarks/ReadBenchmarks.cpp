// Reading frames, walking the tree, searching.
#include "KrRiffUtils/kr_riff.h"
#include "benchmarks/KrBench.h"
#include "benchmarks/KrLibavformat.h"

#include <algorithm>
#include <cstring>
#include <random>

using namespace KrBench;

namespace
{
enum class EKrOrder
{
    File,
    Random
};

std::vector<SKrChunkIndexEntry> Frames(const char* name, EKrOrder order)
{
    std::vector<SKrChunkIndexEntry> frames = VideoIndexOf(name);
    if (order == EKrOrder::Random)
        std::shuffle(frames.begin(), frames.end(), std::mt19937(1));
    return frames;
}

std::vector<uint8_t> BufferFor(const std::vector<SKrChunkIndexEntry>& frames)
{
    return std::vector<uint8_t>(std::ranges::max(frames, {}, &SKrChunkIndexEntry::size).size);
}

void ReadOurs(benchmark::State& state, const char* name, EKrOrder order)
{
    const auto frames = Frames(name, order);
    auto buffer = BufferFor(frames);
    auto reader = CKrRef<IKrRiffReader>::Adopt(new CKrRiffReader(KrPlatform::OsFileSystem()));
    Require(reader->Open(WidePathOf(name).c_str()) != 0, "open");
    for (auto _ : state)
    {
        for (const SKrChunkIndexEntry& frame : frames)
            benchmark::DoNotOptimize(reader->ReadAt(frame.position, buffer.data(), frame.size));
    }
    Report(state, ReadsOf(
                      [&](CKrRiffReader& counted)
                      {
                          counted.Open(WidePathOf(name).c_str());
                          for (const SKrChunkIndexEntry& frame : frames)
                              counted.ReadAt(frame.position, buffer.data(), frame.size);
                      }));
}

// Four bytes at a time from the cache, so that what is added to the system's call can be seen.
void ReadFourBytes(benchmark::State& state)
{
    auto reader = CKrRef<IKrRiffReader>::Adopt(new CKrRiffReader(KrPlatform::OsFileSystem()));
    Require(reader->Open(WidePathOf("idx1.avi").c_str()) != 0, "open");
    uint8_t buffer[4];
    for (auto _ : state)
        benchmark::DoNotOptimize(reader->ReadAt(4096, buffer, sizeof buffer));
}

void ReadFourBytesInC(benchmark::State& state)
{
    kr_reader* reader = nullptr;
    Require(kr_reader_create(&reader) == KR_OK, "create");
    Require(kr_reader_open(reader, PathOf("idx1.avi").c_str()) == KR_OK, "open");
    uint8_t buffer[4];
    uint32_t copied = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(kr_reader_read(reader, 4096, buffer, sizeof buffer, &copied));
    kr_reader_free(reader);
}

void ReadFloor(benchmark::State& state, const char* name, EKrOrder order)
{
    const auto frames = Frames(name, order);
    auto buffer = BufferFor(frames);
    const CKrBareFile file(PathOf(name));
    for (auto _ : state)
    {
        for (const SKrChunkIndexEntry& frame : frames)
            benchmark::DoNotOptimize(file.ReadAt(frame.position, buffer.data(), frame.size));
    }
}

void ReadPeer(benchmark::State& state, const char* name)
{
    for (auto _ : state)
    {
        CKrLibavformat file(PathOf(name));
        benchmark::DoNotOptimize(file.ReadVideo());
    }
}

uint64_t WalkAll(CKrRiffReader& reader, const std::wstring& path)
{
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    std::vector<SKrRiffChunkNode*> open(1);
    Require(reader.Open(path.c_str()) != 0 && reader.FindFirstRiffSegment() != 0, "open");
    reader.FindNextRiffSegment(&type, &size, &offset, &open[0]);
    uint64_t nodes = 0;
    while (!open.empty())
    {
        SKrRiffChunkNode* const parent = open.back();
        open.pop_back();
        for (int more = reader.FindFirstSubChunk(parent); more != 0; ++nodes)
        {
            SKrRiffChunkNode* node = nullptr;
            more = reader.FindNextSubChunk(&id, &type, &size, &offset, &node);
            if (type != 0)
                open.push_back(node);
        }
    }
    return nodes;
}

void WalkOurs(benchmark::State& state, const char* name)
{
    const std::wstring path = WidePathOf(name);
    for (auto _ : state)
    {
        CKrRiffReader reader(KrPlatform::OsFileSystem());
        Require(WalkAll(reader, path) > 700'000, "walk");
    }
    Report(state, ReadsOf([&](CKrRiffReader& reader) { WalkAll(reader, path); }));
}

// From header to header after 'movi'; `read` returns the eight bytes at a position.
template <class Read>
uint64_t WalkBare(uint64_t size, Read&& read)
{
    uint64_t at = 12;
    uint64_t headers = 0;
    while (at + 8 <= size)
    {
        uint32_t words[2];
        std::memcpy(words, read(at), 8);
        ++headers;
        const bool isMovi = words[0] == 0x5453494C && headers == 2;
        at += isMovi ? 12 : 8 + uint64_t{words[1]} + (words[1] & 1);
    }
    return headers;
}

void WalkWindow(benchmark::State& state, const char* name, uint64_t leastHeaders = 700'000)
{
    std::vector<uint8_t> window(64 * 1024);
    for (auto _ : state)
    {
        const CKrBareFile file(PathOf(name));
        uint64_t start = ~uint64_t{0};
        const auto read = [&](uint64_t at)
        {
            if (at < start || at + 8 > start + window.size())
            {
                start = at;
                file.ReadAt(at, window.data(), window.size());
            }
            return window.data() + (at - start);
        };
        Require(WalkBare(file.Size(), read) > leastHeaders, "walk");
    }
}

void WalkHeaders(benchmark::State& state, const char* name)
{
    for (auto _ : state)
    {
        const CKrBareFile file(PathOf(name));
        uint8_t header[8];
        const auto read = [&](uint64_t at)
        {
            file.ReadAt(at, header, sizeof header);
            return header;
        };
        Require(WalkBare(file.Size(), read) > 700'000, "walk");
    }
}

void SearchOurs(benchmark::State& state, const char* name)
{
    CKrRiffReader reader(KrPlatform::OsFileSystem());
    Require(reader.Open(WidePathOf(name).c_str()) != 0, "open");
    CDWordArray ids;
    ids.Add(0x63643030);
    for (auto _ : state)
    {
        uint32_t id = 0;
        uint32_t type = 0;
        uint32_t size = 0;
        uint64_t offset = 0;
        uint64_t matches = 0;
        for (int more = reader.FindFirstChunk(&ids, ~uint64_t{0}); more != 0; ++matches)
            more = reader.FindNextChunk(&id, &type, &size, &offset, nullptr);
        Require(matches > 170'000, "search");
        reader.EndChunkSearch();
    }
}

// The search as a walk of the bare file from header to header.
void SearchFloor(benchmark::State& state)
{
    WalkWindow(state, "idx1.avi", 517'000);
}
} // namespace

BENCHMARK_CAPTURE(ReadOurs, inOrder, "idx1.avi", EKrOrder::File)->Name("read frames in order/ours");
BENCHMARK_CAPTURE(ReadFloor, inOrder, "idx1.avi", EKrOrder::File)->Name("read frames in order/floor");
BENCHMARK_CAPTURE(ReadPeer, inOrder, "idx1.avi")->Name("read frames in order/libavformat");
BENCHMARK_CAPTURE(ReadOurs, atRandom, "idx1.avi", EKrOrder::Random)->Name("read frames at random/ours");
BENCHMARK_CAPTURE(ReadFloor, atRandom, "idx1.avi", EKrOrder::Random)->Name("read frames at random/floor");
BENCHMARK_CAPTURE(ReadOurs, large, "large.avi", EKrOrder::File)->Name("read frames of 6 MB/ours");
BENCHMARK_CAPTURE(ReadFloor, large, "large.avi", EKrOrder::File)->Name("read frames of 6 MB/floor");
BENCHMARK_CAPTURE(ReadPeer, large, "large.avi")->Name("read frames of 6 MB/libavformat");
BENCHMARK(ReadFourBytes)->Name("read 4 bytes in C/floor");
BENCHMARK(ReadFourBytesInC)->Name("read 4 bytes in C/ours");
BENCHMARK_CAPTURE(WalkOurs, by100, "dense100.avi")->Name("walk 700,000 chunks of 100 bytes/ours");
BENCHMARK_CAPTURE(WalkWindow, by100, "dense100.avi")->Name("walk 700,000 chunks of 100 bytes/floor");
BENCHMARK_CAPTURE(WalkHeaders, by100, "dense100.avi")
    ->Name("walk 700,000 chunks of 100 bytes/floor by header");
BENCHMARK_CAPTURE(WalkOurs, by1000, "dense1000.avi")->Name("walk 700,000 chunks of 1,000 bytes/ours");
BENCHMARK_CAPTURE(WalkWindow, by1000, "dense1000.avi")->Name("walk 700,000 chunks of 1,000 bytes/floor");
BENCHMARK_CAPTURE(WalkHeaders, by1000, "dense1000.avi")
    ->Name("walk 700,000 chunks of 1,000 bytes/floor by header");
BENCHMARK_CAPTURE(WalkOurs, by4000, "dense4000.avi")->Name("walk 700,000 chunks of 4,000 bytes/ours");
BENCHMARK_CAPTURE(WalkWindow, by4000, "dense4000.avi")->Name("walk 700,000 chunks of 4,000 bytes/floor");
BENCHMARK_CAPTURE(WalkHeaders, by4000, "dense4000.avi")
    ->Name("walk 700,000 chunks of 4,000 bytes/floor by header");
BENCHMARK_CAPTURE(SearchOurs, idx1, "idx1.avi")->Name("search 180,000 chunks/ours");
BENCHMARK(SearchFloor)->Name("search 180,000 chunks/floor");
