// Reads every frame of an AVI file through its index: ReadFrames FILE
#include "KrExampleMain.h"

#include <KrRiffUtils/KrRiffUtils.h>

#include <stdio.h>

namespace
{
bool ReadAll(IKrRiffReader& reader)
{
    CArray<SKrChunkIndexEntry> index; // the library fills it, this program frees it
    if (reader.LoadVideoIndex(index) == 0)
    {
        printf("the file has no index of its frames\n");
        return false;
    }
    CArray<uint8_t> frame;
    unsigned long long bytes = 0;
    for (intptr_t number = 0; number < index.GetSize(); ++number)
    {
        const SKrChunkIndexEntry& entry = index[number];
        frame.SetSize(static_cast<intptr_t>(entry.size));
        if (reader.ReadAt(entry.position, frame.GetData(), entry.size) != entry.size)
        {
            printf("frame %d cannot be read\n", static_cast<int>(number));
            return false;
        }
        bytes += entry.size; // a player would decode the frame here
    }
    printf("%d frames, %llu bytes\n", static_cast<int>(index.GetSize()), bytes);
    return true;
}
} // namespace

int Run(int count, const wchar_t* const* arguments)
{
    if (count != 2)
    {
        printf("usage: ReadFrames FILE\n");
        return 2;
    }
    IKrRiffReader* reader = nullptr;
    if (KrCreateRiffReader(&reader) == 0)
        return 1;
    bool done = false;
    if (reader->Open(arguments[1]) != 0)
        done = ReadAll(*reader);
    else
        printf("the file cannot be opened\n");
    reader->Release(); // closes the file
    return done ? 0 : 1;
}
