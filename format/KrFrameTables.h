// Tables of the formats that the library knows by name: frame rates, frame sizes, pixel aspect ratios.
#ifndef KR_FORMAT_KRFRAMETABLES_H
#define KR_FORMAT_KRFRAMETABLES_H

#include <cstdint>
#include <span>

inline constexpr uint32_t kNoFrameRate = 0xFFFFFFFF;

// Values of SKrAviVideoParams::aspectMode.
inline constexpr uint32_t kAspectMode4x3 = 0;
inline constexpr uint32_t kAspectMode16x9 = 1;
inline constexpr uint32_t kAspectModeUnknown = 3;
inline constexpr uint32_t kAspectMode648x720 = 4;
inline constexpr uint32_t kAspectMode864x720 = 5;

struct SKrFrameRate
{
    uint32_t rate = 0;
    uint32_t scale = 0;    // frames per second are rate / scale
    const char* name = ""; // of frames per second, in decimals
};

// Indexed by EKrFrameRate code.
std::span<const SKrFrameRate> KrFrameRates();

// The code whose frame duration comes nearest to that of scale and rate, both at least 1. A close match
// wins over the nearest one, so that a rate between two rows takes the first row within tolerance.
uint32_t MatchFrameRate(uint32_t scale, uint32_t rate);

struct SKrFrameSize
{
    int32_t width = 0;
    int32_t height = 0;
    uint32_t aspectMode = 0;
};

std::span<const SKrFrameSize> KrFrameSizes();

// Aspect mode of a stored frame size, kAspectModeUnknown when the size is not in the table.
uint32_t AspectModeOfSize(int32_t width, int32_t height);

// A pixel aspect ratio that determines aspect mode and display width for frames of one stored size.
struct SKrPixelAspectRow
{
    int horizontal = 0;
    int vertical = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t otherHeight = 0; // 0 when only one height belongs to the row
    uint32_t aspectMode = 0;
    uint16_t displayWidth = 0;
};

std::span<const SKrPixelAspectRow> KrPixelAspectRows();

#endif
