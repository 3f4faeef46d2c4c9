// How far the sound of a file may be from its picture.
#ifndef KR_TOOLS_AVI_KRINTERLEAVE_H
#define KR_TOOLS_AVI_KRINTERLEAVE_H

#include "tools/command/KrFormat.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace KrTool
{
inline constexpr double kInterleaveLimit = 1; // seconds, unless the user gives another

// Whether sound is further from a frame than the limit, or than one frame where frames last longer.
// `distance`: sound before the frame, less the frame's time, in seconds.
inline bool IsBeyondLimit(double distance, double limit, double frame)
{
    constexpr double kRounding = 1e-6;
    return std::abs(distance) > std::max(limit, frame) + kRounding;
}

// "29.960 s late".
inline std::string DistanceText(double distance)
{
    return Format("{:.3f} s {}", std::abs(distance), distance < 0 ? "late" : "early");
}
} // namespace KrTool

#endif
