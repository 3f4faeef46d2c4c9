#include "tools/info/KrDvFrame.h"

namespace KrTool
{
namespace
{
constexpr size_t kDifBlockSize = 80; // of a DIF block
constexpr size_t kBlockIdSize = 3;
constexpr size_t kPackSize = 5;
constexpr uint8_t kSectionMask = 0xE0; // of the first byte of a block
constexpr uint8_t kHeaderSection = 0x1F;
constexpr uint8_t kVauxSection = 0x5F;
constexpr uint8_t kVideoControlPack = 0x61;

constexpr uint8_t kWideDisplay = 2;
constexpr uint8_t kWideOrOlderDisplay = 7; // 16:9 where the track's application is the first
constexpr uint8_t kDisplayMask = 7;
constexpr uint8_t kFirstField = 0x40;
constexpr uint8_t kInterlaced = 0x10;

bool IsBlock(std::span<const uint8_t> block, uint8_t section)
{
    return (block[0] & kSectionMask) == (section & kSectionMask);
}

// The VAUX source control pack; empty where there is none.
std::span<const uint8_t> VideoControl(std::span<const uint8_t> head)
{
    for (size_t at = kDifBlockSize; at + kDifBlockSize <= head.size(); at += kDifBlockSize)
    {
        const std::span<const uint8_t> block = head.subspan(at, kDifBlockSize);
        if (!IsBlock(block, kVauxSection))
            continue;
        for (size_t pack = kBlockIdSize; pack + kPackSize <= kDifBlockSize; pack += kPackSize)
        {
            if (block[pack] == kVideoControlPack)
                return block.subspan(pack, kPackSize);
        }
    }
    return {};
}
} // namespace

std::optional<SKrDvFacts> ReadDvFrame(std::span<const uint8_t> head)
{
    if (head.size() < kDvHeadSize || head[0] != kHeaderSection || !IsBlock(head.subspan(kDifBlockSize), 0x3F))
        return std::nullopt;
    SKrDvFacts facts;
    facts.lines = (head[3] & 0x80) != 0 ? 576 : 480;
    const std::span<const uint8_t> control = VideoControl(head);
    if (control.empty())
        return facts;
    const uint8_t display = control[2] & kDisplayMask;
    const bool isFirstApplication = (head[4] & kDisplayMask) == 0;
    facts.isWide = display == kWideDisplay || (isFirstApplication && display == kWideOrOlderDisplay);
    if ((control[3] & kInterlaced) == 0)
        facts.scan = EKrScanMode::Progressive;
    else // the first of DV's two fields has the lower lines
        facts.scan =
            (control[3] & kFirstField) != 0 ? EKrScanMode::LowerFieldFirst : EKrScanMode::UpperFieldFirst;
    return facts;
}
} // namespace KrTool
