// Prints what the library gives of all streams of a file, as JSON: ListStreams [--growing] FILE
#include "KrRiffUtils/KrRiffUtils.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{
std::wstring Widen(const char* text)
{
    std::vector<wchar_t> wide(4096);
    const size_t length = std::mbstowcs(wide.data(), text, wide.size());
    return length < wide.size() ? std::wstring(wide.data(), length) : std::wstring();
}

bool ListStream(IKrRiffReader& reader, uint32_t number)
{
    CArray<SKrStreamIndexEntry> entries;
    const int loaded = reader.LoadStreamIndex(number, 0, entries); // first: it counts what it drops
    SKrStreamProperties stream = {};
    stream.size = sizeof stream;
    if (reader.GetStreamProperties(number, &stream) == 0)
        return false;
    std::vector<unsigned char> format(stream.formatSize);
    if (reader.ReadStreamFormat(number, format.data(), stream.formatSize) != stream.formatSize)
        return false;
    std::printf(
        "%s{\"type\": %u, \"chunkId\": %u, \"rate\": %u, \"scale\": %u, \"length\": %u, \"flags\": %u, "
        "\"dropped\": %u, \"loaded\": %d, \"format\": \"",
        number == 0 ? "" : ", ", stream.type, stream.chunkId, stream.rate, stream.scale, stream.length,
        stream.flags, stream.droppedEntries, loaded);
    for (const unsigned char byte : format)
        std::printf("%02x", byte);
    std::printf("\", \"chunks\": [");
    for (intptr_t entry = 0; loaded != 0 && entry < entries.GetSize(); ++entry)
        std::printf("%s[%llu, %u, %u]", entry == 0 ? "" : ", ",
                    static_cast<unsigned long long>(entries[entry].position), entries[entry].size,
                    entries[entry].flags);
    std::printf("]}");
    return true;
}
} // namespace

int main(int count, char** arguments)
{
    IKrRiffReader* reader = nullptr;
    const bool isGrowing = count == 3 && std::string(arguments[1]) == "--growing";
    if ((count != 2 && !isGrowing) || KrCreateRiffReader(&reader) == 0)
        return 2;
    const std::wstring path = Widen(arguments[count - 1]);
    bool done = (isGrowing ? reader->OpenGrowing(path.c_str()) : reader->Open(path.c_str())) != 0;
    std::printf("[");
    for (uint32_t number = 0; done && number < reader->GetStreamCount(); ++number)
        done = ListStream(*reader, number);
    std::printf("]\n");
    reader->Release();
    return done ? 0 : 1;
}
