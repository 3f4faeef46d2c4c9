#include "tools/recover/KrChunkMark.h"

#include "format/KrChunkHeader.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kIdSize = 4;
constexpr uint32_t kMostStreamNumbers = 100;

constexpr bool IsDecimal(char character)
{
    return character >= '0' && character <= '9';
}

constexpr bool IsHex(char character)
{
    return IsDecimal(character) || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

constexpr uint32_t HexValue(char character)
{
    if (IsDecimal(character))
        return static_cast<uint32_t>(character - '0');
    return static_cast<uint32_t>((character | 0x20) - 'a') + 10;
}

constexpr bool IsLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

constexpr bool IsIdCharacter(char character)
{
    return IsLetter(character) || IsDecimal(character) || character == ' ' || character == '_';
}

using Characters = std::array<char, kIdSize>;

constexpr Characters CharactersOf(uint32_t id)
{
    return {KrFourCCChar(id, 0), KrFourCCChar(id, 1), KrFourCCChar(id, 2), KrFourCCChar(id, 3)};
}

bool IsDataId(const Characters& id)
{
    const bool isVideo = id[2] == 'd' && (id[3] == 'c' || id[3] == 'b');
    if (!IsHex(id[0]) || !IsHex(id[1]) || (!isVideo && !(id[2] == 'w' && id[3] == 'b')))
        return false;
    return (IsDecimal(id[0]) && IsDecimal(id[1])) ||
           16 * HexValue(id[0]) + HexValue(id[1]) < kMostStreamNumbers;
}

bool IsStandardIndex(const Characters& id)
{
    return id[0] == 'i' && id[1] == 'x' && IsHex(id[2]) && IsHex(id[3]);
}

bool IsIndexOrFiller(uint32_t id)
{
    return id == kFccIdx1 || id == kFccIndx || id == kFccJunk || IsStandardIndex(CharactersOf(id));
}

// A chunk of palette changes, of text, of subtitles, or of pictures and sound in one.
bool IsOtherDataId(const Characters& id)
{
    static constexpr std::array<std::string_view, 4> kEndings = {"pc", "tx", "sb", "__"};
    return IsHex(id[0]) && IsHex(id[1]) &&
           std::ranges::find(kEndings, std::string_view(&id[2], 2)) != kEndings.end();
}

// The characters that the ids which are searched for have at each of their four places, besides digits.
constexpr std::array<std::string_view, kIdSize> kSearchedCharacters = {"iJRL", "dxUI", "dwxNFS", "bc1xKFT"};

constexpr bool CanStandAt(size_t place, uint8_t byte)
{
    const char character = static_cast<char>(byte);
    return IsHex(character) || kSearchedCharacters[place].find(character) != std::string_view::npos;
}

constexpr size_t kBytes = 256;

// How far the search moves on from four bytes by the last one of them: to the next place at which that byte
// can stand in an id.
constexpr std::array<uint8_t, kBytes> Steps()
{
    std::array<uint8_t, kBytes> steps{};
    for (size_t byte = 0; byte < kBytes; ++byte)
    {
        steps[byte] = kIdSize;
        for (size_t place = 0; place + 1 < kIdSize; ++place)
        {
            if (CanStandAt(place, static_cast<uint8_t>(byte)))
                steps[byte] = static_cast<uint8_t>(kIdSize - 1 - place);
        }
    }
    return steps;
}
constexpr std::array<uint8_t, kBytes> kSteps = Steps();

bool IsSearched(uint32_t id)
{
    return IsDataId(CharactersOf(id)) || IsIndexOrFiller(id) || IsContainer(id);
}

uint32_t IdAt(std::span<const uint8_t> bytes, size_t place)
{
    return uint32_t{bytes[place]} | uint32_t{bytes[place + 1]} << 8 | uint32_t{bytes[place + 2]} << 16 |
           uint32_t{bytes[place + 3]} << 24;
}
} // namespace

SKrMark MarkOf(std::span<const uint8_t> bytes, uint64_t left)
{
    if (left < kChunkHeaderSize)
        return {EKrMark::End};
    const SKrChunkHeader header = DecodeChunkHeader(bytes.first(kChunkHeaderSize));
    SKrMark mark{EKrMark::Nothing, header.id, header.size};
    const Characters id = CharactersOf(header.id);
    const bool isInside = header.size <= left - kChunkHeaderSize;
    if (header.id == 0 && header.size == 0)
        mark.kind = EKrMark::Zeros;
    else if (IsDataId(id))
        mark.kind = EKrMark::Data;
    else if (IsContainer(header.id))
        mark.kind = EKrMark::Container;
    else if (IsIndexOrFiller(header.id))
        mark.kind = EKrMark::Known;
    else if (isInside && IsOtherDataId(id))
        mark.kind = EKrMark::OtherData;
    else if (isInside && std::ranges::all_of(id, IsIdCharacter))
        mark.kind = EKrMark::Printable;
    return mark;
}

std::optional<SKrDataId> DataIdOf(uint32_t id, size_t streamCount)
{
    const Characters characters = CharactersOf(id);
    if (!IsDataId(characters))
        return std::nullopt;
    const auto kind = characters[2] == 'w' ? EKrStreamKind::Audio : EKrStreamKind::Video;
    const uint32_t high = HexValue(characters[0]);
    const uint32_t low = HexValue(characters[1]);
    const bool isDecimal = high < 10 && low < 10;
    const uint32_t number = 16 * high + low;
    return SKrDataId{
        isDecimal && number >= streamCount && 10 * high + low < streamCount ? 10 * high + low : number, kind};
}

SKrIdSearch FindId(std::span<const uint8_t> bytes, size_t from)
{
    size_t place = from;
    while (place + kIdSize <= bytes.size())
    {
        const uint8_t last = bytes[place + kIdSize - 1];
        if (CanStandAt(kIdSize - 1, last) && IsSearched(IdAt(bytes, place)))
            return {place, true};
        place += kSteps[last];
    }
    return {place, false};
}
} // namespace KrTool
