#include "tools/avi/KrChunkKinds.h"

#include "format/KrFourCC.h"
#include "format/KrPrivateChunks.h"

#include <algorithm>
#include <iterator>

namespace KrTool
{
namespace
{
constexpr uint32_t kInSegment = ListBit(EKrListKind::Segment);
constexpr uint32_t kInHdrl = ListBit(EKrListKind::Hdrl);
constexpr uint32_t kInStrl = ListBit(EKrListKind::Strl);
constexpr uint32_t kAnywhere = ~ListBit(EKrListKind::File);

constexpr SKrChunkKind kChunks[] = {
    {kFccAvih, kInHdrl, EKrBytes::Headers},    {kFccStrh, kInStrl, EKrBytes::Headers},
    {kFccStrf, kInStrl, EKrBytes::Headers},    {kFccStrn, kInStrl, EKrBytes::Headers},
    {kFccStrd, kInStrl, EKrBytes::Headers},    {kFccVprp, kInStrl, EKrBytes::Headers},
    {kFccIndx, kInStrl, EKrBytes::Indexes},    {kFccDmlh, ListBit(EKrListKind::Odml), EKrBytes::Headers},
    {kFccIdx1, kInSegment, EKrBytes::Indexes}, {kFccIdit, kAnywhere, EKrBytes::Other},
    {kFccIsmp, kAnywhere, EKrBytes::Other},    {kFccIsft, kAnywhere, EKrBytes::Other},
    {kFccJunk, kAnywhere, EKrBytes::Filler},
};
constexpr SKrChunkKind kPrivateChunk = {0, kInSegment, EKrBytes::Private}; // each of kPrivateChunkKinds

constexpr SKrListKind kLists[] = {
    {kFccHdrl, kInSegment, EKrListKind::Hdrl},
    {kFccStrl, kInHdrl, EKrListKind::Strl},
    {kFccOdml, kInHdrl, EKrListKind::Odml},
    {kFccMovi, kInSegment, EKrListKind::Movi},
    {kFccRec, ListBit(EKrListKind::Movi), EKrListKind::Rec},
    {kFccInfo, kInSegment | kInHdrl | kInStrl, EKrListKind::Info},
};
} // namespace

const SKrChunkKind* KindOfChunk(uint32_t id)
{
    if (FindPrivateChunkKind(id) != nullptr)
        return &kPrivateChunk;
    const auto* const found = std::ranges::find(kChunks, id, &SKrChunkKind::id);
    return found == std::end(kChunks) ? nullptr : found;
}

const SKrListKind* KindOfList(uint32_t type)
{
    const auto* const found = std::ranges::find(kLists, type, &SKrListKind::type);
    return found == std::end(kLists) ? nullptr : found;
}
} // namespace KrTool
