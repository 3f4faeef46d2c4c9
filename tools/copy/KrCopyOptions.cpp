#include "tools/copy/KrCopyOptions.h"

#include "tools/command/KrVerbTable.h"

namespace KrTool
{
const char kWhatIsRefused[] =
    R"(What the new file cannot carry is refused with the reason, or left out where an option says so: further
    streams, sound that is not PCM, frame rates other than 23.976, 24, 25, 29.97, 30, 50, 59.94 and 60,
    format data behind the 40 bytes of the picture format, a start of a stream that lies behind that of the
    file, frames without data. Its indexes say of each frame that it is a key frame.)";

void AddOutput(CKrVerbOptions& verb, SKrCopyOptions& options)
{
    verb.AddArgument("OUTPUT", options.output, "The AVI file that is written");
}

void AddCopyOptions(CKrVerbOptions& verb, SKrCopyOptions& options)
{
    verb.AddNumber("--video", options.video, "The video stream to take, by its number");
    verb.AddNumber("--audio", options.audio, "The audio stream to take, by its number");
    verb.AddSwitch("--no-audio", options.noAudio, "Leave the sound out");
    verb.AddText("--rate", options.rate, "RATE", "Frames per second, instead of the file's own");
    verb.AddSwitch(
        "--lossy-header", options.lossyHeader,
        "Leave out further format data, late starts of streams, and streams that are neither video nor audio");
    verb.AddSwitch("--drop-empty", options.dropEmpty, "Leave out frames without data");
    verb.AddSwitch("--force", options.force, "Replace a file that exists");
}
} // namespace KrTool
