#include "format/KrPrivateChunks.h"

#include "format/KrBytes.h"
#include "format/KrFrameTables.h"
#include "siblings/KrAVUtils/KrAVUtils.h"

#include <algorithm>

namespace
{
// 'KrlA': signature, an unused byte, the format mark, then the fields
constexpr uint8_t kKrlASignature[16] = {'k', 'o', 'r', 'i', 'n', '-', 'a', 'v', 'i'};
constexpr uint8_t kKrlAMark[4] = {0x00, 0x00, 0x0F, 0x00};
constexpr size_t kKrlAMarkAt = 17;
constexpr size_t kKrlAScanModeAt = 21;
constexpr size_t kKrlAAspectAt = 22;
constexpr size_t kKrlAMinimumSize = 20;
constexpr size_t kKrlAFieldsEnd = 30;

// 'PrmA': an atom, its type before its length
constexpr uint8_t kPrmAHead[12] = {'P', 'A', 'R', 'f', 0, 0, 0, 20, 0, 1, 0, 0};
constexpr size_t kPrmAAspectAt = 12;

// 'CtsI'
constexpr uint8_t kCtsIVersion[4] = {0x00, 0x00, 0x02, 0x00};
constexpr size_t kCtsIOnesAt = 12;
constexpr size_t kCtsIOnesCount = 12;
constexpr size_t kCtsIScanModeAt = 24;
constexpr size_t kCtsIMinimumSize = 25;

void PutAspect(uint8_t* to, const SKrPixelAspect& aspect)
{
    PutBe32(to, aspect.horizontal);
    PutBe32(to + 4, aspect.vertical);
}

SKrPixelAspect GetAspect(const uint8_t* from)
{
    return {GetBe32(from), GetBe32(from + 4)};
}

bool HasAt(std::span<const uint8_t> data, size_t at, std::span<const uint8_t> wanted)
{
    return std::ranges::equal(data.subspan(at, wanted.size()), wanted);
}

// The fields of a 'KrlA' record, zeros behind its end, or false when its fixed bytes are wrong.
bool TakeKrlA(std::span<const uint8_t> data, std::array<uint8_t, kKrlAFieldsEnd>& fields)
{
    if (data.size() < kKrlAMinimumSize)
        return false;
    fields.fill(0);
    std::copy_n(data.begin(), std::min(data.size(), fields.size()), fields.begin());
    return HasAt(fields, 0, kKrlASignature) && HasAt(fields, kKrlAMarkAt, kKrlAMark);
}
} // namespace

SKrPixelAspect PixelAspectToStore(const SKrAviVideoParams& params)
{
    switch (params.aspectMode)
    {
    case kAspectMode4x3:
    case kAspectMode16x9:
    {
        const SKrPixelAspect aspect{params.displayWidth, static_cast<uint32_t>(params.width)};
        const uint32_t divisor = KrComputeGCD(aspect.horizontal, aspect.vertical);
        return divisor == 0 ? aspect : SKrPixelAspect{aspect.horizontal / divisor, aspect.vertical / divisor};
    }
    case kAspectMode648x720:
        return {648, 720};
    case kAspectMode864x720:
        return {864, 720};
    default:
        return {1, 1};
    }
}

std::array<uint8_t, kKrlASize> BuildKrlA(uint8_t scanMode, const SKrPixelAspect& aspect)
{
    std::array<uint8_t, kKrlASize> data{};
    std::ranges::copy(kKrlASignature, data.begin());
    std::ranges::copy(kKrlAMark, data.begin() + kKrlAMarkAt);
    data[kKrlAScanModeAt] = scanMode;
    PutAspect(&data[kKrlAAspectAt], aspect);
    return data;
}

std::array<uint8_t, kPrmASize> BuildPrmA(const SKrPixelAspect& aspect)
{
    std::array<uint8_t, kPrmASize> data{};
    std::ranges::copy(kPrmAHead, data.begin());
    PutAspect(&data[kPrmAAspectAt], aspect);
    return data;
}

std::array<uint8_t, kCtsISize> BuildCtsI(uint8_t scanMode)
{
    std::array<uint8_t, kCtsISize> data{};
    std::ranges::copy(kCtsIVersion, data.begin());
    std::fill_n(data.begin() + kCtsIOnesAt, kCtsIOnesCount, uint8_t{0xFF});
    data[kCtsIScanModeAt] = scanMode;
    return data;
}

bool DecodeKrlAScanMode(std::span<const uint8_t> data, uint8_t& scanMode)
{
    std::array<uint8_t, kKrlAFieldsEnd> fields;
    if (!TakeKrlA(data, fields))
        return false;
    scanMode = fields[kKrlAScanModeAt];
    return true;
}

bool DecodeKrlAAspect(std::span<const uint8_t> data, SKrPixelAspect& aspect)
{
    std::array<uint8_t, kKrlAFieldsEnd> fields;
    if (!TakeKrlA(data, fields))
        return false;
    aspect = GetAspect(&fields[kKrlAAspectAt]);
    return true;
}

bool DecodeCtsI(std::span<const uint8_t> data, uint8_t& scanMode)
{
    if (data.size() < kCtsIMinimumSize || !HasAt(data, 0, kCtsIVersion))
        return false;
    scanMode = data[kCtsIScanModeAt];
    return true;
}

bool DecodePrmA(std::span<const uint8_t> data, SKrPixelAspect& aspect)
{
    if (data.size() < kPrmASize || !HasAt(data, 0, kPrmAHead))
        return false;
    aspect = GetAspect(&data[kPrmAAspectAt]);
    return true;
}

EKrScanMode ScanModeOfByte(uint8_t stored)
{
    return stored <= 2 ? static_cast<EKrScanMode>(stored) : EKrScanMode::Unknown;
}
