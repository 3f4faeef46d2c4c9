// A host with an object that outlives everything that the library creates on its first use: the object's
// destructor, after main, records a clip, reads it and queries it by path. Ends with 1 when any of that
// fails.
#include "KrOsTypes.h"
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrTempFolder.h"
#include "tests/support/KrTestSample.h"

#include <cstdio>
#include <cstdlib>
#include <string>

using namespace KrTest;

namespace
{
constexpr int kFrames = 10;

bool Record(const std::wstring& path)
{
    SKrMediaInfo info{};
    info.videoStreamCount = 1;
    info.width = info.height = 16;
    info.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate25);
    info.scanMode = static_cast<uint32_t>(EKrScanMode::Progressive);
    CKrRef<IKrAviWriter> writer;
    if (KrCreateAviWriter(writer.Put()) == 0 || writer->OpenFileFromInfo(path.c_str(), &info) == 0)
        return false;
    for (int number = 0; number < kFrames; ++number)
    {
        const auto sample =
            CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(500, static_cast<uint8_t>(number))));
        if (writer->AddVideoSample(sample.Get()) == 0)
            return false;
    }
    return writer->CloseFile() != 0;
}

bool ReadBack(const std::wstring& path)
{
    CKrRef<IKrRiffReader> reader;
    CArray<SKrChunkIndexEntry> frames;
    uint8_t last = 0;
    return KrCreateRiffReader(reader.Put()) != 0 && reader->Open(path.c_str()) != 0 &&
           reader->LoadVideoIndex(frames) != 0 && frames.GetSize() == kFrames &&
           reader->ReadAt(frames[kFrames - 1].position, &last, 1) == 1 && last == kFrames - 1;
}

bool Ask(const std::wstring& path)
{
    EKrScanMode mode = EKrScanMode::Unknown;
    return KrRiffUtils::GetAviScanMode(path.c_str(), mode) != 0 && mode == EKrScanMode::Progressive &&
           KrRiffUtils::ClearCache(path.c_str()) != 0;
}

bool LendASample()
{
    CKrRef<IKrdsMediaSamplePool> pool;
    return KrCreateMediaSamplePool(2, pool.Put()) != 0;
}

bool UseEverything(const char* when)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"clip.avi");
    const bool done = Record(path) && ReadBack(path) && Ask(path) && LendASample();
    std::printf("%s: %s\n", when, done ? "done" : "failed");
    std::fflush(stdout);
    return done;
}

// Created before the first use of the library, and so destroyed after everything created then.
const struct SLastObject
{
    ~SLastObject()
    {
        if (!UseEverything("after main"))
            std::_Exit(1);
    }
} g_lastObject;
} // namespace

int main()
{
    return UseEverything("in main") ? 0 : 1;
}
