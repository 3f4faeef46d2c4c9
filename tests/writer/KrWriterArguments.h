// The arguments of OpenFile for the content of a file.
#ifndef KR_TESTS_WRITER_KRWRITERARGUMENTS_H
#define KR_TESTS_WRITER_KRWRITERARGUMENTS_H

#include "KrOsTypes.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "tests/support/KrAviChecker.h"

namespace KrTest
{
// 720 x 576 shown as 768 wide, so that 16:15 is stored.
inline SKrAviVideoParams ParamsFor(const SKrWritten& written)
{
    SKrAviVideoParams params{};
    params.displayWidth = 768;
    params.displayHeight = static_cast<uint16_t>(written.height);
    params.bitCount = written.bitCount;
    params.frameRate = written.frameRate;
    params.scanMode = written.scanMode;
    params.width = static_cast<int32_t>(written.width);
    params.height = static_cast<int32_t>(written.height);
    return params;
}

inline WAVEFORMATEX WaveFormatFor(const SKrPcmFormat& pcm)
{
    WAVEFORMATEX format{};
    format.wFormatTag = 1;
    format.nChannels = pcm.channels;
    format.nSamplesPerSec = pcm.samplesPerSec;
    format.wBitsPerSample = pcm.bitsPerSample;
    format.nBlockAlign = pcm.BlockAlign();
    format.nAvgBytesPerSec = pcm.samplesPerSec * pcm.BlockAlign();
    return format;
}
} // namespace KrTest

#endif
