// Stand-in for the suite's audio and video helper library. The suite's own library can take its place when
// the program is linked.
#ifndef KR_SIBLINGS_KRAVUTILS_H
#define KR_SIBLINGS_KRAVUTILS_H

#include "KrRiffUtils/KrPlatformTypes.h"
#include "KrRiffUtils/KrRiffTypes.h"

#include <cstdint>

// Greatest common divisor; 0 when either value is 0.
uint32_t KrComputeGCD(uint32_t left, uint32_t right);

namespace KrAudioUtils
{
// Converts a WAVEFORMATEX, behind which its cbSize further bytes must be readable. Returns non-zero, or 0
// with `info` untouched when there is no channel or no sample rate.
int WaveFormat2KrWaveFormat(const WAVEFORMATEX* format, SKrWaveFormatInfo& info);
} // namespace KrAudioUtils

#endif
