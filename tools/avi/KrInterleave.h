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

// What is judged of the sound around a frame, in seconds. Late: the sound before the frame ends so much
// before its time. Early: the last block of sound before the frame begins so much after its time, as a block
// of any length may begin at the frame.
inline double InterleaveDistance(double frame, double lastBlock, double soundEnd)
{
    return soundEnd < frame ? soundEnd - frame : std::max(0.0, lastBlock - frame);
}

// Whether sound is further from a frame than the limit, or than one frame where frames last longer.
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
