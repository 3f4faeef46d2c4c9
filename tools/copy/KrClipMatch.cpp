#include "tools/copy/KrClipMatch.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/output/KrRecordingOptions.h"

namespace KrTool
{
namespace
{
struct SKrTrait
{
    std::string name;
    std::string value;
};

std::string PcmText(const SKrPcm& pcm)
{
    return Format("{} Hz, {}, {} bits, {} a sample frame", pcm.samplesPerSec,
                  Counted(pcm.channels, "channel"), pcm.bitsPerSample, Counted(pcm.blockAlign, "byte"));
}

std::string SizeText(int32_t width, int32_t height)
{
    return Format("{} x {}", width, height);
}

// What must match, as messages name it.
std::vector<SKrTrait> Traits(const SKrCopySource& source)
{
    const SKrAviVideoParams& video = source.format.video;
    const auto& audio = source.format.audio;
    return {{"picture size", SizeText(video.width, video.height)},
            {"codec", source.format.codec != 0 ? FourCcText(source.format.codec) : "uncompressed"},
            {"bits per pixel", std::to_string(video.bitCount)},
            {"frame rate", FrameRateName(video.frameRate)},
            {"scan mode", ScanModeName(video.scanMode)},
            {"display size", SizeText(video.displayWidth, video.displayHeight)},
            {"aspect mode", std::to_string(video.aspectMode)},
            {"audio", audio ? PcmText(*audio) : "none"}};
}
} // namespace

void CheckMatch(const SKrCopySource& first, const SKrCopySource& other)
{
    const std::vector<SKrTrait> wanted = Traits(first);
    const std::vector<SKrTrait> traits = Traits(other);
    for (size_t number = 0; number < traits.size(); ++number)
    {
        if (traits[number].value != wanted[number].value)
            throw CKrToolError(other.clip.source->Path(),
                               Format("it does not match {}: {} {}, there {}", first.clip.source->Path(),
                                      traits[number].name, traits[number].value, wanted[number].value));
    }
}
} // namespace KrTool
