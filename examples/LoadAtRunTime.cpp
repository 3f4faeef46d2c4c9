// Uses the library without linking it: LoadAtRunTime FILE The factories have plain names for this. Everything
// else is called through the interfaces.
#include "KrExampleMain.h"

#include <KrRiffUtils/KrRiffUtils.h>

#include <stdio.h>
#include <windows.h>

namespace
{
typedef int (*CreateReader)(IKrRiffReader** out);

bool PrintStreams(IKrRiffReader& reader, const wchar_t* path)
{
    if (reader.Open(path) == 0)
    {
        printf("the file cannot be opened\n");
        return false;
    }
    SKrAviVideoParams format = {};
    uint32_t compression = 0;
    uint16_t bitCount = 0;
    int valid = 0;
    uint32_t chunkId = 0;
    const uint32_t frames = reader.GetVideoStreamInfo(&format, &compression, &bitCount, &valid, &chunkId);
    if (valid != 0)
        printf("%u frames of %d x %d\n", frames, static_cast<int>(format.width),
               static_cast<int>(format.height));
    SKrWaveFormatInfo sound = {};
    double seconds = 0;
    if (reader.GetAudioStreamInfo(&sound, &valid, &chunkId, &seconds) != 0 && valid != 0)
        printf("%u channels at %u samples per second\n", sound.channels, sound.samplesPerSec);
    return true;
}
} // namespace

int Run(int count, const wchar_t* const* arguments)
{
    if (count != 2)
    {
        printf("usage: LoadAtRunTime FILE\n");
        return 2;
    }
    const HMODULE library = LoadLibraryW(L"KrRiffUtils.dll");
    if (library == nullptr)
    {
        printf("KrRiffUtils.dll cannot be loaded\n");
        return 1;
    }
    const auto create = reinterpret_cast<CreateReader>(
        reinterpret_cast<void*>(GetProcAddress(library, "KrCreateRiffReader")));
    IKrRiffReader* reader = nullptr;
    bool done = false;
    if (create != nullptr && create(&reader) != 0)
    {
        done = PrintStreams(*reader, arguments[1]);
        reader->Release(); // before the library is unloaded
    }
    FreeLibrary(library);
    return done ? 0 : 1;
}
