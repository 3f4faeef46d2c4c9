#include "tools/avi/KrChunkGuess.h"

#include "format/KrChunkHeader.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrChunkKinds.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kIdSize = 4;

constexpr bool IsHex(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

constexpr bool IsIdCharacter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == ' ' || character == '_';
}

bool IsDataId(uint32_t id)
{
    const std::optional<SKrDataTag> tag = DataTagOf(id, 0);
    return tag && (tag->content == EKrContent::Video || tag->content == EKrContent::Audio);
}

bool IsIndexOrFiller(uint32_t id)
{
    const bool isStandardIndex =
        KrFourCCChar(id, 0) == 'i' && KrFourCCChar(id, 1) == 'x' && StreamDigits(DataIdOfIndex(id));
    return id == kFccIdx1 || id == kFccIndx || id == kFccJunk || isStandardIndex;
}

bool IsOtherDataId(uint32_t id)
{
    const std::optional<EKrContent> content = ContentOf(id);
    return content && *content != EKrContent::Video && *content != EKrContent::Audio && StreamDigits(id);
}

bool IsAnyId(uint32_t id)
{
    return IsIdCharacter(KrFourCCChar(id, 0)) && IsIdCharacter(KrFourCCChar(id, 1)) &&
           IsIdCharacter(KrFourCCChar(id, 2)) && IsIdCharacter(KrFourCCChar(id, 3));
}

EKrGuess GuessList(uint32_t type)
{
    if (IsSegmentType(type) || KindOfList(type) != nullptr)
        return EKrGuess::AviList;
    return IsPrintableFourCc(type) ? EKrGuess::OtherList : EKrGuess::BrokenList;
}

EKrGuess GuessOf(uint32_t id, bool isInside)
{
    if (IsDataId(id))
        return EKrGuess::Data;
    if (IsIndexOrFiller(id))
        return EKrGuess::Index;
    if (KindOfChunk(id) != nullptr)
        return isInside ? EKrGuess::Header : EKrGuess::CutHeader;
    if (!isInside)
        return EKrGuess::Nothing;
    if (IsOtherDataId(id))
        return EKrGuess::OtherData;
    return IsAnyId(id) ? EKrGuess::Printable : EKrGuess::Nothing;
}

// The characters, besides digits, of the ids searched for, at each of their four positions.
constexpr std::array<std::string_view, kIdSize> kSearchedCharacters = {"iJRL", "dxUI", "dwxNFSpts",
                                                                       "bc1xKFT"};

constexpr bool CanStandAt(size_t place, uint8_t byte)
{
    const char character = static_cast<char>(byte);
    return IsHex(character) || kSearchedCharacters[place].find(character) != std::string_view::npos;
}

constexpr size_t kBytes = 256;

// How far the search advances given the last of four bytes: to the next position at which that byte can be
// part of an id.
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
    return IsDataId(id) || IsOtherDataId(id) || IsIndexOrFiller(id) || IsContainer(id);
}
} // namespace

bool IsSegmentType(uint32_t type)
{
    return type == kFccAvi || type == kFccAvix;
}

SKrChunkGuess GuessChunk(std::span<const uint8_t> bytes, uint64_t left)
{
    if (left < kChunkHeaderSize || bytes.size() < kChunkHeaderSize)
        return {left == 0 ? EKrGuess::End : EKrGuess::Rest};
    const SKrChunkHeader header =
        DecodeChunkHeader(bytes.first(std::min<size_t>(bytes.size(), kListHeaderSize)));
    SKrChunkGuess guess{EKrGuess::Nothing, header.id, header.size};
    if (header.id == 0 && header.size == 0)
    {
        guess.kind = EKrGuess::Zeros;
    }
    else if (IsContainer(header.id))
    {
        guess.type = header.firstData;
        guess.kind = GuessList(guess.type);
    }
    else
    {
        guess.kind = GuessOf(header.id, header.size <= left - kChunkHeaderSize);
    }
    return guess;
}

SKrIdSearch FindId(std::span<const uint8_t> bytes, size_t from)
{
    size_t place = from;
    while (place + kIdSize <= bytes.size())
    {
        const uint8_t last = bytes[place + kIdSize - 1];
        if (CanStandAt(kIdSize - 1, last) && IsSearched(GetLe32(&bytes[place])))
            return {place, true};
        place += kSteps[last];
    }
    return {place, false};
}
} // namespace KrTool
