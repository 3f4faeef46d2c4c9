// Writes a clip and reads it back, in the steps that docs/tutorial.md explains: Tour OUT
#include "KrExampleMain.h"

#if defined(_WIN32)
#include <windows.h> // WAVEFORMATEX
#endif

#include <KrRiffUtils/KrHostObjects.h>
#include <KrRiffUtils/KrRiffUtils.h>

#include <atomic>
#include <stdio.h>
#include <thread>
#include <utility>
#include <vector>

namespace
{
const int kFrames = 50, kWidth = 64, kHeight = 48, kFrameBytes = kWidth * kHeight * 3,
          kAudioBytes = 48000 / 25 * 4; // of one frame's time: 16 bits, two channels

// region: write
bool AddBlock(IKrAviWriter& writer, bool isVideo, int length, int number)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(length), static_cast<uint8_t>(number));
    const auto block =
        KrHost::CKrByteSample::Make(std::move(bytes)); // the writer takes a reference of its own
    return (isVideo ? writer.AddVideoSample(block.Get()) : writer.AddAudioSample(block.Get())) != 0;
}

bool WriteClip(const wchar_t* path)
{
    SKrAviVideoParams video = {};
    video.width = kWidth; // as stored
    video.height = kHeight;
    video.displayWidth = kWidth; // as shown
    video.displayHeight = kHeight;
    video.bitCount = 24;
    video.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate25);
    video.scanMode = static_cast<int32_t>(EKrScanMode::Progressive);
    video.aspectMode = 3; // square pixels
    WAVEFORMATEX sound = {1 /* PCM */, 2, 48000, 48000 * 4, 4, 16, 0};

    KrHost::CKrPointer<IKrAviWriter> writer; // releases it at the end
    if (KrCreateAviWriter(writer.Put()) == 0)
        return false;
    bool done = writer->OpenFile(path, &video, 0 /* uncompressed */, &sound) != 0;
    for (int number = 0; done && number < kFrames; ++number)
        done = AddBlock(*writer, true, kFrameBytes, number) && AddBlock(*writer, false, kAudioBytes, number);
    return writer->CloseFile() != 0 && done; // writes what is queued, and the indexes
}
// end

// region: open
// The caller ends the reader with Release, which closes the file.
IKrRiffReader* OpenClip(const wchar_t* path)
{
    IKrRiffReader* reader = nullptr;
    if (KrCreateRiffReader(&reader) == 0)
        return nullptr; // out of memory
    if (reader->Open(path) != 0)
        return reader;
    reader->Release();
    return nullptr; // no such file, no permission, in use, or no readable content
}
// end

// region: formats
void PrintFormats(IKrRiffReader& reader)
{
    SKrAviVideoParams video = {};
    uint32_t compression = 0;
    uint16_t bitCount = 0;
    int valid = 0;
    uint32_t chunkId = 0;
    const uint32_t frames = reader.GetVideoStreamInfo(&video, &compression, &bitCount, &valid, &chunkId);
    if (valid != 0)
        printf("video: %d x %d, %u frames in the headers\n", static_cast<int>(video.width),
               static_cast<int>(video.height), static_cast<unsigned>(frames));
    SKrWaveFormatInfo audio = {};
    double seconds = 0;
    if (reader.GetAudioStreamInfo(&audio, &valid, &chunkId, &seconds) != 0 && valid != 0)
        printf("audio: %u channels, %.1f s\n", static_cast<unsigned>(audio.channels), seconds);
}
// end

// region: read
bool ReadFrames(IKrRiffReader& reader)
{
    CArray<SKrChunkIndexEntry> index; // one entry for each frame
    if (reader.LoadVideoIndex(index) == 0)
        return false; // no index: the frames can still be found by a chunk search
    unsigned long long sum = 0;
    std::vector<uint8_t> frame;
    for (intptr_t number = 0; number < index.GetSize(); ++number)
    {
        const SKrChunkIndexEntry& entry = index[number];
        frame.resize(entry.size);
        if (reader.ReadAt(entry.position, frame.data(), entry.size) != entry.size)
            return false; // the file is truncated
        for (const uint8_t byte : frame)
            sum += byte;
    }
    printf("read: %d frames, sum of bytes %llu\n", static_cast<int>(index.GetSize()), sum);
    return true;
}
// end

// region: walk
void PrintChunks(IKrRiffReader& reader)
{
    if (reader.FindFirstRiffSegment() == 0)
        return;
    uint32_t form = 0, size = 0;
    uint64_t offset = 0;
    SKrRiffChunkNode* segment = nullptr;
    reader.FindNextRiffSegment(&form, &size, &offset, &segment); // the reader owns the nodes
    if (reader.FindFirstSubChunk(segment) == 0)
        return;
    for (int more = 1; more != 0;) // 0 comes with the last chunk, not after it
    {
        uint32_t id = 0, type = 0;
        more = reader.FindNextSubChunk(&id, &type, &size, &offset, nullptr);
        printf("chunk: %.4s\n", reinterpret_cast<const char*>(&id));
    }
}
// end

// region: query
void PrintQueries(const wchar_t* path)
{
    EKrScanMode mode = EKrScanMode::Unknown;
    if (KrRiffUtils::GetAviScanMode(path, mode) != 0) // keeps the reader open for the next query
        printf("scan mode: %d\n", static_cast<int>(mode));
    int horizontal = 0, vertical = 0;
    if (KrRiffUtils::GetAviPixelAspectRatio(path, horizontal, vertical) != 0)
        printf("pixel aspect ratio: %d:%d\n", horizontal, vertical);
    KrRiffUtils::ClearCache(path); // closes the file, so that others may replace it
}
// end

// region: threads
// Each thread has its own reader, which shares nothing with the others.
bool CountInThreads(const wchar_t* path)
{
    std::atomic<int> frames{0};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number)
        threads.emplace_back(
            [path, &frames]
            {
                IKrRiffReader* const reader = OpenClip(path);
                CArray<SKrChunkIndexEntry> index;
                if (reader != nullptr && reader->LoadVideoIndex(index) != 0)
                    frames += static_cast<int>(index.GetSize());
                if (reader != nullptr)
                    reader->Release();
            });
    for (std::thread& thread : threads)
        thread.join();
    printf("four threads: %d frames\n", frames.load());
    return frames == 4 * kFrames;
}
// end
} // namespace

int Run(int count, const wchar_t* const* arguments)
{
    if (count != 2)
    {
        printf("usage: Tour OUT\n");
        return 2;
    }
    const wchar_t* const path = arguments[1];
    if (!WriteClip(path))
    {
        printf("the file cannot be written\n");
        return 1;
    }
    IKrRiffReader* const reader = OpenClip(path);
    if (reader == nullptr)
        return 1;
    PrintFormats(*reader);
    bool done = ReadFrames(*reader);
    PrintChunks(*reader);
    reader->Release();
    PrintQueries(path);
    done = CountInThreads(path) && done;
    return done ? 0 : 1;
}
