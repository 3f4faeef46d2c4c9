// kravi write: a file from pictures and sound.
#include "format/KrFourCC.h"
#include "format/KrFrameTables.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/input/KrFrameInput.h"
#include "tools/input/KrWaveInput.h"
#include "tools/output/KrOutputFile.h"
#include "tools/output/KrRecording.h"
#include "tools/output/KrRecordingOptions.h"
#include "tools/output/KrRecordingProgress.h"

namespace KrTool
{
namespace
{
const SKrVerbHelp kWriteHelp = {
    "write",
    "Make an AVI file from pictures and sound",
    {
        R"(PATTERN: a name with one %d or %0Nd for the frame number, or, for raw pictures, the name of one file
        with all frames. Numbers run from --start to the last one; a missing picture is an error.)",
        R"(JPEG pictures are stored unchanged as 'MJPG'. Raw pictures are stored as uncompressed frames: 16, 24 or
        32 bits in the order of Windows bitmaps; rows are reordered and padded to suit. With --codec they
        are stored unchanged.)",
        "The pixel aspect ratio is derived from --display-width; without it pixels are square.",
    },
    {
        "kravi write clip.avi --jpeg 'shot%04d.jpg' --audio sound.wav --rate 29.97",
        "kravi write clip.avi --raw frames.rgb --size 720x576 --bits 24 --display-width 1024",
    },
};

struct SKrWriteOptions
{
    std::string file;  // that is written
    std::string jpeg;  // pattern; this or raw
    std::string raw;   // pattern or name
    std::string audio; // WAVE file; empty: no sound
    std::optional<uint64_t> start;
    std::string rate = "25";
    EKrScanMode scan = EKrScanMode::Progressive;
    std::optional<uint64_t> aspectMode;
    std::optional<uint64_t> displayWidth;
    std::string size; // WIDTHxHEIGHT; this and the next four are of raw pictures
    std::optional<uint64_t> bits;
    std::string codec; // empty: uncompressed
    std::optional<uint64_t> stride;
    std::optional<bool> isTopDown;
    bool force = false;
};

SKrRawLayout RawLayout(const SKrWriteOptions& options)
{
    SKrRawLayout layout;
    layout.size = ParseSize(options.size);
    const uint64_t bits = options.bits.value_or(kUsualBits);
    layout.bitsPerPixel = static_cast<uint32_t>(bits);
    layout.stride = options.stride.value_or(0);
    layout.isTopDown = options.isTopDown.value_or(true);
    layout.isUncompressed = options.codec.empty();
    const bool hasWholeBytes = bits == 16 || bits == 24 || bits == 32;
    if (layout.isUncompressed ? !hasWholeBytes : bits == 0 || bits > 64)
        throw CKrToolError({}, "--bits must be 16, 24 or 32 for uncompressed frames, 1 to 64 for others");
    return layout;
}

SKrRecordingFormat FormatOf(const SKrWriteOptions& options, const IKrFrameInput& frames, bool isJpeg)
{
    SKrRecordingFormat format;
    const SKrPictureSize size = frames.Size();
    format.codec = isJpeg ? kFccMjpg : ParseCodec(options.codec);
    format.video.width = static_cast<int32_t>(size.width);
    format.video.height = static_cast<int32_t>(size.height);
    format.video.displayWidth = static_cast<uint16_t>(options.displayWidth.value_or(size.width));
    format.video.displayHeight = static_cast<uint16_t>(size.height);
    format.video.bitCount = static_cast<uint8_t>(options.bits.value_or(kUsualBits));
    format.video.frameRate = ParseFrameRate(options.rate);
    format.video.scanMode = static_cast<int32_t>(options.scan);
    format.video.aspectMode =
        static_cast<uint32_t>(options.aspectMode.value_or(options.displayWidth ? 1 : kAspectModeUnknown));
    if (options.displayWidth.value_or(1) == 0 || options.displayWidth.value_or(1) > UINT16_MAX)
        throw CKrToolError({}, "--display-width must be 1 to 65535");
    if (format.video.aspectMode > 5 || format.video.aspectMode == 2)
        throw CKrToolError({}, "--aspect-mode must be 0, 1, 3, 4 or 5");
    return format;
}

// JPEG pictures contain what these options describe for raw ones.
void RefuseRawOptions(const SKrWriteOptions& options)
{
    const std::pair<const char*, bool> given[] = {{"--size", !options.size.empty()},
                                                  {"--bits", options.bits.has_value()},
                                                  {"--codec", !options.codec.empty()},
                                                  {"--stride", options.stride.has_value()},
                                                  {"--rows", options.isTopDown.has_value()}};
    for (const auto& [name, isGiven] : given)
    {
        if (isGiven)
            throw CKrToolError({}, std::string(name) + " applies to raw pictures only");
    }
}

// No picture that is still to be read may be replaced, whatever name leads to it.
void CheckPictures(const SKrWriteOptions& options, const SKrFrameFiles& files)
{
    for (uint64_t number = 0; number < files.count; ++number)
        CheckTarget(options.file, options.force, files.NameOf(number));
}

void RunWrite(const SKrWriteOptions& options, CKrReport& report, CKrProgress& progress)
{
    const bool isJpeg = !options.jpeg.empty();
    if (isJpeg == !options.raw.empty())
        throw CKrToolError({}, "pictures are required: give --jpeg or --raw");
    if (isJpeg)
        RefuseRawOptions(options);
    else if (options.size.empty())
        throw CKrToolError({}, "--raw needs --size");
    CheckTarget(options.file, options.force, options.audio);
    const std::unique_ptr<IKrFrameInput> frames =
        isJpeg ? MakeJpegInput(options.jpeg, options.start)
               : MakeRawInput(options.raw, options.start, RawLayout(options));
    CheckPictures(options, frames->Files());
    SKrRecordingFormat format = FormatOf(options, *frames, isJpeg);
    std::optional<CKrWaveInput> wave;
    if (!options.audio.empty())
        format.audio = wave.emplace(options.audio).Format();

    CKrRecording recording(options.file, options.force, format, progress);
    CKrSoundByFrame sound(format.audio.value_or(SKrPcm{}), format.video.frameRate, wave ? wave->Bytes() : 0,
                          [&wave](uint64_t from, uint32_t length) { return wave->Part(from, length); });
    progress.Begin("writing", frames->Frames(), EKrUnit::Frame);
    const CKrRecordingProgress details(progress, recording);
    for (uint64_t number = 0; number < frames->Frames(); ++number)
    {
        sound.AddForFrame(recording);
        recording.AddFrame(frames->Frame(number));
        progress.Advance(number);
    }
    sound.AddRest(recording);
    const SKrRecordingResult result = recording.Commit();
    progress.End();
    ReportRecording(result, format, options.file, report);
}
} // namespace

void AddWriteVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrWriteOptions>();
    CKrVerbOptions& verb = verbs.Add(
        kWriteHelp, options->file,
        [options](auto& report, auto& progress) { RunWrite(*options, report, progress); },
        "The AVI file to write");
    verb.AddText("--jpeg", options->jpeg, "PATTERN", "JPEG pictures");
    verb.AddText("--raw", options->raw, "PATTERN", "Raw pictures");
    verb.AddNumber("--start", options->start, "Number of the first picture (0, or 1 if there is no 0)");
    verb.AddText("--audio", options->audio, "NAME", "Sound from a WAVE file with PCM");
    verb.AddText("--rate", options->rate, "RATE", "Frames per second: 29.97, 30000/1001 (25)");
    verb.AddChoice("--scan", options->scan, "MODE", ScanModes(),
                   "upper, lower, progressive (default) or unknown");
    verb.AddNumber("--display-width", options->displayWidth, "Width in square pixels");
    verb.AddNumber("--aspect-mode", options->aspectMode,
                   "0, 1: from the display width; 3: square; 4, 5: fixed");
    verb.AddText("--size", options->size, "WIDTHxHEIGHT", "Size of raw pictures");
    verb.AddNumber("--bits", options->bits, "Bits per pixel of raw pictures (24)");
    verb.AddText("--codec", options->codec, "FOURCC", "FourCC of raw pictures stored unchanged");
    verb.AddNumber("--stride", options->stride, "Bytes from row to row of raw pictures");
    verb.AddChoice("--rows", options->isTopDown, "ORDER", {{"top-down", true}, {"bottom-up", false}},
                   "Order of raw rows: top-down (default) or bottom-up");
    verb.AddSwitch("--force", options->force, "Replace an existing file");
    verb.Suggest("--rate", FrameRateNames());
    verb.Suggest("--size", {"720x480", "720x576", "1280x720", "1920x1080"});
    verb.Suggest("--bits", {"16", "24", "32"});
    verb.Suggest("--aspect-mode", {"0", "1", "3", "4", "5"});
}
} // namespace KrTool
