#include "tools/info/KrFullInfo.h"

#include "format/KrAviIndexes.h"
#include "format/KrFrameTables.h"
#include "format/KrPrivateChunks.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrChunkWalk.h"
#include "tools/avi/KrStreamChunks.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>

namespace KrTool
{
namespace
{
Json Named(const Json& value, const std::string& name)
{
    return {{"value", value}, {"name", name}};
}

std::string Fraction(int64_t left, const char* sign, int64_t right)
{
    return Format("{}{}{}", left, sign, right);
}

// Whether a stream has a rate, with a tolerance of half a thousandth.
bool IsRateOf(const SKrFrameRate& named, const SKrAviStream& stream)
{
    const uint64_t is = uint64_t{stream.rate} * named.scale;
    const uint64_t wanted = uint64_t{stream.scale} * named.rate;
    return std::max(is, wanted) - std::min(is, wanted) <= wanted / 2000;
}

// Frame rate as hosts see it: one of eight codes, the nearest for other rates.
Json FrameRateJson(uint32_t code, const SKrAviStream* stream, std::vector<std::string>& notes)
{
    if (code >= KrFrameRates().size())
        return nullptr;
    const SKrFrameRate& named = KrFrameRates()[code];
    const std::string fraction = Fraction(named.rate, "/", named.scale);
    if (stream == nullptr || IsRateOf(named, *stream))
        return {{"code", code}, {"fraction", fraction}, {"framesPerSecond", named.name}};
    notes.push_back(Format("the reader has no code for {} frames per second; hosts see {}",
                           Fraction(stream->rate, "/", stream->scale), named.name));
    return nullptr;
}

Json ScanModeJson(EKrScanMode mode)
{
    static constexpr std::array kNames = {"not set", "upper field first", "lower field first", "progressive"};
    const auto value = static_cast<int32_t>(mode); // the first is -1
    const bool isKnown = mode >= EKrScanMode::Unknown && mode <= EKrScanMode::Progressive;
    return Named(value, isKnown ? kNames[static_cast<size_t>(value + 1)] : "no such mode");
}

// A value that the reader concludes from the size of the picture, where the file declares none.
Json Guessed(Json value, bool isGuessed)
{
    value["guessed"] = isGuessed;
    return value;
}

Json AspectModeJson(uint32_t mode)
{
    static const std::map<uint32_t, const char*> kNames = {{0, "4:3"}, {1, "16:9"}, {3, "size not known"}};
    const auto name = kNames.find(mode);
    return Named(mode, name != kNames.end() ? name->second : "no such mode");
}

std::string SizeText(int64_t width, int64_t height)
{
    return Fraction(width, " x ", height);
}

Json ChunkIdJson(uint32_t id)
{
    return id == 0 ? Json() : Json(FourCcText(id));
}

Json CompressionJson(uint32_t compression)
{
    return compression == 0 ? Json("0") : Json(FourCcText(compression));
}

// The number of entries of an index; reports its defects.
Json IndexedChunks(const CKrAviFile& file, const std::optional<Chunks>& index, const std::string& name,
                   CKrReport& report)
{
    if (!index)
        return nullptr;
    if (!IsPlausible(file, *index))
        report.Finding(Format("the chunks of the {} index are larger in total than the file", name));
    if (const uint64_t cut = CountCutChunks(file, *index); cut != 0)
        report.Finding(Format("past the end of the file: {} of the {} index", Counted(cut, "chunk"), name));
    return index->size();
}

std::string FramesText(const Json& video)
{
    const Json& before = video["framesBeforeIndexLoad"];
    const Json& after = video["framesAfterIndexLoad"];
    if (after.is_null())
        return Format("{} (no index)", JsonText(before));
    return Format("{} (headers {}, index {})", JsonText(after), JsonText(before),
                  JsonText(video["indexEntries"]));
}

// What the indexes of streams say that the reader's own operations do not cover.
void ReportIndex(const CKrAviFile& file, const SKrAviFacts& facts, const SKrAviStream* stream,
                 const std::optional<Chunks>& ofReader, CKrReport& report)
{
    const char* const name = stream == nullptr || stream->IsVideo() ? "video" : "audio";
    std::optional<uint64_t> entries;
    if (ofReader)
        entries = ofReader->size();
    else if (const auto index = stream != nullptr ? LoadStreamIndex(file, stream->number) : std::nullopt;
             index && !index->entries.empty())
        entries = index->entries.size();
    if (!entries)
        report.Finding(Format("no {} index can be loaded", name));
    else if (stream != nullptr && stream->IsVideo() && *entries < DeclaredFrames(facts))
        report.Finding(Format("the video index has {}, the headers declare {}", Counted(*entries, "frame"),
                              DeclaredFrames(facts)));
}

// Whether the file stores a pixel aspect ratio that leads to another aspect than 4:3 or 16:9: hosts then get
// that of the size.
bool IsContradicted(const CKrAviFile& file, const SKrAviVideoParams& format)
{
    int horizontal = 0;
    int vertical = 0;
    if (format.aspectMode > kAspectMode16x9 ||
        KrRiffUtils::GetAviPixelAspectRatio(&file.Reader(), horizontal, vertical) == 0 || vertical == 0)
        return false;
    const double stored =
        static_cast<double>(format.width) * horizontal / (static_cast<double>(format.height) * vertical);
    const double named = format.aspectMode == kAspectMode4x3 ? 4.0 / 3 : 16.0 / 9;
    return stored < named * 0.97 || stored > named * 1.03; // 720 pixels are shown for 704 that count
}

void AddVideoFormat(const CKrAviFile& file, const SKrVideoAnswer& answer, const SKrAviStream* stream,
                    Json& video, std::vector<std::string>& notes)
{
    const SKrAviVideoParams& format = answer.format;
    const SKrAviVideoParams declared = DeclaredVideo(file).format;
    video["size"] = SizeText(format.width, format.height);
    video["displaySize"] = SizeText(format.displayWidth, format.displayHeight);
    video["frameRate"] = FrameRateJson(format.frameRate, stream, notes);
    video["scanMode"] = Guessed(ScanModeJson(static_cast<EKrScanMode>(format.scanMode)),
                                declared.scanMode != format.scanMode);
    video["aspectMode"] = Guessed(AspectModeJson(format.aspectMode),
                                  declared.aspectMode != format.aspectMode || IsContradicted(file, format));
    video["compression"] = CompressionJson(answer.compression);
    video["bitCount"] = answer.bitCount;
}

Json VideoJson(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report,
               std::vector<std::string>& notes)
{
    const uint32_t framesBefore = SKrVideoAnswer(file.Reader()).frames;
    const std::optional<Chunks> index = LoadIndex(file, EKrStreamKind::Video);
    const SKrVideoAnswer answer(file.Reader());

    Json video = {{"chunkId", ChunkIdJson(answer.chunkId)}};
    const SKrAviStream* const stream = FirstVideoStream(facts);
    if (answer.isValid == 0 && answer.chunkId == 0 && stream == nullptr)
        return nullptr;
    if (stream != nullptr)
        video["stream"] = stream->number;
    if (answer.isValid != 0)
        AddVideoFormat(file, answer, stream, video, notes);
    else
        notes.emplace_back("the reader does not take the format of the picture: hosts see no video");
    video["framesBeforeIndexLoad"] = framesBefore;
    video["framesAfterIndexLoad"] = index ? Json(answer.frames) : Json();
    video["indexEntries"] = IndexedChunks(file, index, "video", report);
    ReportIndex(file, facts, stream, index, report);
    return video;
}

// Marks the name of a value that is a guess.
Json WithGuess(Json value)
{
    if (value.is_object() && value.value("guessed", false))
        value["name"] = value["name"].get<std::string>() + ", guessed from the size";
    return value;
}

// One line for the three frame counts, and what aspect mode 3 means.
Json VideoText(const Json& video)
{
    Json text;
    for (const auto& member : video.items())
    {
        if (member.key() == "framesBeforeIndexLoad")
            text["frames"] = FramesText(video);
        else if (member.key() == "aspectMode" && member.value()["value"] == kAspectModeUnknown)
            text["pixelAspect"] = "not stored";
        else if (member.key() != "framesAfterIndexLoad" && member.key() != "indexEntries")
            text[member.key()] = WithGuess(member.value());
    }
    return text;
}

Json AudioFormatJson(const SKrWaveFormatInfo& format)
{
    return {{"formatTag", format.formatTag},           {"channels", format.channels},
            {"samplesPerSec", format.samplesPerSec},   {"bitsPerSample", format.bitsPerSample},
            {"avgBytesPerSec", format.avgBytesPerSec}, {"blockAlign", format.blockAlign}};
}

Json AudioJson(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report,
               std::vector<std::string>& notes)
{
    SKrWaveFormatInfo format = {};
    int valid = 0;
    uint32_t chunkId = 0;
    double duration = 0;
    const bool hasChunks = file.Reader().GetAudioStreamInfo(&format, &valid, &chunkId, &duration) != 0;
    const SKrAviStream* const stream = FirstUsableAudioStream(facts);
    if (const std::string text = UnindexedSoundText(facts); !text.empty())
        notes.push_back(text);
    if (!hasChunks && stream == nullptr)
        return nullptr;
    Json audio = {{"chunkId", ChunkIdJson(chunkId)}};
    if (stream != nullptr)
        audio["stream"] = stream->number;
    audio["format"] = valid != 0 ? AudioFormatJson(format) : Json();
    audio["duration"] = valid != 0 ? Json(duration) : Json();
    const std::optional<Chunks> index = LoadIndex(file, EKrStreamKind::Audio);
    audio["indexEntries"] = IndexedChunks(file, index, "audio", report);
    if (stream != nullptr)
        ReportIndex(file, facts, stream, index, report);
    return audio;
}

Json SegmentsJson(const CKrAviFile& file, const SKrAviFacts& facts)
{
    Json segments = Json::array();
    for (const SKrRiffChunkInfo& segment : facts.segments)
        segments.push_back({{"form", FourCcText(segment.fccType)},
                            {"position", HeaderPosition(segment)},
                            {"size", segment.cksize},
                            {"complete", EndPosition(segment) <= file.Length()}});
    return segments;
}

Json StreamsJson(const CKrAviFile& file, const SKrAviFacts& facts)
{
    Json streams = Json::array();
    for (const SKrAviStream& stream : facts.streams)
    {
        Json row = {{"number", stream.number},
                    {"type", FourCcText(stream.type)},
                    {"handler", FourCcText(stream.handler)},
                    {"rate", Fraction(stream.rate, "/", stream.scale)},
                    {"start", stream.start},
                    {"length", stream.length},
                    {"sampleSize", stream.sampleSize},
                    {"formatBytes", stream.format.size()}};
        if (stream.IsAudio())
        {
            const SKrAudioFormat format = AudioFormat(stream);
            row["formatTag"] = format.formatTag;
            row["channels"] = format.channels;
            row["samplesPerSec"] = format.samplesPerSec;
        }
        const std::optional<SKrStreamIndex> index = LoadStreamIndex(file, stream.number);
        row["indexEntries"] = index ? Json(index->entries.size()) : Json();
        row["superIndex"] = stream.superIndexPosition ? Json(*stream.superIndexPosition) : Json();
        if (!stream.name.empty())
            row["name"] = Printable(stream.name);
        streams.push_back(std::move(row));
    }
    return streams;
}

Json PrivateScanModeJson(const CKrAviFile& file, int flavour)
{
    constexpr auto kUntouched = static_cast<EKrScanMode>(-2);
    EKrScanMode mode = kUntouched;
    KrRiffUtils::GetAviScanModeFromPrivateChunk(&file.Reader(), flavour, mode);
    return mode == kUntouched ? Json() : ScanModeJson(mode);
}

Json PrivateAspectJson(const CKrAviFile& file, int flavour)
{
    int horizontal = 0;
    int vertical = 0;
    if (KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk(&file.Reader(), flavour, horizontal, vertical) ==
        0)
        return nullptr;
    return Fraction(static_cast<uint32_t>(horizontal), ":", static_cast<uint32_t>(vertical));
}

// The ids of a flavour's chunks, last one first.
std::string NamesOfFlavour(int flavour)
{
    std::string names;
    for (const SKrPrivateChunkKind& kind : kPrivateChunkKinds)
    {
        if (kind.flavour == flavour)
            names = FourCcText(kind.id) + (names.empty() ? "" : ", ") + names;
    }
    return names;
}

Json PrivateChunksJson(const CKrAviFile& file)
{
    Json chunks = Json::array();
    for (int flavour = 1; flavour <= std::end(kPrivateChunkKinds)[-1].flavour; ++flavour)
        chunks.push_back({{"flavour", flavour},
                          {"chunks", NamesOfFlavour(flavour)},
                          {"scanMode", PrivateScanModeJson(file, flavour)},
                          {"pixelAspect", PrivateAspectJson(file, flavour)}});
    return chunks;
}

Json IndexKindsJson(const SKrAviFacts& facts)
{
    Json superIndexes = Json::array();
    for (const SKrAviStream& stream : facts.streams)
    {
        if (stream.superIndexPosition)
            superIndexes.push_back(stream.number);
    }
    Json idx1;
    if (facts.idx1)
        idx1 = {{"position", HeaderPosition(*facts.idx1)},
                {"entries", facts.idx1->cksize / SKrOldIndexEntry::kEncodedSize}};
    return {
        {"idx1", idx1},
        {"indxOfStreams", superIndexes},
        {"announced", facts.hasMainHeader ? Json((facts.mainHeader.flags & kAvifHasIndex) != 0) : Json()}};
}
} // namespace

SKrFullInfo ReadFullInfo(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report)
{
    SKrFullInfo info;
    const Json video = VideoJson(file, facts, report, info.hostNotes);
    info.facts.push_back({"video", video, VideoText(video)});
    const Json audio = AudioJson(file, facts, report, info.hostNotes);
    info.facts.push_back({"audio", audio, audio});
    const auto add = [&info](const char* key, const Json& value)
    {
        info.facts.push_back({key, value, value});
    };
    add("streams", StreamsJson(file, facts));
    add("privateChunks", PrivateChunksJson(file));
    add("indexes", IndexKindsJson(facts));
    info.facts.insert(info.facts.begin(), {"segments", SegmentsJson(file, facts), SegmentsJson(file, facts)});
    return info;
}
} // namespace KrTool
