#include "siblings/KrAVUtils/KrAVUtils.h"

#include "KrOsTypes.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace
{
struct SKrRate
{
    uint32_t rate;
    uint32_t scale;
};

// Indexed by EKrFrameRate code. The suite's library has its own copy of the table.
constexpr SKrRate kRates[] = {{24000, 1001}, {24, 1}, {25, 1},       {30000, 1001},
                              {30, 1},       {50, 1}, {60000, 1001}, {60, 1}};

// frames * samplesPerSec * scale / rate, rounded. Whole multiples of the rate are taken out first, so that no
// product needs more than 64 bits.
uint64_t CumulativeSamples(uint32_t samplesPerSec, const SKrRate& rate, uint64_t frames)
{
    const uint64_t samplesPerPeriod = uint64_t{samplesPerSec} * rate.scale; // of `rate` frames
    const uint64_t rest = frames % rate.rate * samplesPerPeriod;
    return frames / rate.rate * samplesPerPeriod + (2 * rest + rate.rate) / (2 * uint64_t{rate.rate});
}
} // namespace

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

void KrFill32(uint32_t* to, uint32_t value, size_t count)
{
    std::fill_n(to, count, value);
}

uint64_t KrAudioUtils::GetAudioSampleCounts(const uint32_t& samplesPerSec, const EKrFrameRate& frameRate,
                                            uint32_t first, uint32_t count)
{
    const auto code = static_cast<uint32_t>(frameRate);
    if (code >= std::size(kRates))
        return 0;
    const SKrRate& rate = kRates[code];
    return CumulativeSamples(samplesPerSec, rate, uint64_t{first} + count) -
           CumulativeSamples(samplesPerSec, rate, first);
}
