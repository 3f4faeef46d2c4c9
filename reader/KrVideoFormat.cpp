#include "reader/KrVideoFormat.h"

#include "format/KrFrameTables.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace
{
constexpr uint32_t PixelFormat(uint16_t bitCount)
{
    return bitCount == 24 ? 3 : bitCount == 32 ? 1 : 0;
}

const SKrPixelAspectRow* FindRow(int horizontal, int vertical)
{
    for (const SKrPixelAspectRow& row : KrPixelAspectRows())
    {
        if (row.horizontal == horizontal && row.vertical == vertical)
            return &row;
    }
    return nullptr;
}

bool IsMadeFor(const SKrPixelAspectRow& row, const SKrAviVideoParams& format)
{
    return format.width == row.width &&
           (format.height == row.height || (row.otherHeight != 0 && format.height == row.otherHeight));
}

// Stored width times the ratio, halves rounded away from zero. A result beyond 32 bits leaves the display
// width; the low half of any other is stored.
void ScaleDisplayWidth(SKrAviVideoParams& format, int horizontal, int vertical)
{
    if (vertical == 0)
        return;
    const double scaled = static_cast<double>(format.width) / vertical * horizontal;
    const double rounded = std::trunc(scaled > 0 ? scaled + 0.5 : scaled - 0.5);
    if (rounded < std::numeric_limits<int32_t>::min() || rounded > std::numeric_limits<int32_t>::max())
        return;
    format.displayWidth = static_cast<uint16_t>(static_cast<int32_t>(rounded));
}

bool IsSquare(int horizontal, int vertical)
{
    return vertical != 0 && std::fabs(static_cast<double>(horizontal) / vertical - 1.0) <= 0.0001;
}
} // namespace

SKrAviVideoParams DescribeVideo(const SKrBitmapHeader& bitmap, const SKrStreamHeader& stream)
{
    SKrAviVideoParams format = {};
    format.displayWidth = static_cast<uint16_t>(bitmap.width);
    format.displayHeight = static_cast<uint16_t>(bitmap.height);
    format.bitCount = 8;
    format.reservedA = bitmap.width > 720 ? 1 : 0;
    format.aspectMode = AspectModeOfSize(bitmap.width, bitmap.height);
    format.frameRate =
        stream.scale == 0 || stream.rate == 0 ? kNoFrameRate : MatchFrameRate(stream.scale, stream.rate);
    format.scanMode = static_cast<int32_t>(GuessScanMode(format.frameRate, bitmap.width, bitmap.height));
    format.reservedB = PixelFormat(bitmap.bitCount);
    format.width = bitmap.width;
    format.height = bitmap.height;
    return format;
}

EKrScanMode GuessScanMode(uint32_t frameRate, int32_t width, int32_t height)
{
    switch (frameRate)
    {
    case static_cast<uint32_t>(EKrFrameRate::Rate25):
    case static_cast<uint32_t>(EKrFrameRate::Rate29_97):
    case static_cast<uint32_t>(EKrFrameRate::Rate30):
    case kNoFrameRate:
        break;
    default:
        return EKrScanMode::Progressive;
    }
    if (height >= 720)
        return width > 1280 ? EKrScanMode::UpperFieldFirst : EKrScanMode::Progressive;
    if (width != 720)
        return EKrScanMode::Progressive;
    if (height == 576)
        return EKrScanMode::UpperFieldFirst;
    if (height == 480 || height == 486)
        return EKrScanMode::LowerFieldFirst;
    return EKrScanMode::Progressive;
}

void ApplyPixelAspect(SKrAviVideoParams& format, int horizontal, int vertical)
{
    const SKrPixelAspectRow* const row = FindRow(horizontal, vertical);
    if (row == nullptr && IsSquare(horizontal, vertical))
        return;
    if (row != nullptr && IsMadeFor(*row, format))
    {
        format.aspectMode = row->aspectMode;
        format.displayWidth = row->displayWidth;
        return;
    }
    ScaleDisplayWidth(format, horizontal, vertical);
}
