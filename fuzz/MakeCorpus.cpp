// Writes the seeds of the fuzzers: KrMakeCorpus FOLDER. Small files of every kind, and scripts for the
// writer.
#include "tests/reader/HostileFileSupport.h"
#include "tests/reader/ReaderFaultSupport.h"
#include "tests/support/KrSimpleAvi.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

using namespace KrTest;

namespace
{
bool Write(const std::filesystem::path& path, const KrBytes& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
}

std::vector<KrBytes> Files()
{
    std::vector<KrBytes> files;
    for (const EKrIndexKind kind :
         {EKrIndexKind::None, EKrIndexKind::Idx1, EKrIndexKind::OpenDml, EKrIndexKind::Both})
        files.push_back(BuildSimpleAvi(RichAvi(kind)).Bytes());
    files.push_back(BuildSimpleAvi(RichAvi(EKrIndexKind::OpenDml, 0x10)).Bytes());
    SKrSimpleAvi lists = RichAvi(EKrIndexKind::Idx1);
    lists.recLists = true;
    lists.streams[0].strhSize = 64;
    files.push_back(BuildSimpleAvi(lists).Bytes());
    files.push_back(KrBytes(300, 0));
    KrBytes bare(250, 0);
    for (const char byte : std::string("00dc\x10\0\0\0", 8))
        bare.push_back(static_cast<uint8_t>(byte));
    bare.resize(400, 7);
    files.push_back(bare);
    return files;
}

// A script that uses every step from time to time.
KrBytes Script(uint32_t seed)
{
    std::mt19937 random(seed);
    KrBytes script(60 + random() % 200);
    for (uint8_t& byte : script)
        byte = static_cast<uint8_t>(random());
    return script;
}
} // namespace

int main(int count, char** arguments)
{
    if (count != 2)
        return 2;
    const std::filesystem::path folder = arguments[1];
    bool ok = true;
    for (const char* const kind : {"reader", "indexes", "queries", "search", "writer", "c"})
    {
        std::filesystem::create_directories(folder / kind);
        const bool isWriter = std::string(kind) == "writer";
        const std::vector<KrBytes> files = Files();
        for (size_t number = 0; number < (isWriter ? 32 : files.size()); ++number)
        {
            KrBytes bytes = isWriter ? Script(static_cast<uint32_t>(number)) : files[number];
            if (std::string(kind) == "search")
                bytes.insert(bytes.begin(), {static_cast<uint8_t>(1u << number), 0xFF, 0xFF});
            if (std::string(kind) == "c")
                bytes.insert(bytes.begin(), {static_cast<uint8_t>(number % 2 * 7), 0, 0, 0, 0, 0, 1});
            ok = Write(folder / kind / ("seed" + std::to_string(number)), bytes) && ok;
        }
        for (uint32_t number = 0; std::string(kind) == "c" && number < 16; ++number)
        {
            KrBytes bytes = Script(number);
            bytes.insert(bytes.begin(), {0xFF, 0, 0}); // calls to a writer, none of whose writes fail
            ok = Write(folder / kind / ("script" + std::to_string(number)), bytes) && ok;
        }
    }
    std::puts(ok ? "made" : "FAILED");
    return ok ? 0 : 1;
}
