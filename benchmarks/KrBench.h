// Shared by the benchmarks: the input files, our reader, and a floor of bare system calls.
#ifndef KR_BENCHMARKS_KRBENCH_H
#define KR_BENCHMARKS_KRBENCH_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "reader/KrRiffReader.h"
#include "tests/support/KrCountingFileSystem.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KrBench
{
enum class EKrFolder
{
    Read,   // the input files
    Written // what the benchmarks write, best kept in memory: the speed of a disk varies with other traffic
};

// The environment names the folders.
inline std::string PathOf(const std::string& name, EKrFolder which = EKrFolder::Read)
{
    const char* const folder = std::getenv(which == EKrFolder::Read ? "KR_BENCH_FILES" : "KR_BENCH_OUTPUT");
    return std::string(folder != nullptr ? folder : ".") + "/" + name;
}

inline std::wstring WidePathOf(const std::string& name, EKrFolder which = EKrFolder::Read)
{
    const std::string path = PathOf(name, which);
    return {path.begin(), path.end()};
}

inline void Require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(what);
}

// A file opened by the system's own call.
class CKrBareFile
{
public:
    explicit CKrBareFile(const std::string& path) : m_file(::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        Require(m_file >= 0, "the input file is not there");
    }
    ~CKrBareFile() { ::close(m_file); }
    CKrBareFile(const CKrBareFile&) = delete;
    CKrBareFile& operator=(const CKrBareFile&) = delete;

    [[nodiscard]] uint64_t Size() const
    {
        struct stat facts
        {
        };
        ::fstat(m_file, &facts);
        return static_cast<uint64_t>(facts.st_size);
    }

    size_t ReadAt(uint64_t position, void* buffer, size_t count) const
    {
        const ssize_t got = ::pread(m_file, buffer, count, static_cast<off_t>(position));
        return got > 0 ? static_cast<size_t>(got) : 0;
    }

private:
    int m_file;
};

// The reads that one of our operations makes, for a floor that makes the same ones.
template <class Operation>
std::vector<KrTest::SKrReadCall> ReadsOf(Operation&& operation)
{
    KrTest::CKrCountingFileSystem counts(KrPlatform::OsFileSystem());
    CKrRiffReader reader(counts);
    operation(reader);
    return counts.Reads();
}

// Reports how many calls and bytes one operation takes.
inline void Report(benchmark::State& state, const std::vector<KrTest::SKrReadCall>& reads)
{
    double bytes = 0;
    for (const KrTest::SKrReadCall& read : reads)
        bytes += static_cast<double>(read.bytes);
    state.counters["reads"] = static_cast<double>(reads.size());
    state.counters["bytes"] = bytes;
}

inline void MakeReads(const CKrBareFile& file, const std::vector<KrTest::SKrReadCall>& reads,
                      std::vector<uint8_t>& buffer)
{
    for (const KrTest::SKrReadCall& read : reads)
    {
        if (buffer.size() < read.count)
            buffer.resize(read.count);
        benchmark::DoNotOptimize(file.ReadAt(read.position, buffer.data(), read.count));
    }
}

inline std::vector<SKrChunkIndexEntry> VideoIndexOf(const std::string& name)
{
    CKrRiffReader reader(KrPlatform::OsFileSystem());
    CArray<SKrChunkIndexEntry> entries;
    Require(reader.Open(WidePathOf(name).c_str()) != 0 && reader.LoadVideoIndex(entries) != 0,
            "no video index");
    return {entries.GetData(), entries.GetData() + entries.GetSize()};
}
} // namespace KrBench

#endif
