#include "tools/verify/KrChunkKinds.h"

#include "format/KrFourCC.h"
#include "tools/recover/KrChunkMark.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr uint32_t kInSegment = ListBit(EKrListKind::Segment);
constexpr uint32_t kInHdrl = ListBit(EKrListKind::Hdrl);
constexpr uint32_t kInStrl = ListBit(EKrListKind::Strl);
constexpr uint32_t kMoviAlone = ListBit(EKrListKind::Movi);
constexpr uint32_t kAnywhere = ~ListBit(EKrListKind::File);

constexpr SKrChunkKind kChunks[] = {
    {kFccAvih, kInHdrl, EKrBytes::Headers},         {kFccStrh, kInStrl, EKrBytes::Headers},
    {kFccStrf, kInStrl, EKrBytes::Headers},         {KrFourCC("strn"), kInStrl, EKrBytes::Headers},
    {KrFourCC("strd"), kInStrl, EKrBytes::Headers}, {KrFourCC("vprp"), kInStrl, EKrBytes::Headers},
    {KrFourCC("indx"), kInStrl, EKrBytes::Indexes}, {kFccDmlh, ListBit(EKrListKind::Odml), EKrBytes::Headers},
    {kFccIdx1, kInSegment, EKrBytes::Indexes},      {kFccKrlA, kInSegment, EKrBytes::Private},
    {kFccPrmA, kInSegment, EKrBytes::Private},      {kFccCtsI, kInSegment, EKrBytes::Private},
    {KrFourCC("IDIT"), kAnywhere, EKrBytes::Other}, {KrFourCC("ISMP"), kAnywhere, EKrBytes::Other},
    {KrFourCC("ISFT"), kAnywhere, EKrBytes::Other}, {kFccJunk, kAnywhere, EKrBytes::Filler},
};

constexpr SKrListKind kLists[] = {
    {kFccHdrl, kInSegment, EKrListKind::Hdrl},
    {kFccStrl, kInHdrl, EKrListKind::Strl},
    {kFccOdml, kInHdrl, EKrListKind::Odml},
    {kFccMovi, kInSegment, EKrListKind::Movi},
    {KrFourCC("rec "), kMoviAlone, EKrListKind::Rec},
    {KrFourCC("INFO"), kInSegment | kInHdrl | kInStrl, EKrListKind::Info},
};

struct SKrEnding
{
    std::string_view characters; // the last two of an id
    EKrContent content;
};
constexpr std::array<SKrEnding, 7> kEndings = {{{"dc", EKrContent::Video},
                                                {"db", EKrContent::Video},
                                                {"wb", EKrContent::Audio},
                                                {"tx", EKrContent::Text},
                                                {"sb", EKrContent::Text},
                                                {"pc", EKrContent::Other},
                                                {"__", EKrContent::Other}}};
} // namespace

const SKrChunkKind* KindOfChunk(uint32_t id)
{
    const auto* const found = std::ranges::find(kChunks, id, &SKrChunkKind::id);
    return found == std::end(kChunks) ? nullptr : found;
}

const SKrListKind* KindOfList(uint32_t type)
{
    const auto* const found = std::ranges::find(kLists, type, &SKrListKind::type);
    return found == std::end(kLists) ? nullptr : found;
}

std::optional<SKrDataTag> DataTagOf(uint32_t id, size_t streamCount)
{
    const std::array<char, 2> characters = {KrFourCCChar(id, 2), KrFourCCChar(id, 3)};
    const auto* const ending =
        std::ranges::find(kEndings, std::string_view(characters.data(), 2), &SKrEnding::characters);
    if (ending == kEndings.end())
        return std::nullopt;
    constexpr uint32_t kVideoEnding = uint32_t{'d'} << 16 | uint32_t{'c'} << 24;
    const std::optional<SKrDataId> number = DataIdOf((id & 0xFFFF) | kVideoEnding, streamCount);
    if (!number)
        return std::nullopt;
    return SKrDataTag{number->stream, ending->content};
}

bool IsStandardIndexId(uint32_t id)
{
    return KrFourCCChar(id, 0) == 'i' && KrFourCCChar(id, 1) == 'x' &&
           DataTagOf(id >> 16 | uint32_t{'d'} << 16 | uint32_t{'c'} << 24, 0).has_value();
}
} // namespace KrTool
