// Queries by path: cold, and from a cache of one to five hundred files.
#include "benchmarks/KrBench.h"

#include <filesystem>
#include <fstream>

using namespace KrBench;

namespace
{
constexpr int kMostFiles = 500;

// Small files with private chunks, made by the writer.
std::vector<std::wstring> SmallFiles(int count)
{
    static std::vector<std::wstring> paths;
    for (int number = static_cast<int>(paths.size()); number < count; ++number)
    {
        const std::string path = PathOf("small" + std::to_string(number) + ".avi");
        paths.emplace_back(path.begin(), path.end());
        if (std::filesystem::exists(path))
            continue;
        IKrAviWriter* writer = nullptr;
        SKrMediaInfo info{};
        info.videoStreamCount = 1;
        info.width = info.height = 16;
        info.scanMode = 2;
        Require(KrCreateAviWriter(&writer) != 0 && writer->OpenFileFromInfo(paths.back().c_str(), &info) != 0,
                "write");
        writer->WriteVideoChunk("frame", 5);
        writer->Release();
    }
    return {paths.begin(), paths.begin() + count};
}

void Cached(benchmark::State& state)
{
    static std::vector<std::wstring> paths;
    if (state.thread_index() == 0)
    {
        paths = SmallFiles(static_cast<int>(state.range(0)));
        EKrScanMode mode = EKrScanMode::Unknown;
        for (const std::wstring& path : paths)
            Require(KrRiffUtils::GetAviScanMode(path.c_str(), mode) != 0, "query");
    }
    size_t next = 0;
    for (auto _ : state)
    {
        EKrScanMode mode = EKrScanMode::Unknown;
        benchmark::DoNotOptimize(KrRiffUtils::GetAviScanMode(paths[next++ % paths.size()].c_str(), mode));
    }
    if (state.thread_index() == 0)
        KrRiffUtils::ClearCache(nullptr);
}

void Cold(benchmark::State& state)
{
    const std::wstring path = SmallFiles(1)[0];
    for (auto _ : state)
    {
        EKrScanMode mode = EKrScanMode::Unknown;
        Require(KrRiffUtils::GetAviScanMode(path.c_str(), mode) != 0, "query");
        KrRiffUtils::ClearCache(path.c_str());
    }
}

// One positioned read of 512 bytes of an open file.
void Floor(benchmark::State& state)
{
    SmallFiles(1);
    const CKrBareFile file(PathOf("small0.avi"));
    uint8_t buffer[512];
    for (auto _ : state)
        benchmark::DoNotOptimize(file.ReadAt(0, buffer, sizeof buffer));
}

// The calls of a query that opens the file.
void ColdFloor(benchmark::State& state)
{
    const std::wstring path = SmallFiles(1)[0];
    const auto reads = ReadsOf([&](CKrRiffReader& reader) { reader.Open(path.c_str()); });
    for (auto _ : state)
    {
        std::vector<uint8_t> buffer;
        const CKrBareFile file(PathOf("small0.avi"));
        benchmark::DoNotOptimize(file.Size());
        MakeReads(file, reads, buffer);
    }
}
} // namespace

BENCHMARK(Cached)->Name("query by path, 1 cached/ours")->Arg(1);
BENCHMARK(Cached)->Name("query by path, 500 cached/ours")->Arg(kMostFiles);
BENCHMARK(Cached)->Name("query by path, two threads/ours")->Arg(1)->Threads(2);
BENCHMARK(Cold)->Name("query by path, cold/ours");
BENCHMARK(Floor)->Name("query by path, 1 cached/floor");
BENCHMARK(Floor)->Name("query by path, 500 cached/floor");
BENCHMARK(Floor)->Name("query by path, two threads/floor")->Threads(2);
BENCHMARK(ColdFloor)->Name("query by path, cold/floor");
