#include "tools/avi/KrFrameRange.h"

#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrFrameTime.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbOptions.h"

#include <memory>

namespace KrTool
{
const char kWhatPlacesAre[] =
    R"(--from and --to name frames by number, from 0; by time, as 00:01:02:03 for frame 3 of those that begin 62 seconds
    after the first one; or by moment, as 62.12s: --from takes the first frame that begins then or later, --to the last
    one that begins before.)";

namespace
{
std::optional<SKrFramePlace> PlaceOf(const char* option, const std::string& text)
{
    if (text.empty())
        return std::nullopt;
    const std::optional<SKrFramePlace> place = ParseFramePlace(text);
    if (!place)
        throw CKrToolError(
            {}, Format("{}: '{}' is not a frame such as 250, 00:00:10:00 or 10.5s", option, Printable(text)));
    return place;
}

// Also of a file that is being recorded.
SKrAviFacts FactsOf(const std::string& path, CKrProgress& progress)
{
    std::unique_ptr<CKrAviFile> file;
    try
    {
        file = std::make_unique<CKrAviFile>(path, EKrOpening::Growing);
    }
    catch (const CKrToolError&)
    {
        file = std::make_unique<CKrAviFile>(path);
    }
    return ReadFacts(*file, progress);
}

SKrUnitRate RateOf(const std::string& path, std::optional<uint64_t> stream, CKrProgress& progress)
{
    const SKrAviFacts facts = FactsOf(path, progress);
    const SKrAviStream* video = FirstVideoStream(facts);
    if (stream)
        video = *stream < facts.streams.size() ? &facts.streams[static_cast<size_t>(*stream)] : nullptr;
    const SKrUnitRate rate =
        video != nullptr && video->IsVideo() ? SKrUnitRate{video->rate, video->scale} : SKrUnitRate();
    if (!rate.IsValid())
        throw CKrToolError(path, "its headers have no frame rate; give --from and --to as numbers of frames");
    return rate;
}

uint64_t Found(const char* option, const std::string& text, const std::optional<uint64_t>& frame)
{
    if (!frame)
        throw CKrToolError({}, Format("{}: no frame has the time {}", option, text));
    return *frame;
}
} // namespace

void AddRangeOptions(CKrVerbOptions& verb, SKrRangeOptions& range)
{
    verb.AddText("--from", range.from, "FRAME", "First frame: 250, 00:00:10:00 or 10.5s");
    verb.AddText("--to", range.to, "FRAME", "Last frame, likewise");
}

SKrFrameNumbers ReadRange(const SKrRangeOptions& range, const std::string& path,
                          std::optional<uint64_t> stream, CKrProgress& progress)
{
    const std::optional<SKrFramePlace> from = PlaceOf("--from", range.from);
    const std::optional<SKrFramePlace> to = PlaceOf("--to", range.to);
    const bool needsRate = (from && from->NeedsRate()) || (to && to->NeedsRate());
    const SKrUnitRate rate = needsRate ? RateOf(path, stream, progress) : SKrUnitRate();
    SKrFrameNumbers numbers = {.first = {}, .last = {}, .isByTime = needsRate};
    if (from)
        numbers.first = Found("--from", range.from, FirstFrameAt(*from, rate));
    if (to)
        numbers.last = Found("--to", range.to, LastFrameAt(*to, rate));
    if (numbers.first && numbers.last && *numbers.first > *numbers.last)
        throw CKrToolError({}, "--from is after --to");
    return numbers;
}
} // namespace KrTool
