// A capture host: sets the pace and the limit of its recording, watches it, and goes on when the disk stands
// still. CaptureHost OUT
#include "KrExampleMain.h"

#include <KrRiffUtils/KrHostObjects.h>
#include <KrRiffUtils/KrRiffUtils.h>

#include <atomic>
#include <chrono>
#include <stdio.h>
#include <thread>
#include <vector>

namespace
{
const int kFrames = 60, kWidth = 64, kHeight = 48, kFrameBytes = kWidth * kHeight * 3, kLateFrame = 10,
          kRefusals = 3, kQueuedFrames = 8;

// Stands for a disk that stops for a while: who writes the late frame waits for it.
std::atomic<bool> g_diskStands{false};

void Sleep(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class CFrame final : public KrHost::CKrByteSample
{
public:
    explicit CFrame(int number)
        : CKrByteSample(std::vector<uint8_t>(static_cast<size_t>(kFrameBytes), static_cast<uint8_t>(number))),
          m_isLate(number == kLateFrame)
    {
    }

    int LockBuffer(uint8_t** data, int32_t* length) override
    {
        while (m_isLate && g_diskStands)
            Sleep(1);
        return CKrByteSample::LockBuffer(data, length);
    }

private:
    const bool m_isLate;
};

// region: options
bool OpenRecording(IKrAviWriter& writer, const wchar_t* path)
{
    SKrRecordingOptions options = {};
    options.size = sizeof options;
    options.chunkSpacingMs = 0;    // as fast as the disk takes it
    options.submissionDelayMs = 0; // the camera sets the pace
    options.queueLimit = static_cast<uint64_t>(kQueuedFrames) * kFrameBytes;
    options.queueWaitMs = 200;                // a frame that finds no room for so long is lost
    options.audioWaitMs = 500;                // frames do not wait longer for their sound
    options.flags = kKrRecordingPowerSafe;    // readable after a power cut, too
    options.preallocation = 64 * 1024 * 1024; // bytes ahead of what is written
    SKrAviVideoParams video = {};
    video.width = video.displayWidth = kWidth;
    video.height = video.displayHeight = kHeight;
    video.bitCount = 24;
    video.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate25);
    video.aspectMode = 3; // square pixels
    return writer.SetRecordingOptions(&options) != 0 && writer.OpenFile(path, &video, 0, nullptr) != 0;
}
// end

// region: status
SKrRecordingStatus StatusOf(IKrAviWriter& writer)
{
    SKrRecordingStatus status = {};
    status.size = sizeof status;
    writer.GetRecordingStatus(&status); // never waits, whatever the disk does
    return status;
}

// What an operator has to know.
void PrintTrouble(const SKrRecordingStatus& status)
{
    if ((status.state & kKrStateWriteFailed) != 0)
        printf("the recording has stopped: system error %u\n", static_cast<unsigned>(status.systemError));
    else if (status.samplesRefused != 0)
        printf("the disk is late: %u frames wait, %u lost\n", static_cast<unsigned>(status.queuedFrames),
               static_cast<unsigned>(status.samplesRefused));
}
// end

bool Submit(IKrAviWriter& writer, int number)
{
    const auto frame = KrHost::CKrPointer<CFrame>::Adopt(new CFrame(number));
    return writer.AddVideoSample(frame.Get()) != 0; // with a reference of its own to what it takes
}

// Frames that are refused are lost; the recording goes on.
void Capture(IKrAviWriter& writer)
{
    g_diskStands = true;
    for (int number = 0; number < kFrames; ++number)
    {
        if (Submit(writer, number) || !g_diskStands)
            continue;
        const SKrRecordingStatus status = StatusOf(writer);
        PrintTrouble(status);
        if (status.samplesRefused < kRefusals)
            continue;
        g_diskStands = false; // and the disk is back
        while (StatusOf(writer).queuedFrames != 0)
            Sleep(1);
    }
}
} // namespace

int Run(int count, const wchar_t* const* arguments)
{
    IKrAviWriter* writer = nullptr;
    if (count != 2 || KrCreateAviWriter(&writer) == 0)
        return 2;
    if (!OpenRecording(*writer, arguments[1]))
    {
        printf("the file cannot be written\n");
        writer->Release();
        return 1;
    }
    Capture(*writer);
    const bool whole = writer->CloseFile() != 0; // what was refused is not missing: the host knows of it
    const SKrRecordingStatus status = StatusOf(*writer);
    printf("%s: %u frames, %u in the index, %u lost, %u bytes waited at most\n",
           whole ? "recorded" : "incomplete", static_cast<unsigned>(status.framesWritten),
           static_cast<unsigned>(status.framesInIndex), static_cast<unsigned>(status.samplesRefused),
           static_cast<unsigned>(status.mostQueuedBytes));
    writer->Release();
    return whole ? 0 : 1;
}
