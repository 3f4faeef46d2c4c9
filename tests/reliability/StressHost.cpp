// A host whose four threads share one reader and call its operations in random order: KrStressHost OPERATIONS
// [SEED]. Each result must be entirely that of one of three files. Prints how often each operation succeeded.
// Ends with 1 after a wrong result, and when no operation ends for a minute.
#include "tests/reliability/KrStressFiles.h"
#include "tests/support/KrOsTestFiles.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <thread>
#include <utility>

using namespace KrTest;

namespace
{
using KrStressFiles = std::vector<SKrStressFile>;
using KrNumber = unsigned long long;

constexpr size_t kThreads = 4;
constexpr KrNumber kEnoughForAll = 5000; // operations, enough for each kind to succeed
constexpr auto kPatience = std::chrono::seconds(60);

std::atomic<bool> g_failed = false;

// The work of one thread. The operations return whether the reader succeeded or refused.
class CStressThread
{
public:
    CStressThread(IKrRiffReader& reader, const KrStressFiles& files, uint64_t seed)
        : m_reader(reader), m_files(files), m_random(seed)
    {
        Require(KrCreateRiffReader(m_ownReader.Put()) != 0, "no reader");
    }

    bool Open() { return m_reader.Open(AnyFile().path.c_str()) != 0; }

    bool Close()
    {
        m_reader.Close();
        return true;
    }

    bool ReadAt()
    {
        const uint64_t position = Below(AnyFile().bytes.size());
        const auto count = static_cast<uint32_t>(1 + Below(m_buffer.size()));
        return CheckBytes(position, count, m_reader.ReadAt(position, m_buffer.data(), count));
    }

    bool ReadChunkData()
    {
        const std::vector<SKrRiffChunkInfo>& chunks = AnyFile().chunks;
        const SKrRiffChunkInfo& chunk = chunks[Below(chunks.size())];
        const auto room = static_cast<uint32_t>(m_buffer.size());
        const uint32_t came = m_reader.ReadChunkData(&chunk, m_buffer.data(), room);
        Require(came == 0 || chunk.cksize <= room, "more than there was room for");
        return CheckBytes(chunk.offset + (chunk.fccType != 0 ? 4 : 0), chunk.cksize, came);
    }

    bool GetFileLength()
    {
        const uint64_t length = m_reader.GetFileLength();
        return length != 0 && IsOfOne([&](const SKrStressFile& file) { return file.bytes.size() == length; },
                                      "the length of no file");
    }

    bool GetVideoStreamInfo()
    {
        std::string facts;
        const uint32_t frames = AskVideo(m_reader, facts);
        const auto isOf = [&](const SKrStressFile& file)
        {
            return facts == file.video &&
                   (frames == 0 || frames == file.headerFrames || frames == file.videoIndex.size());
        };
        return IsOfOne(isOf, "the pictures of no file") && frames != 0;
    }

    bool GetAudioStreamInfo()
    {
        std::string facts;
        Require(AskAudio(m_reader, facts) != 0, "no sound"); // it stays available after a close
        return IsOfOne([&](const SKrStressFile& file) { return facts == file.audio; },
                       "the sound of no file");
    }

    bool LoadVideoIndex()
    {
        CArray<SKrChunkIndexEntry> loaded;
        return m_reader.LoadVideoIndex(loaded) != 0 &&
               IsOfOne([&](const SKrStressFile& file) { return IsIndex(loaded, file.videoIndex); },
                       "the frames of no file");
    }

    bool LoadAudioIndex()
    {
        CArray<SKrChunkIndexEntry> loaded;
        SKrAudioChunkPattern pattern{};
        const auto isOf = [&](const SKrStressFile& file)
        {
            return IsIndex(loaded, file.audioIndex) && Pack(pattern) == file.audioPattern;
        };
        return m_reader.LoadAudioIndex(loaded, &pattern) != 0 && IsOfOne(isOf, "the sound chunks of no file");
    }

    bool FindFirstChunk()
    {
        CDWordArray ids;
        const std::vector<SKrRiffChunkInfo>& chunks = AnyFile().chunks;
        for (uint64_t left = 1 + Below(3); left > 0; --left)
            ids.Add(chunks[Below(chunks.size())].ckid);
        return m_reader.FindFirstChunk(&ids, kStressSearchStarts[Below(std::size(kStressSearchStarts))]) != 0;
    }

    // Any thread may have started the search, or ended it.
    bool FindNextChunk()
    {
        SKrRiffChunkInfo found{};
        try
        {
            m_reader.FindNextChunk(&found.ckid, &found.fccType, &found.cksize, &found.offset, nullptr);
        }
        catch (const std::out_of_range&)
        {
            return false;
        }
        return found.ckid != 0 &&
               IsOfOne([&](const SKrStressFile& file) { return file.Has(found); }, "a chunk of no file");
    }

    bool EndChunkSearch()
    {
        m_reader.EndChunkSearch();
        return true;
    }

    bool AskScanMode()
    {
        EKrScanMode mode = EKrScanMode::Unknown;
        return KrRiffUtils::GetAviScanMode(&m_reader, mode) != 0 &&
               IsOfOne([&](const SKrStressFile& file) { return file.scanMode == mode; },
                       "the scan mode of no file");
    }

    bool AskAspect()
    {
        int horizontal = 0;
        int vertical = 0;
        const auto isOf = [&](const SKrStressFile& file)
        {
            return file.horizontal == horizontal && file.vertical == vertical;
        };
        return KrRiffUtils::GetAviPixelAspectRatio(&m_reader, horizontal, vertical) != 0 &&
               IsOfOne(isOf, "the aspect ratio of no file");
    }

    bool AskByPath()
    {
        const SKrStressFile& file = AnyFile();
        EKrScanMode mode = EKrScanMode::Unknown;
        int horizontal = 0;
        int vertical = 0;
        Require(KrRiffUtils::GetAviScanMode(file.path.c_str(), mode) != 0 && mode == file.scanMode,
                "not the scan mode of the path");
        Require(KrRiffUtils::GetAviPixelAspectRatio(file.path.c_str(), horizontal, vertical) != 0 &&
                    horizontal == file.horizontal && vertical == file.vertical,
                "not the aspect ratio of the path");
        return true;
    }

    bool ClearCache()
    {
        return KrRiffUtils::ClearCache(Below(4) == 0 ? nullptr : AnyFile().path.c_str()) != 0;
    }

    bool WalkOwnReader()
    {
        const SKrStressFile& file = AnyFile();
        Require(m_ownReader->Open(file.path.c_str()) != 0, "a reader of one thread does not open");
        Require(CountChunks(*m_ownReader, file) == file.chunks.size(), "a walk that leaves chunks out");
        return true;
    }

    uint64_t Below(uint64_t limit) { return m_random() % limit; }

private:
    const SKrStressFile& AnyFile() { return m_files[Below(m_files.size())]; }

    template <class Matches>
    bool IsOfOne(Matches&& matches, const char* what) const
    {
        Require(std::ranges::any_of(m_files, matches), what);
        return true;
    }

    // Nothing was read from a closed reader, or from past the end.
    bool CheckBytes(uint64_t position, uint32_t count, uint32_t came) const
    {
        const auto isOf = [&](const SKrStressFile& file)
        {
            return position < file.bytes.size() &&
                   came == std::min<uint64_t>(count, file.bytes.size() - position) &&
                   std::memcmp(m_buffer.data(), file.bytes.data() + position, came) == 0;
        };
        return came != 0 && IsOfOne(isOf, "bytes of no file");
    }

    IKrRiffReader& m_reader;
    const KrStressFiles& m_files;
    std::mt19937_64 m_random;
    CKrRef<IKrRiffReader> m_ownReader; // a close frees nodes: no walks on the shared reader
    KrBytes m_buffer = KrBytes(1 << 16);
};

struct SOperation
{
    const char* name;
    bool (CStressThread::*run)();
    size_t weight;
};
constexpr SOperation kOperations[] = {
    {"Open", &CStressThread::Open, 4},
    {"Close", &CStressThread::Close, 1},
    {"ReadAt", &CStressThread::ReadAt, 3},
    {"ReadChunkData", &CStressThread::ReadChunkData, 3},
    {"GetFileLength", &CStressThread::GetFileLength, 2},
    {"GetVideoStreamInfo", &CStressThread::GetVideoStreamInfo, 3},
    {"GetAudioStreamInfo", &CStressThread::GetAudioStreamInfo, 3},
    {"LoadVideoIndex", &CStressThread::LoadVideoIndex, 2},
    {"LoadAudioIndex", &CStressThread::LoadAudioIndex, 2},
    {"FindFirstChunk", &CStressThread::FindFirstChunk, 2},
    {"FindNextChunk", &CStressThread::FindNextChunk, 4},
    {"EndChunkSearch", &CStressThread::EndChunkSearch, 1},
    {"GetAviScanMode", &CStressThread::AskScanMode, 2},
    {"GetAviPixelAspectRatio", &CStressThread::AskAspect, 2},
    {"both by path", &CStressThread::AskByPath, 2},
    {"ClearCache", &CStressThread::ClearCache, 1},
    {"walk on its own reader", &CStressThread::WalkOwnReader, 1},
};
constexpr size_t kKinds = std::size(kOperations);

// The state of one thread, for the watchdog.
struct SProgress
{
    std::atomic<bool> isRunning = true;
    std::atomic<const char*> current = "nothing";
    std::atomic<KrNumber> ended = 0;
    std::array<KrNumber, kKinds> did{}; // to be read when it does not run
};
using KrProgress = std::array<SProgress, kThreads>;

void Run(CStressThread& thread, KrNumber operations, SProgress& progress)
{
    std::vector<size_t> kinds; // each as often as its weight
    for (size_t kind = 0; kind < kKinds; ++kind)
        kinds.insert(kinds.end(), kOperations[kind].weight, kind);
    try
    {
        for (; operations > 0 && !g_failed; --operations)
        {
            const size_t kind = kinds[thread.Below(kinds.size())];
            progress.current = kOperations[kind].name;
            progress.did[kind] += (thread.*kOperations[kind].run)() ? 1 : 0;
            ++progress.ended;
        }
    }
    catch (const std::exception& error)
    {
        g_failed = true;
        std::fprintf(stderr, "%s, after %llu: %s\n", progress.current.load(), progress.ended.load(),
                     error.what());
    }
    progress.current = "nothing";
    progress.isRunning = false;
}

KrNumber Ended(const KrProgress& progress)
{
    KrNumber ended = 0;
    for (const SProgress& one : progress)
        ended += one.ended;
    return ended;
}

// Waits until all threads have ended. A hanging thread cannot be ended: then the process ends here.
void Watch(const KrProgress& progress)
{
    using CClock = std::chrono::steady_clock;
    KrNumber before = 0;
    auto since = CClock::now();
    while (std::ranges::any_of(progress, [](const SProgress& one) { return one.isRunning.load(); }))
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const KrNumber ended = Ended(progress);
        if (std::exchange(before, ended) != ended)
            since = CClock::now();
        if (CClock::now() - since < kPatience)
            continue;
        for (const SProgress& one : progress)
            std::fprintf(stderr, "hangs in %s, after %llu\n", one.current.load(), one.ended.load());
        std::fflush(stderr);
        std::_Exit(1);
    }
}

// With enough operations every kind succeeds at least once.
void Report(const KrProgress& progress)
{
    std::printf("%llu operations:", Ended(progress));
    for (size_t kind = 0; kind < kKinds; ++kind)
    {
        KrNumber did = 0;
        for (const SProgress& one : progress)
            did += one.did[kind];
        std::printf("%s %s %llu", kind == 0 ? "" : ",", kOperations[kind].name, did);
        Require(g_failed || did != 0 || Ended(progress) < kEnoughForAll, ": never did anything");
    }
    std::puts("");
}

void RunThreads(IKrRiffReader& reader, const KrStressFiles& files, KrNumber operations, uint64_t seed)
{
    KrProgress progress;
    std::vector<std::unique_ptr<CStressThread>> work;
    for (size_t number = 0; number < kThreads; ++number)
        work.push_back(std::make_unique<CStressThread>(reader, files, seed * kThreads + number));
    {
        std::vector<std::jthread> threads;
        for (size_t number = 0; number < kThreads; ++number)
        {
            const KrNumber share = operations / kThreads + (number < operations % kThreads ? 1 : 0);
            threads.emplace_back([&, number, share] { Run(*work[number], share, progress[number]); });
        }
        Watch(progress);
    }
    Report(progress);
}

// The threads left nothing behind: neither a held lock nor an open file.
void RequireIdle(IKrRiffReader& reader, const KrStressFiles& files)
{
    reader.Close();
    for (const SKrStressFile& file : files)
        Require(reader.Open(file.path.c_str()) != 0, "the reader stayed locked");
    reader.Close();
    KrRiffUtils::ClearCache(nullptr);
    for (const SKrStressFile& file : files)
        Require(CKrForeignWriter(file.path).IsOpen(), "a file stayed open");
}
} // namespace

int main(int count, char** arguments)
{
    if (count < 2)
        return 2;
    try
    {
        const CKrTempFolder folder;
        const KrStressFiles files = WriteStressFiles(folder);
        CKrRef<IKrRiffReader> reader;
        Require(KrCreateRiffReader(reader.Put()) != 0 && reader->Open(files[0].path.c_str()) != 0,
                "no reader");
        RunThreads(*reader, files, std::strtoull(arguments[1], nullptr, 10),
                   count > 2 ? std::strtoull(arguments[2], nullptr, 10) : 1);
        RequireIdle(*reader, files);
    }
    catch (const std::exception& error)
    {
        g_failed = true;
        std::fprintf(stderr, "%s\n", error.what());
    }
    return g_failed ? 1 : 0;
}
