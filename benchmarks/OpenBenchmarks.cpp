// Opening files and loading their indexes.
#include "benchmarks/KrBench.h"
#include "benchmarks/KrLibavformat.h"

#include <cstring>

using namespace KrBench;

namespace
{
void OpenOurs(benchmark::State& state, const char* name)
{
    const std::wstring path = WidePathOf(name);
    for (auto _ : state)
    {
        CKrRiffReader reader(KrPlatform::OsFileSystem());
        Require(reader.Open(path.c_str()) != 0, "open");
    }
    Report(state, ReadsOf([&](CKrRiffReader& reader) { reader.Open(path.c_str()); }));
}

// The same calls: open, size, reads, close.
void OpenFloor(benchmark::State& state, const char* name)
{
    const std::wstring path = WidePathOf(name);
    const auto reads = ReadsOf([&](CKrRiffReader& reader) { reader.Open(path.c_str()); });
    for (auto _ : state)
    {
        std::vector<uint8_t> buffer;
        const CKrBareFile file(PathOf(name));
        benchmark::DoNotOptimize(file.Size());
        MakeReads(file, reads, buffer);
    }
}

void OpenPeer(benchmark::State& state, const char* name)
{
    for (auto _ : state)
        CKrLibavformat(PathOf(name));
}

void LoadOurs(benchmark::State& state, const char* name)
{
    const std::wstring path = WidePathOf(name);
    intptr_t entriesLoaded = 0;
    const auto load = [&](CKrRiffReader& reader)
    {
        CArray<SKrChunkIndexEntry> entries;
        Require(reader.Open(path.c_str()) != 0 && reader.LoadVideoIndex(entries) != 0, "load");
        entriesLoaded = entries.GetSize();
    };
    for (auto _ : state)
    {
        CKrRiffReader reader(KrPlatform::OsFileSystem());
        load(reader);
    }
    Report(state, ReadsOf(load));
    state.counters["entries"] = static_cast<double>(entriesLoaded);
}

void LoadAudioOurs(benchmark::State& state, const char* name)
{
    const std::wstring path = WidePathOf(name);
    CKrRiffReader reader(KrPlatform::OsFileSystem());
    Require(reader.Open(path.c_str()) != 0, "open");
    for (auto _ : state)
    {
        CArray<SKrChunkIndexEntry> entries;
        SKrAudioChunkPattern pattern;
        Require(reader.LoadAudioIndex(entries, &pattern) != 0, "load");
    }
}

// All entries of the video stream through LoadStreamIndex, with the open.
void LoadStreamOurs(benchmark::State& state, const char* name)
{
    const std::wstring path = WidePathOf(name);
    const auto load = [&](CKrRiffReader& reader)
    {
        CArray<SKrStreamIndexEntry> entries;
        Require(reader.Open(path.c_str()) != 0 && reader.LoadStreamIndex(0, 0, entries) != 0, "load");
    };
    for (auto _ : state)
    {
        CKrRiffReader reader(KrPlatform::OsFileSystem());
        load(reader);
    }
    Report(state, ReadsOf(load));
}

// The last entry alone, of a file that stays open.
void LoadLastOurs(benchmark::State& state, const char* name)
{
    const std::wstring path = WidePathOf(name);
    CKrRiffReader reader(KrPlatform::OsFileSystem());
    CArray<SKrStreamIndexEntry> entries;
    Require(reader.Open(path.c_str()) != 0 && reader.LoadStreamIndex(0, 0, entries) != 0, "load");
    const auto last = static_cast<uint64_t>(entries.GetSize()) - 1;
    for (auto _ : state)
        Require(reader.LoadStreamIndex(0, last, entries) != 0 && entries.GetSize() == 1, "load");
}

// One read of 'idx1' and one pass that writes the entries, in addition to the calls of the open.
void LoadIdx1Floor(benchmark::State& state)
{
    const std::wstring path = WidePathOf("idx1.avi");
    const auto reads = ReadsOf([&](CKrRiffReader& reader) { reader.Open(path.c_str()); });
    constexpr uint64_t kEntries = 517'000;
    for (auto _ : state)
    {
        std::vector<uint8_t> buffer;
        const CKrBareFile file(PathOf("idx1.avi"));
        const uint64_t size = file.Size();
        MakeReads(file, reads, buffer);
        const auto block = std::make_unique_for_overwrite<uint8_t[]>(kEntries * 16);
        file.ReadAt(size - kEntries * 16, block.get(), kEntries * 16);
        auto* const out = static_cast<SKrChunkIndexEntry*>(std::calloc(kEntries, sizeof(SKrChunkIndexEntry)));
        size_t count = 0;
        for (uint64_t entry = 0; entry < kEntries; ++entry)
        {
            uint32_t words[4];
            std::memcpy(words, block.get() + entry * 16, 16);
            if (words[0] == 0x63643030)
                out[count++] = {words[2], words[3], 0};
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        std::free(out);
    }
}

// The same reads in the same places, and one pass that writes the entries of those that are standard indexes.
void LoadOdmlFloor(benchmark::State& state)
{
    const std::wstring path = WidePathOf("odml.avi");
    const auto reads = ReadsOf(
        [&](CKrRiffReader& reader)
        {
            CArray<SKrChunkIndexEntry> entries;
            reader.Open(path.c_str());
            reader.LoadVideoIndex(entries);
        });
    for (auto _ : state)
    {
        std::vector<uint8_t> buffer;
        const CKrBareFile file(PathOf("odml.avi"));
        benchmark::DoNotOptimize(file.Size());
        auto* const out = static_cast<SKrChunkIndexEntry*>(std::calloc(180'000, sizeof(SKrChunkIndexEntry)));
        size_t count = 0;
        for (const KrTest::SKrReadCall& read : reads)
        {
            if (buffer.size() < read.count)
                buffer.resize(read.count);
            const size_t got = file.ReadAt(read.position, buffer.data(), read.count);
            if (got < 20'000)
                continue;
            for (size_t at = 0; at + 8 <= got && count < 180'000; at += 8)
            {
                uint32_t words[2];
                std::memcpy(words, buffer.data() + at, 8);
                out[count++] = {read.position + words[0], words[1] & 0x7FFFFFFF, 0};
            }
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        std::free(out);
    }
}

// Reads the zeros and their surroundings.
void ZerosFloor(benchmark::State& state)
{
    std::vector<uint8_t> buffer(64 * 1024);
    for (auto _ : state)
    {
        const CKrBareFile file(PathOf("zeros.avi"));
        for (uint64_t at = 0; file.ReadAt(at, buffer.data(), buffer.size()) != 0; at += buffer.size())
            benchmark::ClobberMemory();
    }
}
} // namespace

BENCHMARK_CAPTURE(OpenOurs, idx1, "idx1.avi")->Name("open/ours");
BENCHMARK_CAPTURE(OpenFloor, idx1, "idx1.avi")->Name("open/floor");
BENCHMARK_CAPTURE(OpenPeer, idx1, "idx1.avi")->Name("open/libavformat");
BENCHMARK_CAPTURE(LoadOurs, idx1, "idx1.avi")->Name("load idx1/ours");
BENCHMARK(LoadIdx1Floor)->Name("load idx1/floor");
BENCHMARK_CAPTURE(LoadStreamOurs, idx1, "idx1.avi")->Name("load any stream, idx1/ours");
BENCHMARK_CAPTURE(LoadStreamOurs, odml, "odml.avi")->Name("load any stream, OpenDML/ours");
BENCHMARK_CAPTURE(LoadLastOurs, idx1, "idx1.avi")->Name("load the last entry, idx1/ours");
BENCHMARK_CAPTURE(LoadLastOurs, odml, "odml.avi")->Name("load the last entry, OpenDML/ours");
BENCHMARK_CAPTURE(OpenPeer, idx1Load, "idx1.avi")->Name("load idx1/libavformat");
BENCHMARK_CAPTURE(LoadOurs, odml, "odml.avi")->Name("load OpenDML/ours");
BENCHMARK(LoadOdmlFloor)->Name("load OpenDML/floor");
BENCHMARK_CAPTURE(OpenPeer, odml, "odml.avi")->Name("load OpenDML/libavformat");
BENCHMARK_CAPTURE(LoadAudioOurs, idx1, "idx1.avi")->Name("load audio idx1/ours");
BENCHMARK_CAPTURE(OpenOurs, zeros, "zeros.avi")->Name("open over 100 MB of zeros/ours");
BENCHMARK(ZerosFloor)->Name("open over 100 MB of zeros/floor");
