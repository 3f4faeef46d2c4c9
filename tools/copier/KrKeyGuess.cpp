#include "tools/copier/KrKeyGuess.h"

#include "format/KrFourCC.h"

#include <algorithm>
#include <array>

namespace KrTool
{
namespace
{
// In capitals: headers have either case.
constexpr auto kMpeg4 = std::to_array<uint32_t>({KrFourCC("XVID"), KrFourCC("DIVX"), KrFourCC("DX50"),
                                                 KrFourCC("FMP4"), KrFourCC("MP4V"), KrFourCC("M4S2")});
constexpr auto kMpeg12 =
    std::to_array<uint32_t>({KrFourCC("MPG1"), KrFourCC("MPG2"), KrFourCC("MPEG"), KrFourCC("M2V1")});
constexpr auto kH264 = std::to_array<uint32_t>({KrFourCC("H264"), KrFourCC("X264"), KrFourCC("AVC1")});
constexpr auto kAlwaysKey =
    std::to_array<uint32_t>({0, kFccDib, kFccMjpg, KrFourCC("JPEG"), KrFourCC("HFYU"), KrFourCC("FFVH"),
                             KrFourCC("ULRG"), KrFourCC("ULY0"), KrFourCC("ULY2"), KrFourCC("DVSD"),
                             KrFourCC("DVHD"), KrFourCC("I420"), KrFourCC("YV12"), KrFourCC("YUY2"),
                             KrFourCC("UYVY"), KrFourCC("MPNG"), KrFourCC("MJ2C"), KrFourCC("V210")});

constexpr uint8_t kVop = 0xB6; // start codes of MPEG-4 and MPEG-1
constexpr uint8_t kPicture = 0x00;
constexpr uint8_t kNalType = 0x1F;
constexpr uint8_t kSlice = 1; // H.264
constexpr uint8_t kKeySlice = 5;

uint32_t InCapitals(uint32_t fourCc)
{
    uint32_t value = 0;
    for (unsigned place = 4; place-- > 0;)
    {
        const auto character = static_cast<uint8_t>(KrFourCCChar(fourCc, place));
        const bool isSmall = character >= 'a' && character <= 'z';
        value = value << 8 | static_cast<uint8_t>(isSmall ? character - 'a' + 'A' : character);
    }
    return value;
}

// Calls `decide(code, bytes after it)` for each start code until it answers.
template <class DECIDE>
std::optional<bool> ByStartCodes(std::span<const uint8_t> bytes, DECIDE&& decide)
{
    for (size_t place = 0; place + 6 <= bytes.size(); ++place)
    {
        if (bytes[place] != 0 || bytes[place + 1] != 0 || bytes[place + 2] != 1)
            continue;
        if (const std::optional<bool> answer = decide(bytes[place + 3], bytes.subspan(place + 4)))
            return answer;
    }
    return std::nullopt;
}

std::optional<bool> ByVop(uint8_t code, std::span<const uint8_t> after)
{
    return code == kVop ? std::optional(after[0] >> 6 == 0) : std::nullopt;
}

std::optional<bool> ByPicture(uint8_t code, std::span<const uint8_t> after)
{
    return code == kPicture ? std::optional((after[1] >> 3 & 7) == 1) : std::nullopt;
}

std::optional<bool> ByNal(uint8_t code, std::span<const uint8_t>)
{
    const uint8_t type = code & kNalType;
    return type == kSlice || type == kKeySlice ? std::optional(type == kKeySlice) : std::nullopt;
}
} // namespace

EKrKeyRule KeyRuleOf(uint32_t codec)
{
    const uint32_t name = InCapitals(codec);
    const auto isOne = [name](const auto& names)
    {
        return std::ranges::find(names, name) != names.end();
    };
    if (isOne(kAlwaysKey))
        return EKrKeyRule::All;
    if (isOne(kMpeg4))
        return EKrKeyRule::Vop;
    if (isOne(kMpeg12))
        return EKrKeyRule::Picture;
    if (isOne(kH264))
        return EKrKeyRule::Slice;
    return name == KrFourCC("VP80") ? EKrKeyRule::FirstByte : EKrKeyRule::Unknown;
}

std::optional<bool> IsKeyByItsBytes(EKrKeyRule rule, std::span<const uint8_t> bytes)
{
    switch (rule)
    {
    case EKrKeyRule::All:
        return true;
    case EKrKeyRule::Vop:
        return ByStartCodes(bytes, ByVop);
    case EKrKeyRule::Picture:
        return ByStartCodes(bytes, ByPicture);
    case EKrKeyRule::Slice:
        return ByStartCodes(bytes, ByNal);
    case EKrKeyRule::FirstByte:
        return bytes.empty() ? std::nullopt : std::optional((bytes[0] & 1) == 0);
    case EKrKeyRule::Unknown:
        break;
    }
    return std::nullopt;
}

std::optional<bool> IsKeyByItsBytes(uint32_t codec, std::span<const uint8_t> bytes)
{
    return IsKeyByItsBytes(KeyRuleOf(codec), bytes);
}
} // namespace KrTool
