#include "tools/copier/KrStreamChoice.h"

#include "format/KrBytes.h"
#include "format/KrFourCC.h"
#include "format/KrFrameTables.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/output/KrRecordingOptions.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <vector>

namespace KrTool
{
namespace
{
constexpr uint32_t kMicrosecondsInAll = 1'000'000;

void CheckKind(const SKrCarriedSource& source, uint64_t number, uint32_t type, const char* name)
{
    const std::vector<SKrCarriedStream>& streams = source.header.streams;
    if (number >= streams.size())
        throw CKrToolError(source.file->Path(), Format("there is no stream {}: the file has {}", number,
                                                       Counted(streams.size(), "stream")));
    const uint32_t itsType = streams[number].Fields().type;
    if (itsType != type)
        throw CKrToolError(source.file->Path(),
                           Format("stream {} is of type '{}', not {}", number, FourCcText(itsType), name));
}

bool IsTaken(uint32_t type, uint32_t number, const SKrStreamChoice& choice)
{
    if (type == kFccVids)
        return !choice.video || *choice.video == number;
    if (type == kFccAuds)
        return !choice.noAudio && (!choice.audio || *choice.audio == number);
    return true;
}

bool ParseNumber(std::string_view text, uint32_t& value)
{
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && last == end;
}
} // namespace

void TakeStreams(SKrCarriedSource& source, const SKrStreamChoice& choice)
{
    constexpr uint8_t kLeftOut = 0xFF;
    if (choice.video)
        CheckKind(source, *choice.video, kFccVids, "video");
    if (choice.audio)
        CheckKind(source, *choice.audio, kFccAuds, "audio");
    std::vector<uint8_t> numbers;
    std::vector<SKrCarriedStream> taken;
    for (uint32_t number = 0; number < source.header.streams.size(); ++number)
    {
        const bool isTaken = IsTaken(source.header.streams[number].Fields().type, number, choice);
        numbers.push_back(isTaken ? static_cast<uint8_t>(taken.size()) : kLeftOut);
        if (isTaken)
            taken.push_back(std::move(source.header.streams[number]));
    }
    source.header.streams = std::move(taken);
    std::erase_if(source.chunks, [&numbers](auto& chunk) { return numbers[chunk.stream] == kLeftOut; });
    for (SKrCarriedChunk& chunk : source.chunks)
        chunk.stream = numbers[chunk.stream];
}

SKrFraction ParseRate(const std::string& text)
{
    const size_t slash = text.find('/');
    SKrFraction fraction;
    if (slash == std::string::npos)
    {
        uint32_t whole = 0;
        if (ParseNumber(text, whole) && whole != 0)
            return {whole, 1};
        const SKrFrameRate named = KrFrameRates()[ParseFrameRate(text)];
        return {named.rate, named.scale};
    }
    const std::string_view parts = text;
    if (!ParseNumber(parts.substr(0, slash), fraction.rate) ||
        !ParseNumber(parts.substr(slash + 1), fraction.scale) || fraction.rate == 0 || fraction.scale == 0)
        throw CKrToolError({}, Format("'{}' is not a frame rate such as 25, 29.97 or 30000/1001", text));
    return fraction;
}

void TakeRate(SKrCarriedSource& source, const SKrStreamChoice& choice)
{
    if (choice.rate.empty())
        return;
    const SKrFraction wanted = ParseRate(choice.rate);
    const std::optional<uint32_t> video = FirstStreamOfType(source.header, kFccVids);
    if (!video)
        throw CKrToolError(source.file->Path(), "it has no video stream for --rate");
    source.header.streams[*video].SetRate(wanted.rate, wanted.scale);
    if (source.header.mainHeader.size() >= sizeof(uint32_t))
        PutLe32(source.header.mainHeader.data(),
                static_cast<uint32_t>(std::min<uint64_t>(
                    uint64_t{kMicrosecondsInAll} * wanted.scale / wanted.rate, UINT32_MAX)));
}
} // namespace KrTool
