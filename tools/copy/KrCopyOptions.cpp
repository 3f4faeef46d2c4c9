#include "tools/copy/KrCopyOptions.h"

#include "tools/command/KrVerbTable.h"

namespace KrTool
{
const char kWhatIsRefused[] =
    R"(Content that the new file cannot store is refused, or left out with an option: further streams, sound
    that is not PCM, frame rates other than 23.976, 24, 25, 29.97, 30, 50, 59.94 and 60, format data after
    the 40 bytes of the picture format, late starts of streams, frames without data. Its indexes mark each
    frame as a key frame.)";

void AddCopyOptions(CKrVerbOptions& verb, SKrCopyOptions& options)
{
    verb.AddNumber("--video", options.video, "Number of the video stream to take");
    verb.AddNumber("--audio", options.audio, "Number of the audio stream to take");
    verb.AddSwitch("--no-audio", options.noAudio, "Leave the sound out");
    verb.AddText("--rate", options.rate, "RATE", "Frames per second, instead of the file's own");
    verb.AddSwitch(
        "--lossy-header", options.lossyHeader,
        "Leave out further format data, late starts of streams, and streams that are neither video nor audio");
    verb.AddSwitch("--drop-empty", options.dropEmpty, "Leave out frames without data");
    verb.AddSwitch("--force", options.force, "Replace an existing file");
}
} // namespace KrTool
