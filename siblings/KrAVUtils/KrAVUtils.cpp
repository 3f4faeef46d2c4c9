#include "siblings/KrAVUtils/KrAVUtils.h"

#include "KrOsTypes.h"

#include <numeric>

uint32_t KrComputeGCD(uint32_t left, uint32_t right)
{
    return left == 0 || right == 0 ? 0 : std::gcd(left, right);
}

int KrAudioUtils::WaveFormat2KrWaveFormat(const WAVEFORMATEX* format, SKrWaveFormatInfo& info)
{
    if (format == nullptr || format->nChannels < 1 || format->nSamplesPerSec < 1)
        return 0;
    info.formatTag = format->wFormatTag;
    info.channels = format->nChannels;
    info.samplesPerSec = format->nSamplesPerSec;
    info.avgBytesPerSec = format->nAvgBytesPerSec;
    info.blockAlign = format->nBlockAlign;
    info.bitsPerSample = format->wBitsPerSample;
    return 1;
}
