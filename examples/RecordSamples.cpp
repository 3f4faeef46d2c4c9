// Records DirectShow samples with sound: RecordSamples OUT
// The samples come from DirectShow's own allocator, where a capture filter would fill them.
#include "KrExampleMain.h"

#include <KrRiffUtils/KrRiffUtils.h>

#include <dshow.h>
#include <stdio.h>
#include <string.h>

namespace
{
const int kFrames = 50, kWidth = 64, kHeight = 48, kFrameBytes = kWidth * kHeight * 3,
          kAudioBytes = 48000 / 25 * 4;

// Puts one buffer of the allocator into the writer, through a sample that the pool lends.
bool Add(IMemAllocator& allocator, IKrdsMediaSamplePool& pool, IKrAviWriter& writer, bool isVideo, int number)
{
    IMediaSample* source = nullptr;
    if (FAILED(allocator.GetBuffer(&source, nullptr, nullptr, 0))) // waits for a free buffer
        return false;
    BYTE* data = nullptr;
    const long bytes = isVideo ? kFrameBytes : kAudioBytes;
    if (SUCCEEDED(source->GetPointer(&data)))
        memset(data, isVideo ? number : 0, static_cast<size_t>(bytes));
    source->SetActualDataLength(bytes);
    IKrMediaSample* sample = nullptr;
    bool done = pool.GetSample(INFINITE, source, &sample) != 0;
    source->Release(); // the pool's sample has its own reference
    if (!done)
        return false;
    done = (isVideo ? writer.AddVideoSample(sample) : writer.AddAudioSample(sample)) != 0;
    sample->Release(); // so has the writer
    return done;
}

bool Record(IMemAllocator& allocator, IKrdsMediaSamplePool& pool, IKrAviWriter& writer, const wchar_t* path)
{
    SKrAviVideoParams video = {
        kWidth, kHeight, 24, {}, 0, 0, 2 /* 25 frames per second */, 2 /* progressive */, 0, kWidth, kHeight};
    WAVEFORMATEX audio = {WAVE_FORMAT_PCM, 2, 48000, 48000 * 4, 4, 16, 0};
    bool done = writer.OpenFile(path, &video, 0 /* uncompressed */, &audio) != 0;
    for (int number = 0; done && number < kFrames; ++number)
        done = Add(allocator, pool, writer, false, number) && Add(allocator, pool, writer, true, number);
    return writer.CloseFile() != 0 && done; // writes what is queued
}
} // namespace

int Run(int count, const wchar_t* const* arguments)
{
    if (count != 2 || FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return 2;
    IMemAllocator* allocator = nullptr;
    CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                     (void**)&allocator);
    ALLOCATOR_PROPERTIES wanted = {12, kFrameBytes, 1, 0}, got = {}; // more buffers than the pool has samples
    IKrdsMediaSamplePool* pool = nullptr;
    IKrAviWriter* writer = nullptr;
    bool done = allocator != nullptr && SUCCEEDED(allocator->SetProperties(&wanted, &got)) &&
                SUCCEEDED(allocator->Commit()) && KrCreateMediaSamplePool(8, &pool) != 0 &&
                KrCreateAviWriter(&writer) != 0 && Record(*allocator, *pool, *writer, arguments[1]);
    printf(done ? "recorded\n" : "failed\n");
    if (writer != nullptr)
        writer->Release();
    if (pool != nullptr)
        pool->Release();
    if (allocator != nullptr)
        allocator->Release();
    CoUninitialize();
    return done ? 0 : 1;
}
