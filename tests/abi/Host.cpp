// A host that uses every operation of the library, and compares every result. It needs no C++ library, so
// that it builds with each compiler of the platform: writes a file, then reads it.
#include "KrHostObjects.h"

#include <stdio.h>
#include <string.h>

namespace
{
int g_checks = 0;
int g_failed = 0;

void Check(bool ok, const char* what, int line)
{
    ++g_checks;
    if (ok)
        return;
    ++g_failed;
    printf("line %d: %s\n", line, what);
}

#define CHECK(condition) Check((condition), #condition, __LINE__)

const wchar_t kPath[] = L"abi-host.avi";
const int kFrames = 30;
const int32_t kAudioBytes = 48000 / 25 * 4;
const uint32_t kMjpg = 0x47504A4D;
uint8_t g_video[kFrames][400];
uint8_t g_audio[kFrames][kAudioBytes];
uint8_t g_read[kAudioBytes];

int32_t FrameBytes(int number)
{
    return 100 + 7 * number;
}

void FillPattern()
{
    for (int number = 0; number < kFrames; ++number)
    {
        for (int32_t byte = 0; byte < FrameBytes(number); ++byte)
            g_video[number][byte] = static_cast<uint8_t>(number * 31 + byte);
        for (int32_t byte = 0; byte < kAudioBytes; ++byte)
            g_audio[number][byte] = static_cast<uint8_t>(number * 17 + byte * 3);
    }
}

// Half of the frames through the pool, around the host's DirectShow sample; the others and the sound as the
// host's own samples.
void WriteSamples(IKrAviWriter& writer, IKrdsMediaSamplePool& pool)
{
    CHostSource* sources[kFrames] = {};
    CHostSample* frames[kFrames] = {};
    CHostSample* sound[kFrames] = {};
    for (int number = 0; number < kFrames; ++number)
    {
        sound[number] = new CHostSample(g_audio[number], kAudioBytes);
        CHECK(writer.AddAudioSample(sound[number]) == 1);
        if (number % 2 == 0)
        {
            sources[number] = new CHostSource(g_video[number], FrameBytes(number));
            IKrMediaSample* sample = nullptr;
            CHECK(pool.GetSample(5000, sources[number], &sample) == 1);
            uint8_t* data = nullptr;
            int32_t length = 0;
            CHECK(sample->LockBuffer(&data, &length) == 1 && data == g_video[number] &&
                  length == FrameBytes(number));
            sample->UnlockBuffer();
            CHECK(sample->GetDataLength() == static_cast<uint32_t>(FrameBytes(number)));
            CHECK(writer.AddVideoSample(sample) == 1);
            sample->Release();
        }
        else
        {
            frames[number] = new CHostSample(g_video[number], FrameBytes(number));
            CHECK(writer.AddVideoSample(frames[number]) == 1);
        }
    }
    CHECK(writer.CloseFile() == 1);
    CHECK(pool.Release() == 0);
    for (int number = 0; number < kFrames; ++number)
    {
        CHECK(sound[number]->m_references == 1 && sound[number]->m_locks == 0);
        CHECK(frames[number] == nullptr ||
              (frames[number]->m_references == 1 && frames[number]->m_locks == 0));
        CHECK(sources[number] == nullptr || sources[number]->m_references == 1);
        delete sound[number];
        delete frames[number];
        delete sources[number];
    }
}

void Write()
{
    IKrdsMediaSamplePool* pool = nullptr;
    CHECK(KrCreateMediaSamplePool(0, &pool) == 0 && pool == nullptr);
    CHECK(KrCreateMediaSamplePool(8, &pool) == 1 && pool != nullptr);
    IKrAviWriter* writer = nullptr;
    CHECK(KrCreateAviWriter(&writer) == 1 && writer != nullptr);
    CHECK(writer->AddRef() == 2 && writer->Release() == 1);
    SKrAviVideoParams video = {};
    video.displayWidth = 768;
    video.displayHeight = 576;
    video.bitCount = 24;
    video.frameRate = 2;
    video.scanMode = 1;
    video.width = 720;
    video.height = 576;
    const WAVEFORMATEX audio = {1, 2, 48000, 48000 * 4, 4, 16, 0};
    CHECK(writer->OpenFile(nullptr, &video, kMjpg, &audio) == 0);
    CHECK(writer->OpenFile(kPath, &video, kMjpg, &audio) == 1);
    CHECK(writer->AddVideoSample(nullptr) == 0 && writer->AddAudioSample(nullptr) == 0);
    WriteSamples(*writer, *pool);
    SKrMediaInfo info = {};
    info.videoStreamCount = 1;
    info.width = info.height = 16;
    info.frameRate = 1;
    CHECK(writer->OpenFileFromInfo(L"abi-info.avi", &info) == 1);
    CHECK(writer->WriteVideoChunk(g_video[0], 100) == 1);
    CHECK(writer->WriteAudioChunk(g_audio[0], 100) == 0);
    CHECK(writer->CloseFile() == 1);
    CHECK(writer->Release() == 0);
}

void WalkTree(IKrRiffReader& reader)
{
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    SKrRiffChunkNode* riff = nullptr;
    CHECK(reader.FindFirstRiffSegment() == 1);
    CHECK(reader.FindNextRiffSegment(&type, &size, &offset, &riff) == 0);
    CHECK(type == 0x20495641 && offset == 8 && size + 8 == reader.GetFileLength());
    CHECK(riff != nullptr && riff->chunk.ckid == 0x46464952 && riff->chunk.cksize == size);
    uint32_t id = 0;
    CHECK(reader.FindFirstSubChunk(riff) == 1);
    CHECK(reader.FindNextSubChunk(&id, &type, &size, &offset, nullptr) == 1);
    CHECK(id == 0x5453494C && type == 0x6C726468 && offset == 20);
    int others = 0;
    while (reader.FindNextSubChunk(&id, &type, &size, &offset, nullptr) != 0)
        ++others;
    CHECK(others == 5 && id == 0x31786469); // KrlA, PrmA, CtsI, JUNK, movi; the last is idx1
    const SKrRiffChunkInfo* const last = reader.GetLastRiffSegment();
    CHECK(last != nullptr && last->offset == 8);
}

void Search(IKrRiffReader& reader)
{
    CDWordArray ids;
    CHECK(reader.FindFirstChunk(&ids, 0) == 0);
    ids.Add(0x68727473); // strh
    CHECK(reader.FindFirstChunk(&ids, 0) == 1);
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    SKrRiffChunkInfo* record = nullptr;
    CHECK(reader.FindNextChunk(&id, &type, &size, &offset, &record) == 1);
    CHECK(id == 0x68727473 && size == 56 && offset == 108 && record != nullptr && record->offset == 108);
    uint8_t header[56] = {};
    CHECK(reader.ReadChunkData(record, header, 55) == 0);
    CHECK(reader.ReadChunkData(record, header, 56) == 56 && memcmp(header, "vidsMJPG", 8) == 0);
    CHECK(reader.FindNextChunk(&id, &type, &size, &offset, nullptr) == 0 && offset == 32488);
    reader.EndChunkSearch();
}

void ReadStreams(IKrRiffReader& reader)
{
    SKrAviVideoParams video = {};
    uint32_t compression = 0;
    uint16_t bits = 0;
    int valid = 0;
    uint32_t chunkId = 0;
    CHECK(reader.GetVideoStreamInfo(&video, &compression, &bits, &valid, &chunkId) == kFrames && valid == 1);
    CHECK(video.width == 720 && video.height == 576 && video.displayWidth == 768 &&
          video.displayHeight == 576);
    CHECK(video.frameRate == 2 && video.scanMode == 1 && video.aspectMode == 0 && video.bitCount == 8);
    CHECK(compression == kMjpg && bits == 24 && chunkId == 0x63643030);
    SKrWaveFormatInfo audio = {};
    double seconds = 0;
    CHECK(reader.GetAudioStreamInfo(&audio, &valid, &chunkId, &seconds) == 1 && valid == 1);
    CHECK(audio.formatTag == 1 && audio.channels == 2 && audio.samplesPerSec == 48000 &&
          audio.bitsPerSample == 16);
    CHECK(audio.avgBytesPerSec == 192000 && audio.blockAlign == 4 && chunkId == 0x62773130);
    CHECK(seconds > 1.1999 && seconds < 1.2001);
}

// The library fills the arrays, this program frees them.
void ReadIndexes(IKrRiffReader& reader)
{
    CArray<SKrChunkIndexEntry> entries;
    CHECK(reader.LoadVideoIndex(entries) == 1 && entries.GetSize() == kFrames);
    for (int number = 0; number < kFrames; ++number)
    {
        const SKrChunkIndexEntry& entry = entries[number];
        CHECK(entry.size == static_cast<uint32_t>(FrameBytes(number)) && entry.reserved == 0);
        CHECK(reader.ReadAt(entry.position, g_read, entry.size) == entry.size);
        CHECK(memcmp(g_read, g_video[number], entry.size) == 0);
    }
    entries.SetSize(1000); // moves the block that the library allocated
    SKrAudioChunkPattern pattern = {};
    CHECK(reader.LoadAudioIndex(entries, &pattern) == 1 && entries.GetSize() == kFrames);
    CHECK(pattern.kind == 1 && pattern.bytesPerPeriod == kAudioBytes && pattern.chunksPerPeriod == 1);
    CHECK(pattern.lastChunkBytes == kAudioBytes);
    for (int number = 0; number < kFrames; ++number)
    {
        const SKrChunkIndexEntry& entry = entries[number];
        CHECK(entry.size == kAudioBytes && reader.ReadAt(entry.position, g_read, entry.size) == entry.size);
        CHECK(memcmp(g_read, g_audio[number], entry.size) == 0);
    }
    CHECK(reader.ReadAt(reader.GetFileLength(), g_read, 1) == 0);
    // An array that is not of the library's kind is refused and unchanged.
    uint64_t foreign[5] = {1, 2, 3, 4, 5};
    CHECK(reader.LoadVideoIndex(*reinterpret_cast<CArray<SKrChunkIndexEntry>*>(foreign)) == 0);
    CHECK(reader.LoadAudioIndex(*reinterpret_cast<CArray<SKrChunkIndexEntry>*>(foreign), &pattern) == 0);
    CHECK(reader.FindFirstChunk(reinterpret_cast<CDWordArray*>(foreign), 0) == 0);
    for (uint64_t word = 0; word < 5; ++word)
        CHECK(foreign[word] == word + 1);
}

void ReadAllStreams(IKrRiffReader& reader)
{
    CHECK(reader.GetStreamCount() == 2);
    SKrStreamProperties stream = {};
    CHECK(reader.GetStreamProperties(0, &stream) == 0);
    stream.size = sizeof stream;
    CHECK(reader.GetStreamProperties(0, &stream) == 1);
    CHECK(stream.type == 0x73646976 && stream.chunkId == 0x63643030 && stream.handler == kMjpg);
    CHECK(stream.rate == 25 && stream.scale == 1 && stream.length == kFrames && stream.formatSize == 40);
    CHECK(stream.flags == (1 | 2 | 4 | 8) && stream.droppedEntries == 0);
    CHECK(reader.GetStreamProperties(1, &stream) == 1 && stream.sampleSize == 4 && stream.flags == (1 | 2));
    CHECK(reader.GetStreamProperties(2, &stream) == 0);
    WAVEFORMATEX format = {};
    CHECK(reader.ReadStreamFormat(1, &format, sizeof format) == 18 && format.nSamplesPerSec == 48000);
    CArray<SKrStreamIndexEntry> entries;
    for (int first = 0; first <= kFrames; first += 10)
    {
        CHECK(reader.LoadStreamIndex(0, static_cast<uint64_t>(first), entries) == 1);
        CHECK(entries.GetSize() == kFrames - first);
        for (int number = first; number < kFrames; ++number)
        {
            const SKrStreamIndexEntry& entry = entries[number - first];
            CHECK(entry.size == static_cast<uint32_t>(FrameBytes(number)) && entry.flags == 1);
            CHECK(reader.ReadAt(entry.position, g_read, entry.size) == entry.size);
            CHECK(memcmp(g_read, g_video[number], entry.size) == 0);
        }
    }
    CHECK(reader.LoadStreamIndex(2, 0, entries) == 0);
    uint64_t foreign[5] = {1, 2, 3, 4, 5};
    CHECK(reader.LoadStreamIndex(0, 0, *reinterpret_cast<CArray<SKrStreamIndexEntry>*>(foreign)) == 0);
    for (uint64_t word = 0; word < 5; ++word)
        CHECK(foreign[word] == word + 1);
}

// All eight queries; `source` is a reader or a path.
template <class Source>
void Query(Source source)
{
    EKrScanMode mode = EKrScanMode::Unknown;
    CHECK(KrRiffUtils::GetAviScanMode(source, mode) == 1 && mode == EKrScanMode::LowerFieldFirst);
    for (int flavour = 1; flavour <= 2; ++flavour)
    {
        mode = EKrScanMode::Unknown;
        CHECK(KrRiffUtils::GetAviScanModeFromPrivateChunk(source, flavour, mode) == 1);
        CHECK(mode == EKrScanMode::LowerFieldFirst);
        int horizontal = 0;
        int vertical = 0;
        CHECK(KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(source, flavour, horizontal, vertical) ==
              1);
        CHECK(horizontal == 16 && vertical == 15);
    }
    CHECK(KrRiffUtils::GetAviScanModeFromPrivateChunk(source, 3, mode) == 0);
    int horizontal = 0;
    int vertical = 0;
    CHECK(KrRiffUtils::GetAviPixelAspectRatio(source, horizontal, vertical) == 1);
    CHECK(horizontal == 16 && vertical == 15);
}

void Read()
{
    IKrRiffReader* reader = nullptr;
    CHECK(KrCreateRiffReader(&reader) == 1 && reader != nullptr);
    CHECK(reader->GetFileLength() == 0 && reader->Open(L"abi-missing.avi") == 0);
    CHECK(reader->Open(kPath) == 1 && reader->GetFileLength() > 66048);
    WalkTree(*reader);
    Search(*reader);
    ReadStreams(*reader);
    ReadIndexes(*reader);
    ReadAllStreams(*reader);
    Query(reader);
    CHostReader ours(*reader);
    Query(static_cast<IKrRiffReader*>(&ours));
    CHECK(ours.m_calls > 20);
    CHECK(reader->Refresh() == 0 && reader->GetGrowingState() == 0);
    CHECK(reader->OpenGrowing(kPath) == 1 && reader->GetGrowingState() == 1);
    CHECK(reader->Refresh() == 0 && reader->GetGrowingState() == 2);
    ReadIndexes(*reader);
    ReadAllStreams(*reader);
    reader->Close();
    CHECK(reader->Refresh() == -1 && reader->GetGrowingState() == 0);
    CHECK(reader->GetFileLength() == 0);
    CHECK(reader->Release() == 0);
#if defined(_MSC_VER)
    CHECK(KrCreateRiffReader(&reader) == 1);
    delete reader; // the library's own memory: slot 0 frees it
#endif
    CHECK(KrRiffUtils::ClearCache(kPath) == 0);
    Query(static_cast<const wchar_t*>(kPath));
    CHECK(KrRiffUtils::ClearCache(kPath) == 1 && KrRiffUtils::ClearCache(kPath) == 0);
    CHECK(KrRiffUtils::ClearCache(nullptr) == 1);
}
} // namespace

int main()
{
    FillPattern();
    Write();
    Read();
    printf("host: %d checks, %d failed\n", g_checks, g_failed);
    return g_failed == 0 && g_checks > 0 ? 0 : 1;
}
