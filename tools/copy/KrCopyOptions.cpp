#include "tools/copy/KrCopyOptions.h"

#include "tools/command/KrVerbTable.h"
#include "tools/output/KrRecordingOptions.h"

namespace KrTool
{
const char kWhatIsCarried[] =
    R"(All streams are carried, of any type and codec, with their headers and formats, start times, key-frame
    flags, frames without data, palette changes, names, texts and private chunks. The new file has even-sized
    chunks, 'idx1' and, from one gigabyte on, the segments and indexes of OpenDML.)";

const char kWhatIsRefused[] =
    R"(--layout recording writes the layout of recordings. It holds one video stream of key frames and one of PCM
    sound, at 23.976, 24, 25, 29.97, 30, 50, 59.94 or 60 frames per second; what else a file has is refused:
    further streams, format data after the 40 bytes of the picture format, late starts, frames without data.)";

void AddCopyOptions(CKrVerbOptions& verb, SKrCopyOptions& options)
{
    verb.AddNumber("--video", options.streams.video, "Number of the only video stream to take");
    verb.AddNumber("--audio", options.streams.audio, "Number of the only audio stream to take");
    verb.AddSwitch("--no-audio", options.streams.noAudio, "Leave the sound out");
    verb.AddText("--rate", options.streams.rate, "RATE", "Frames per second, instead of the file's own");
    verb.AddChoice<EKrLayout>("--layout", options.layout, "LAYOUT",
                              {{"full", EKrLayout::Carried}, {"recording", EKrLayout::Recording}},
                              "Layout of the new file");
    verb.AddSwitch("--drop-empty", options.dropEmpty,
                   "With --layout recording: leave out frames without data, which shortens the picture");
    verb.AddSwitch("--force", options.force, "Replace an existing file");
    verb.Suggest("--rate", FrameRateNames());
}
} // namespace KrTool
