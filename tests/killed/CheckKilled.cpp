// Checks a killed recording: KrCheckKilled FILE prints how many frames and audio blocks were written, and how
// many of them are in our reader's index. Ends with 1 when the index does not match the file.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "format/KrBytes.h"
#include "tests/killed/KrKilledPattern.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using namespace KrTest;

namespace
{
struct SChunk
{
    uint64_t position;
    uint32_t size;
};

struct SFound
{
    std::vector<SChunk> video;
    std::vector<SChunk> audio;
};

// Walks the chunks after 'movi', as far as they are whole.
SFound Scan(const std::vector<uint8_t>& file)
{
    SFound found;
    const char movi[] = "movi";
    auto at = static_cast<size_t>(std::search(file.begin(), file.end(), movi, movi + 4) - file.begin()) + 4;
    while (at + 8 <= file.size())
    {
        const uint32_t size = GetLe32(file.data() + at + 4);
        const std::string id(file.begin() + static_cast<ptrdiff_t>(at),
                             file.begin() + static_cast<ptrdiff_t>(at + 4));
        if (at + 8 + size > file.size() || id == std::string(4, '\0'))
            break;
        if (id == "00db")
            found.video.push_back({at + 8, size});
        else if (id == "01wb")
            found.audio.push_back({at + 8, size});
        else if (id != "JUNK" && id != "ix00" && id != "ix01")
            break;
        at += 8 + size;
    }
    return found;
}

// Whether each entry is the chunk of its number, with the submitted bytes.
bool Agree(const CArray<SKrChunkIndexEntry>& entries, const std::vector<SChunk>& written, bool isVideo,
           const std::vector<uint8_t>& file)
{
    if (static_cast<size_t>(entries.GetSize()) > written.size())
        return false;
    for (intptr_t number = 0; number < entries.GetSize(); ++number)
    {
        const SKrChunkIndexEntry& entry = entries[number];
        const SChunk& chunk = written[static_cast<size_t>(number)];
        const std::vector<uint8_t> bytes = KilledBytes(isVideo, static_cast<uint32_t>(number));
        if (entry.position != chunk.position || entry.size != chunk.size || bytes.size() != chunk.size ||
            std::memcmp(bytes.data(), file.data() + chunk.position, chunk.size) != 0)
            return false;
    }
    return true;
}
} // namespace

int main(int count, char** arguments)
{
    if (count != 2)
        return 2;
    std::ifstream stream(arguments[1], std::ios::binary);
    const std::vector<uint8_t> file{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    stream.close();
    const SFound written = Scan(file);
    const std::string narrow = arguments[1];
    CKrRef<IKrRiffReader> reader;
    CArray<SKrChunkIndexEntry> video;
    CArray<SKrChunkIndexEntry> audio;
    SKrAudioChunkPattern pattern;
    bool ok = KrCreateRiffReader(reader.Put()) != 0;
    if (ok && reader->Open(std::wstring(narrow.begin(), narrow.end()).c_str()) != 0)
    {
        // Before the first flush the headers declare no chunk.
        if (reader->LoadVideoIndex(video) == 0)
            video.RemoveAll();
        if (reader->LoadAudioIndex(audio, &pattern) == 0)
            audio.RemoveAll();
    }
    ok = ok && Agree(video, written.video, true, file) && Agree(audio, written.audio, false, file);
    std::printf("video %u of %u, audio %u of %u, %s\n", static_cast<unsigned>(video.GetSize()),
                static_cast<unsigned>(written.video.size()), static_cast<unsigned>(audio.GetSize()),
                static_cast<unsigned>(written.audio.size()), ok ? "agree" : "DISAGREE");
    return ok ? 0 : 1;
}
