// Shows the last frame of a recording twice a second while it is made: ShowLastFrame FILE
#include "KrExampleMain.h"

#include <KrRiffUtils/KrRiffUtils.h>

#include <chrono>
#include <stdint.h>
#include <stdio.h>
#include <thread>

namespace
{
enum
{
    kBeingWritten = 1,
    kComplete = 2
};

// region: take
// Loads what the index has gained since the call before, and keeps the last of it.
bool TakeNewFrames(IKrRiffReader& reader, uint64_t& frames, SKrStreamIndexEntry& last)
{
    CArray<SKrStreamIndexEntry> added;
    if (reader.LoadStreamIndex(0, frames, added) == 0 || added.IsEmpty())
        return false;
    frames += static_cast<uint64_t>(added.GetSize());
    last = added[added.GetSize() - 1];
    return true;
}
// end

// A player would decode the frame here; this one is content with how bright it is.
void Show(IKrRiffReader& reader, uint64_t number, const SKrStreamIndexEntry& frame)
{
    CArray<uint8_t> bytes;
    bytes.SetSize(static_cast<intptr_t>(frame.size));
    if (frame.size == 0 || reader.ReadAt(frame.position, bytes.GetData(), frame.size) != frame.size)
        return;
    uint64_t sum = 0;
    for (intptr_t byte = 0; byte < bytes.GetSize(); ++byte)
        sum += bytes[byte];
    printf("frame %llu: brightness %u\n", static_cast<unsigned long long>(number),
           static_cast<unsigned>(sum / frame.size));
    fflush(stdout);
}
} // namespace

int Run(int count, const wchar_t* const* arguments)
{
    IKrRiffReader* reader = nullptr;
    if (count != 2 || KrCreateRiffReader(&reader) == 0)
    {
        printf("usage: ShowLastFrame FILE\n");
        return 2;
    }
    bool opened = reader->OpenGrowing(arguments[1]) != 0; // the recorder has it open
    if (!opened)
        printf("the file cannot be opened\n");
    uint64_t frames = 0;
    SKrStreamIndexEntry last = {};
    for (bool goesOn = opened; goesOn;)
    {
        if (TakeNewFrames(*reader, frames, last))
            Show(*reader, frames - 1, last);
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        reader->Refresh();
        goesOn = reader->GetGrowingState() == kBeingWritten;
    }
    if (opened && TakeNewFrames(*reader, frames, last))
        Show(*reader, frames - 1, last);
    const bool complete = reader->GetGrowingState() == kComplete;
    if (opened)
        printf("%llu frames, %s\n", static_cast<unsigned long long>(frames),
               complete ? "complete" : "abandoned");
    reader->Release();
    return complete ? 0 : 1;
}
