#include "format/KrFrameTables.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace
{
constexpr SKrFrameRate kFrameRates[] = {
    {24000, 1001, "23.976"}, {24, 1, "24"}, {25, 1, "25"},          {30000, 1001, "29.97"},
    {30, 1, "30"},           {50, 1, "50"}, {60000, 1001, "59.94"}, {60, 1, "60"},
};

constexpr SKrFrameSize kFrameSizes[] = {
    {1920, 1080, kAspectMode16x9}, // high definition
    {1440, 1080, kAspectMode16x9}, //
    {1280, 1080, kAspectMode16x9}, //
    {1280, 720, kAspectMode16x9},  //
    {960, 720, kAspectMode16x9},   //
    {720, 576, kAspectMode4x3},    // standard definition
    {720, 486, kAspectMode4x3},    //
    {720, 480, kAspectMode4x3},    //
    {1024, 576, kAspectMode16x9},  // standard definition with square pixels
    {856, 480, kAspectMode16x9},   //
    {864, 486, kAspectMode16x9},   //
    {864, 480, kAspectMode16x9},   //
    {768, 576, kAspectMode4x3},    //
    {720, 540, kAspectMode4x3},    //
    {720, 534, kAspectMode4x3},    //
};

constexpr SKrPixelAspectRow kPixelAspectRows[] = {
    {16, 15, 720, 576, 0, kAspectMode4x3, 768},      //
    {64, 45, 720, 576, 0, kAspectMode16x9, 1024},    //
    {9, 10, 720, 486, 0, kAspectMode4x3, 648},       //
    {6, 5, 720, 486, 0, kAspectMode16x9, 864},       //
    {648, 720, 720, 486, 480, kAspectMode4x3, 648},  //
    {864, 720, 720, 486, 480, kAspectMode16x9, 864}, //
};

double DurationMs(double scale, double rate)
{
    return scale * 1000.0 / rate;
}

double DistanceMs(const SKrFrameRate& row, double durationMs)
{
    return std::fabs(DurationMs(row.scale, row.rate) - durationMs);
}
} // namespace

std::span<const SKrFrameRate> KrFrameRates()
{
    return kFrameRates;
}

uint32_t MatchFrameRate(uint32_t scale, uint32_t rate)
{
    const double durationMs = DurationMs(scale, rate);
    const auto distance = [durationMs](const SKrFrameRate& row)
    {
        return DistanceMs(row, durationMs);
    };
    const auto codeOf = [](const SKrFrameRate* row)
    {
        return static_cast<uint32_t>(row - std::begin(kFrameRates));
    };
    for (const double toleranceMs : {0.0001, 0.02})
    {
        const auto within = [toleranceMs](double distanceMs)
        {
            return distanceMs <= toleranceMs;
        };
        const SKrFrameRate* const row = std::ranges::find_if(kFrameRates, within, distance);
        if (row != std::end(kFrameRates))
            return codeOf(row);
    }
    return codeOf(std::ranges::min_element(kFrameRates, {}, distance)); // the first of equally near rows
}

std::span<const SKrFrameSize> KrFrameSizes()
{
    return kFrameSizes;
}

uint32_t AspectModeOfSize(int32_t width, int32_t height)
{
    for (const SKrFrameSize& size : kFrameSizes)
    {
        if (size.width == width && size.height == height)
            return size.aspectMode;
    }
    return kAspectModeUnknown;
}

std::span<const SKrPixelAspectRow> KrPixelAspectRows()
{
    return kPixelAspectRows;
}
