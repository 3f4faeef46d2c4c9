#include "tools/avi/KrChunkIds.h"

#include "format/KrFourCC.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace KrTool
{
namespace
{
constexpr uint32_t kHexadecimalNumbers = 100; // larger numbers are not from an id

struct SKrEnding
{
    uint32_t id; // with any number
    EKrContent content;
};
constexpr std::array<SKrEnding, 7> kEndings = {{{KrFourCC("00dc"), EKrContent::Video},
                                                {KrFourCC("00db"), EKrContent::Video},
                                                {KrFourCC("00wb"), EKrContent::Audio},
                                                {KrFourCC("00tx"), EKrContent::Text},
                                                {KrFourCC("00sb"), EKrContent::Text},
                                                {KrFourCC("00pc"), EKrContent::Other},
                                                {KrFourCC("00__"), EKrContent::Other}}};

} // namespace

const char* KindName(EKrStreamKind kind)
{
    static constexpr const char* kNames[] = {"video", "audio", "other"};
    return kNames[static_cast<size_t>(kind)];
}

std::optional<EKrContent> ContentOf(uint32_t id)
{
    const auto* const found =
        std::ranges::find(kEndings, id >> 16, [](const SKrEnding& ending) { return ending.id >> 16; });
    return found != kEndings.end() ? std::optional(found->content) : std::nullopt;
}

bool IsOfKind(EKrContent content, EKrStreamKind kind)
{
    if (kind == EKrStreamKind::Other)
        return true; // programs use any ending
    return content == (kind == EKrStreamKind::Video ? EKrContent::Video : EKrContent::Audio);
}

std::optional<uint32_t> StreamDigits(uint32_t id)
{
    const std::array<char, 2> digits = {KrFourCCChar(id, 0), KrFourCCChar(id, 1)};
    const char* const end = digits.data() + digits.size();
    uint32_t number = 0;
    const bool isNumber = std::from_chars(digits.data(), end, number, 16).ptr == end;
    return isNumber ? std::optional(number) : std::nullopt;
}

std::optional<SKrDataTag> DataTagOf(uint32_t id, size_t streamCount)
{
    const std::optional<EKrContent> content = ContentOf(id);
    const std::optional<uint32_t> number = StreamDigits(id);
    if (!content || !number)
        return std::nullopt;
    const bool isDecimal = *number / 16 < 10 && *number % 16 < 10;
    if (!isDecimal && *number >= kHexadecimalNumbers)
        return std::nullopt;
    const uint32_t decimal = *number / 16 * 10 + *number % 16;
    return SKrDataTag{isDecimal && *number >= streamCount && decimal < streamCount ? decimal : *number,
                      *content};
}

uint32_t DataIdOfIndex(uint32_t indexId)
{
    return indexId >> 16 | KrFourCC("\0\0dc");
}

bool IsStandardIndexId(uint32_t id)
{
    return KrFourCCChar(id, 0) == 'i' && KrFourCCChar(id, 1) == 'x' && DataTagOf(DataIdOfIndex(id), 0);
}
} // namespace KrTool
