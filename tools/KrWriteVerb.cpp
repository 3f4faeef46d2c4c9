// kravi write: a file from pictures and sound.
#include "tools/KrFrameInput.h"
#include "tools/KrOutputFile.h"
#include "tools/KrProgress.h"
#include "tools/KrRecording.h"
#include "tools/KrRecordingOptions.h"
#include "tools/KrReport.h"
#include "tools/KrText.h"
#include "tools/KrToolError.h"
#include "tools/KrVerbs.h"
#include "tools/KrWaveInput.h"

namespace KrTool
{
namespace
{
constexpr uint32_t kJpegBits = 24;
constexpr uint32_t kSquarePixels = 3;

bool ParseRows(const std::string& text)
{
    if (text != "top-down" && text != "bottom-up")
        throw CKrToolError({}, "--rows: '" + text + "' is neither top-down nor bottom-up");
    return text == "top-down";
}

SKrRawLayout RawLayout(const SKrWriteOptions& options)
{
    SKrRawLayout layout;
    layout.size = ParseSize(options.size);
    layout.bitsPerPixel = static_cast<uint32_t>(options.bits);
    layout.stride = options.stride;
    layout.isTopDown = ParseRows(options.rows);
    layout.isUncompressed = options.codec.empty();
    const bool hasWholeBytes = options.bits == 16 || options.bits == 24 || options.bits == 32;
    if (layout.isUncompressed ? !hasWholeBytes : options.bits == 0 || options.bits > 64)
        throw CKrToolError({}, "--bits: uncompressed frames have 16, 24 or 32, others 1 to 64");
    return layout;
}

SKrRecordingFormat FormatOf(const SKrWriteOptions& options, const IKrFrameInput& frames, bool isJpeg)
{
    SKrRecordingFormat format;
    const SKrPictureSize size = frames.Size();
    format.codec = isJpeg ? FourCc('M', 'J', 'P', 'G') : ParseCodec(options.codec);
    format.video.width = static_cast<int32_t>(size.width);
    format.video.height = static_cast<int32_t>(size.height);
    format.video.displayWidth = static_cast<uint16_t>(options.displayWidth.value_or(size.width));
    format.video.displayHeight = static_cast<uint16_t>(size.height);
    format.video.bitCount = static_cast<uint8_t>(isJpeg ? kJpegBits : options.bits);
    format.video.frameRate = ParseFrameRate(options.rate);
    format.video.scanMode = ParseScanMode(options.scan);
    format.video.aspectMode =
        static_cast<uint32_t>(options.aspectMode.value_or(options.displayWidth ? 1 : kSquarePixels));
    if (options.displayWidth.value_or(1) == 0 || options.displayWidth.value_or(1) > UINT16_MAX)
        throw CKrToolError({}, "--display-width: 1 to 65535 is wanted");
    if (format.video.aspectMode > 5 || format.video.aspectMode == 2)
        throw CKrToolError({}, "--aspect-mode: 0, 1, 3, 4 or 5 is wanted");
    return format;
}
} // namespace

void RunWrite(const SKrWriteOptions& options, CKrReport& report, CKrProgress& progress)
{
    const bool isJpeg = !options.jpeg.empty();
    if (isJpeg == !options.raw.empty())
        throw CKrToolError({}, "give the pictures with --jpeg or with --raw");
    if (!isJpeg && options.size.empty())
        throw CKrToolError({}, "--raw needs --size");
    CheckTarget(options.file, options.force, options.audio);
    const std::unique_ptr<IKrFrameInput> frames =
        isJpeg ? MakeJpegInput(options.jpeg, options.start)
               : MakeRawInput(options.raw, options.start, RawLayout(options));
    SKrRecordingFormat format = FormatOf(options, *frames, isJpeg);
    std::optional<CKrWaveInput> wave;
    if (!options.audio.empty())
        format.audio = wave.emplace(options.audio).Format();

    CKrRecording recording(options.file, options.force, format, progress);
    CKrSoundByFrame sound(format.audio.value_or(SKrPcm{}), format.video.frameRate, wave ? wave->Bytes() : 0,
                          [&wave](uint64_t from, uint32_t length) { return wave->Part(from, length); });
    progress.Begin("frames", frames->Frames());
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
} // namespace KrTool
