#include "tools/info/KrSummaryText.h"

#include "tools/avi/KrFrameTime.h"
#include "tools/command/KrColour.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <cmath>

namespace KrTool
{
namespace
{
constexpr size_t kSummaryWidth = 80;
constexpr size_t kSummaryLabel = 12;
constexpr size_t kMostStreamLines = 4; // beside file, container, duration and health
constexpr size_t kLongestCodec = 22;

std::string SummaryLine(std::string label, const std::string& text)
{
    label.resize(std::max(label.size() + 1, kSummaryLabel), ' ');
    return label + text + '\n';
}

// As many parts as a line holds; the rest is in the full report.
std::string Fitting(const std::vector<std::string>& parts)
{
    std::string text;
    for (const std::string& part : parts)
    {
        const std::string longer = text.empty() ? part : text + ", " + part;
        if (!part.empty() && longer.size() <= kSummaryWidth - kSummaryLabel)
            text = longer;
    }
    return text;
}

std::string PerSecondText(uint64_t bits)
{
    if (bits == 0)
        return {};
    if (bits < 10'000'000)
        return Format("{:.{}f} kbit/s", static_cast<double>(bits) / 1e3, bits < 10'000 ? 1 : 0);
    return Format("{:.1f} Mbit/s", static_cast<double>(bits) / 1e6);
}

std::string RateNumber(SKrUnitRate rate)
{
    if (rate.rate % rate.scale == 0)
        return std::to_string(rate.rate / rate.scale);
    return Format("{:.3f}", static_cast<double>(rate.rate) / rate.scale);
}

std::string RateText(SKrUnitRate rate)
{
    return rate.IsValid() ? Format("{} fps ({}/{})", RateNumber(rate), rate.rate, rate.scale)
                          : std::string("no frame rate");
}

std::string CodecText(const std::string& codec, const std::string& id)
{
    const std::string known =
        codec.size() > kLongestCodec ? codec.substr(0, kLongestCodec - 3) + "..." : codec;
    return known.empty() ? "codec " + id : known + ' ' + id;
}

std::string FourCcInWords(uint32_t compression)
{
    return compression > 0xFF ? Format("'{}'", FourCcText(compression)) : Format("({})", compression);
}

std::string PictureCodec(const SKrStreamSummary& stream)
{
    const SKrPictureFacts& picture = stream.picture;
    std::string text = CodecText(stream.codec, FourCcInWords(picture.compression));
    if (picture.compression == 0)
        text += Format(", {} bits", picture.bitCount);
    return text;
}

std::string AspectText(const SKrDisplayAspect& aspect)
{
    if (aspect.source == EKrFactSource::None)
        return "aspect not stored";
    constexpr uint32_t kMostInRatio = 100;
    if (aspect.horizontal <= kMostInRatio && aspect.vertical <= kMostInRatio)
        return Format("aspect {}:{}", aspect.horizontal, aspect.vertical);
    return Format("aspect {:.3f}", static_cast<double>(aspect.horizontal) / aspect.vertical);
}

const char* ScanText(const SKrPictureFacts& picture)
{
    switch (picture.scan)
    {
    case EKrScanMode::UpperFieldFirst:
        return "upper field first";
    case EKrScanMode::LowerFieldFirst:
        return "lower field first";
    case EKrScanMode::Progressive:
        return "progressive";
    default:
        return picture.isInterlaced ? "interlaced" : "";
    }
}

std::string WithSource(const std::string& text, EKrFactSource source)
{
    return source == EKrFactSource::None ? text : Format("{} ({})", text, SourceName(source));
}

std::string KeyFramesText(const SKrStreamSummary& stream)
{
    if (!stream.keyUnits)
        return "key frames unknown";
    return *stream.keyUnits == stream.chunks ? "all key frames" : Counted(*stream.keyUnits, "key frame");
}

std::string ShapeLine(const SKrStreamSummary& stream)
{
    const SKrPictureFacts& picture = stream.picture;
    const std::string keys = KeyFramesText(stream);
    const std::string aspect = AspectText(picture.aspect);
    const std::string scan = ScanText(picture);
    if (scan.empty())
        return Fitting({keys, WithSource(aspect, picture.aspect.source)});
    const std::string scanWithSource = WithSource(scan, picture.scanSource);
    if (picture.scanSource == picture.aspect.source)
        return Fitting({keys, aspect, scanWithSource});
    const std::string text = Fitting({keys, WithSource(aspect, picture.aspect.source), scanWithSource});
    // Where the sources do not fit, the facts matter more.
    return text.ends_with(scanWithSource) ? text : Fitting({keys, aspect, scan});
}

std::string VideoLine(const SKrStreamSummary& stream)
{
    return Fitting({PictureCodec(stream), Format("{} x {}", stream.picture.width, stream.picture.height),
                    RateText(stream.rate),
                    stream.start > 0 ? Format("starts {:.3f} s late", stream.start) : ""});
}

std::string ChannelsText(uint16_t channels)
{
    if (channels == 1 || channels == 2)
        return channels == 1 ? "mono" : "stereo";
    return Counted(channels, "channel");
}

std::string AudioLine(const SKrStreamSummary& stream)
{
    const SKrAudioFormat& sound = stream.sound;
    return Fitting(
        {CodecText(stream.codec, Format("(0x{:04X})", sound.formatTag)), Format("{} Hz", sound.samplesPerSec),
         ChannelsText(sound.channels),
         sound.bitsPerSample != 0 && sound.IsUncompressed() ? Counted(sound.bitsPerSample, "bit") : "",
         PerSecondText(stream.bitsPerSecond),
         stream.start > 0 ? Format("starts {:.3f} s late", stream.start) : "",
         stream.seconds ? Format("{:.3f} s", *stream.seconds) : ""});
}

std::string StreamName(const SKrStreamSummary& stream)
{
    return Format("{} {}", KindName(stream.kind), stream.number);
}

std::string OtherLine(const SKrStreamSummary& stream)
{
    return Fitting(
        {Format("type '{}'", FourCcText(stream.type)), Counted(stream.chunks.value_or(0), "chunk")});
}

// What the streams that find no place are.
std::string RestLine(const std::vector<SKrStreamSummary>& streams, size_t first)
{
    std::vector<std::string> parts;
    for (size_t place = first; place < streams.size(); ++place)
        parts.push_back(StreamName(streams[place]) +
                        (streams[place].codec.empty() ? "" : ' ' + streams[place].codec));
    const std::string names = Fitting(parts);
    const std::string whole = Joined(parts, ", ");
    return names.size() == whole.size() ? names : Counted(parts.size(), "stream") + "; see --full";
}

std::string StreamLines(const std::vector<SKrStreamSummary>& streams)
{
    std::string text;
    size_t left = kMostStreamLines;
    for (size_t place = 0; place < streams.size(); ++place)
    {
        const SKrStreamSummary& stream = streams[place];
        const bool isVideo = stream.kind == EKrStreamKind::Video;
        const size_t needed = (isVideo ? 2 : 1) + (place + 1 < streams.size() ? 1 : 0); // one for the rest
        if (needed > left)
            return text + SummaryLine("and", RestLine(streams, place));
        left -= isVideo ? 2 : 1;
        if (isVideo)
            text += SummaryLine(StreamName(stream), VideoLine(stream)) + SummaryLine("", ShapeLine(stream));
        else if (stream.kind == EKrStreamKind::Audio)
            text += SummaryLine(StreamName(stream), AudioLine(stream));
        else
            text += SummaryLine(StreamName(stream), OtherLine(stream));
    }
    return text;
}

// HH:MM:SS:FF at the rate of the picture; HH:MM:SS.mmm without one.
std::string DurationText(const SKrFileSummary& summary)
{
    if (!summary.seconds)
        return "unknown";
    const SKrStreamSummary* const video = summary.FirstVideo();
    if (video != nullptr && video->rate.IsValid())
    {
        const double frames = *summary.seconds * video->rate.rate / video->rate.scale;
        return FrameTimeText(static_cast<uint64_t>(std::floor(frames + 1e-6)), video->rate);
    }
    const auto thousandths = static_cast<uint64_t>(std::llround(*summary.seconds * 1000));
    const uint64_t whole = thousandths / 1000;
    return Format("{:02}:{:02}:{:02}.{:03}", whole / 3600, whole / 60 % 60, whole % 60, thousandths % 1000);
}

// "00:00:02:01 (2.040 s, 51 frames)"
std::string DurationWithFrames(const SKrFileSummary& summary)
{
    std::vector<std::string> parts;
    if (summary.seconds)
        parts.push_back(Format("{:.3f} s", *summary.seconds));
    if (const SKrStreamSummary* const video = summary.FirstVideo())
        parts.push_back(Counted(video->units, "frame"));
    const std::string text = DurationText(summary);
    return parts.empty() ? text : Format("{} ({})", text, Joined(parts, ", "));
}

Json FractionJson(SKrUnitRate rate)
{
    if (!rate.IsValid())
        return nullptr;
    return {{"rate", rate.rate},
            {"scale", rate.scale},
            {"perSecond", static_cast<double>(rate.rate) / rate.scale}};
}

void AddPictureJson(const SKrStreamSummary& stream, Json& row)
{
    const SKrPictureFacts& picture = stream.picture;
    row["fourCc"] = picture.compression > 0xFF ? Json(FourCcText(picture.compression)) : Json();
    row["width"] = picture.width;
    row["height"] = picture.height;
    row["bitsPerPixel"] = picture.bitCount;
    row["topDown"] = picture.isTopDown;
    row["frameRate"] = FractionJson(stream.rate);
    row["frames"] = stream.units;
    row["keyFrames"] = stream.keyUnits ? Json(*stream.keyUnits) : Json();
    const SKrDisplayAspect& aspect = picture.aspect;
    row["displayAspect"] = aspect.source == EKrFactSource::None
                               ? Json()
                               : Json({{"horizontal", aspect.horizontal},
                                       {"vertical", aspect.vertical},
                                       {"source", SourceName(aspect.source)}});
    const std::string scan = ScanText(picture);
    row["scan"] = scan.empty() ? Json() : Json({{"mode", scan}, {"source", SourceName(picture.scanSource)}});
}

Json StreamJson(const SKrStreamSummary& stream)
{
    Json row = {{"number", stream.number},
                {"kind", KindName(stream.kind)},
                {"codec", stream.codec.empty() ? Json() : Json(stream.codec)}};
    if (stream.kind == EKrStreamKind::Video)
    {
        AddPictureJson(stream, row);
    }
    else if (stream.kind == EKrStreamKind::Audio)
    {
        row["formatTag"] = stream.sound.formatTag;
        row["samplesPerSecond"] = stream.sound.samplesPerSec;
        row["channels"] = stream.sound.channels;
        row["bitsPerSample"] = stream.sound.bitsPerSample;
    }
    row["chunks"] = stream.chunks ? Json(*stream.chunks) : Json();
    row["startSeconds"] = stream.start;
    row["seconds"] = stream.seconds ? Json(*stream.seconds) : Json();
    row["bitsPerSecond"] = stream.bitsPerSecond != 0 ? Json(stream.bitsPerSecond) : Json();
    return row;
}
} // namespace

std::string HealthText(const SKrFileSummary& summary)
{
    switch (summary.health.state)
    {
    case EKrHealth::Complete:
        return "complete";
    case EKrHealth::BeingRecorded:
        return "being recorded";
    case EKrHealth::NotClosed:
        return "recording was not closed";
    case EKrHealth::Truncated:
        return Format("truncated at {} ({} missing)", summary.bytes,
                      Counted(summary.health.missingBytes, "byte"));
    default:
        return "no AVI headers: bare chunks";
    }
}

std::string SummaryText(const std::string& path, const SKrFileSummary& summary)
{
    std::string text = SummaryLine("file", Printable(path));
    text +=
        SummaryLine("container", Fitting({summary.container,
                                          summary.segments > 1 ? Counted(summary.segments, "segment") : "",
                                          Counted(summary.bytes, "byte")}));
    text +=
        SummaryLine("duration", Fitting({DurationWithFrames(summary), PerSecondText(summary.bitsPerSecond)}));
    text += StreamLines(summary.streams);
    const bool isWell =
        summary.health.state == EKrHealth::Complete || summary.health.state == EKrHealth::BeingRecorded;
    const EKrColour colour = isWell ? EKrColour::Green : EKrColour::Red;
    return text + SummaryLine("health", Coloured(colour, HealthText(summary)));
}

std::string BriefSummary(const SKrFileSummary& summary)
{
    std::vector<std::string> parts = {summary.container, DurationText(summary),
                                      Counted(summary.bytes, "byte")};
    for (const SKrStreamSummary& stream : summary.streams)
    {
        const SKrPictureFacts& picture = stream.picture;
        const std::string name = stream.codec.empty() ? StreamName(stream) : stream.codec;
        if (stream.kind == EKrStreamKind::Video)
            parts.push_back(
                Format("{} {}x{} {}", name, picture.width, picture.height,
                       stream.rate.IsValid() ? RateNumber(stream.rate) + " fps" : "without a rate"));
        else if (stream.kind == EKrStreamKind::Audio)
            parts.push_back(
                Format("{} {} Hz {}", name, stream.sound.samplesPerSec, ChannelsText(stream.sound.channels)));
        else
            parts.push_back(name);
    }
    parts.push_back(HealthText(summary));
    return Joined(parts, ", ");
}

std::string TagsText(const std::vector<SKrInfoTag>& tags)
{
    std::string text;
    for (const SKrInfoTag& tag : tags)
        text += SummaryLine(tag.name.empty() ? Format("'{}'", FourCcText(tag.id)) : tag.name,
                            Printable(tag.text));
    return text;
}

Json SummaryJson(const SKrFileSummary& summary)
{
    Json streams = Json::array();
    for (const SKrStreamSummary& stream : summary.streams)
        streams.push_back(StreamJson(stream));
    static constexpr const char* kHealth[] = {"complete", "being recorded", "not closed", "truncated",
                                              "no headers"};
    return {{"container", summary.container},
            {"segments", summary.segments},
            {"bytes", summary.bytes},
            {"seconds", summary.seconds ? Json(*summary.seconds) : Json()},
            {"duration", summary.seconds ? Json(DurationText(summary)) : Json()},
            {"bitsPerSecond", summary.bitsPerSecond != 0 ? Json(summary.bitsPerSecond) : Json()},
            {"health", kHealth[static_cast<size_t>(summary.health.state)]},
            {"missingBytes", summary.health.missingBytes},
            {"streams", streams}};
}

Json TagsJson(const std::vector<SKrInfoTag>& tags)
{
    Json rows = Json::array();
    for (const SKrInfoTag& tag : tags)
        rows.push_back({{"id", FourCcText(tag.id)},
                        {"name", tag.name.empty() ? Json() : Json(tag.name)},
                        {"text", Printable(tag.text)}});
    return rows;
}
} // namespace KrTool
