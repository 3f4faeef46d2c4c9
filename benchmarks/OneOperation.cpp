// One operation in its own process, for counts of a whole process: KrOneOperation OPERATION FILE prints the
// resident memory before and after it and its peak, in bytes, and the entries that it produced. OPERATION is
// open, load-video, load-audio, walk or search. The system call getppid marks the start and end of the
// operation in a trace.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"

#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include <unistd.h>

namespace
{
// A line of /proc/self/status, in bytes.
uint64_t StatusBytes(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.starts_with(key + ':'))
            return std::stoull(line.substr(key.size() + 1)) * 1024;
    }
    return 0;
}

using Entries = CArray<SKrChunkIndexEntry>;

uint64_t LoadVideo(IKrRiffReader& reader, Entries& entries)
{
    return reader.LoadVideoIndex(entries) != 0 ? static_cast<uint64_t>(entries.GetSize()) : 0;
}

uint64_t LoadAudio(IKrRiffReader& reader, Entries& entries)
{
    SKrAudioChunkPattern pattern;
    return reader.LoadAudioIndex(entries, &pattern) != 0 ? static_cast<uint64_t>(entries.GetSize()) : 0;
}

// The sub-chunks of the first list 'movi'.
uint64_t Walk(IKrRiffReader& reader, Entries&)
{
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    SKrRiffChunkNode* segment = nullptr;
    SKrRiffChunkNode* node = nullptr;
    reader.FindFirstRiffSegment();
    reader.FindNextRiffSegment(&type, &size, &offset, &segment);
    constexpr uint32_t kMovi = 0x69766F6D;
    for (int more = reader.FindFirstSubChunk(segment); more != 0 && type != kMovi;)
        more = reader.FindNextSubChunk(&id, &type, &size, &offset, &node);
    uint64_t chunks = 0;
    for (int more = reader.FindFirstSubChunk(node); more != 0; ++chunks)
        more = reader.FindNextSubChunk(&id, &type, &size, &offset, nullptr);
    return chunks;
}

uint64_t Search(IKrRiffReader& reader, Entries&)
{
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    uint64_t matches = 0;
    CDWordArray ids;
    ids.Add(0x63643030); // '00dc'
    for (int more = reader.FindFirstChunk(&ids, ~uint64_t{0}); more != 0; ++matches)
        more = reader.FindNextChunk(&id, &type, &size, &offset, nullptr);
    return matches;
}
} // namespace

int main(int argc, char** argv)
{
    using Operation = std::function<uint64_t(IKrRiffReader&, Entries&)>;
    const std::map<std::string, Operation> kOperations = {{"open",
                                                           [](auto&, auto&)
                                                           {
                                                               return 0;
                                                           }},
                                                          {"load-video", LoadVideo},
                                                          {"load-audio", LoadAudio},
                                                          {"walk", Walk},
                                                          {"search", Search}};
    const auto operation = argc == 3 ? kOperations.find(argv[1]) : kOperations.end();
    if (operation == kOperations.end())
        return 2;
    const std::string name = argv[2];
    const std::wstring path(name.begin(), name.end());
    CKrRef<IKrRiffReader> reader;
    Entries entries;
    if (KrCreateRiffReader(reader.Put()) == 0)
        return 1;
    const uint64_t before = StatusBytes("VmRSS");
    ::getppid();
    const bool opened = reader->Open(path.c_str()) != 0;
    const uint64_t produced = opened ? operation->second(*reader, entries) : 0;
    ::getppid();
    std::printf("%llu %llu %llu %llu\n", static_cast<unsigned long long>(before),
                static_cast<unsigned long long>(StatusBytes("VmRSS")),
                static_cast<unsigned long long>(StatusBytes("VmHWM")),
                static_cast<unsigned long long>(produced));
    return opened ? 0 : 1;
}
