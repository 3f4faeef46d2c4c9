// Stand-in for the suite's audio and video helper library. The suite's own library can replace it at link
// time.
#ifndef KR_SIBLINGS_KRAVUTILS_H
#define KR_SIBLINGS_KRAVUTILS_H

#include "KrRiffUtils/KrPlatformTypes.h"
#include "KrRiffUtils/KrRiffTypes.h"

#include <cstddef>
#include <cstdint>

// Greatest common divisor; 0 when either value is 0.
uint32_t KrComputeGCD(uint32_t left, uint32_t right);

// Sets 32-bit words to a value.
void KrFill32(uint32_t* to, uint32_t value, size_t count);

namespace KrAudioUtils
{
// Converts a WAVEFORMATEX, which must be followed by cbSize readable bytes. Returns non-zero, or 0 with
// `info` untouched when there is no channel or no sample rate.
int WaveFormat2KrWaveFormat(const WAVEFORMATEX* format, SKrWaveFormatInfo& info);

// Number of audio sample frames that belong to the video frames [first, first + count). The cumulative count
// up to a frame is rounded to the nearest whole number, halves up, so that no error accumulates. 0 for an
// unknown rate.
uint64_t GetAudioSampleCounts(const uint32_t& samplesPerSec, const EKrFrameRate& frameRate, uint32_t first,
                              uint32_t count);
} // namespace KrAudioUtils

#endif
