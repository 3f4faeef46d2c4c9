// The audio and video helpers that the library expects of its sibling.
#include "siblings/KrAVUtils/KrAVUtils.h"

#include "KrOsTypes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>

namespace
{
WAVEFORMATEX Format(uint16_t channels, uint32_t samplesPerSec)
{
    WAVEFORMATEX format = {};
    format.wFormatTag = 0xFFFE;
    format.nChannels = channels;
    format.nSamplesPerSec = samplesPerSec;
    format.nAvgBytesPerSec = 0x89ABCDEF;
    format.nBlockAlign = 0xF123;
    format.wBitsPerSample = 0xE456;
    format.cbSize = 0;
    return format;
}

SKrWaveFormatInfo Marked()
{
    SKrWaveFormatInfo info;
    std::memset(&info, 0xCD, sizeof info);
    return info;
}

bool IsUntouched(const SKrWaveFormatInfo& info)
{
    const SKrWaveFormatInfo marked = Marked();
    return std::memcmp(&info, &marked, sizeof info) == 0;
}
} // namespace

TEST(WaveFormat2KrWaveFormat, EachField_IsTakenInItsFullWidth)
{
    const WAVEFORMATEX format = Format(0xD789, 0xFEDCBA98);
    SKrWaveFormatInfo info = Marked();
    EXPECT_NE(KrAudioUtils::WaveFormat2KrWaveFormat(&format, info), 0);
    EXPECT_EQ(info.formatTag, 0xFFFEu);
    EXPECT_EQ(info.channels, 0xD789u);
    EXPECT_EQ(info.samplesPerSec, 0xFEDCBA98u);
    EXPECT_EQ(info.avgBytesPerSec, 0x89ABCDEFu);
    EXPECT_EQ(info.blockAlign, 0xF123);
    EXPECT_EQ(info.bitsPerSample, 0xE456);
}

TEST(WaveFormat2KrWaveFormat, OneChannelAndOneSampleASecond_AreEnough)
{
    WAVEFORMATEX format = {}; // nor a tag, byte rate, block align or sample size
    format.nChannels = 1;
    format.nSamplesPerSec = 1;
    SKrWaveFormatInfo info = Marked();
    EXPECT_NE(KrAudioUtils::WaveFormat2KrWaveFormat(&format, info), 0);
    EXPECT_EQ(info.formatTag, 0u);
    EXPECT_EQ(info.channels, 1u);
    EXPECT_EQ(info.samplesPerSec, 1u);
    EXPECT_EQ(info.avgBytesPerSec, 0u);
    EXPECT_EQ(info.blockAlign, 0);
    EXPECT_EQ(info.bitsPerSample, 0);
}

TEST(WaveFormat2KrWaveFormat, NoChannel_IsRefusedAndWritesNothing)
{
    const WAVEFORMATEX format = Format(0, 48000);
    SKrWaveFormatInfo info = Marked();
    EXPECT_EQ(KrAudioUtils::WaveFormat2KrWaveFormat(&format, info), 0);
    EXPECT_TRUE(IsUntouched(info));
}

TEST(WaveFormat2KrWaveFormat, NoSampleRate_IsRefusedAndWritesNothing)
{
    const WAVEFORMATEX format = Format(2, 0);
    SKrWaveFormatInfo info = Marked();
    EXPECT_EQ(KrAudioUtils::WaveFormat2KrWaveFormat(&format, info), 0);
    EXPECT_TRUE(IsUntouched(info));
}

TEST(WaveFormat2KrWaveFormat, NullFormat_IsRefusedAndWritesNothing)
{
    SKrWaveFormatInfo info = Marked();
    EXPECT_EQ(KrAudioUtils::WaveFormat2KrWaveFormat(nullptr, info), 0);
    EXPECT_TRUE(IsUntouched(info));
}

TEST(KrComputeGCD, OfTwoValues_IsTheirGreatestCommonDivisor)
{
    struct SCase
    {
        uint32_t left, right, divisor;
    };
    for (const SCase& test : std::initializer_list<SCase>{
             {1, 1, 1},
             {1, 0xFFFFFFFF, 1},
             {720, 576, 144},
             {768, 720, 48},
             {1024, 720, 16},
             {12, 12, 12},
             {17, 13, 1},
             {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF},
             {0x80000000, 0xC0000000, 0x40000000}, // both with the sign bit of a signed type
             {0xFFFFFFFE, 0x7FFFFFFF, 0x7FFFFFFF},
             {3000000021, 1000000007, 1000000007},
         })
    {
        EXPECT_EQ(KrComputeGCD(test.left, test.right), test.divisor) << test.left << ", " << test.right;
        EXPECT_EQ(KrComputeGCD(test.right, test.left), test.divisor) << test.right << ", " << test.left;
    }
}

TEST(KrComputeGCD, WithAZero_Is0)
{
    EXPECT_EQ(KrComputeGCD(0, 0), 0u);
    for (const uint32_t value : {1u, 720u, 0x80000000u, 0xFFFFFFFFu})
    {
        EXPECT_EQ(KrComputeGCD(0, value), 0u);
        EXPECT_EQ(KrComputeGCD(value, 0), 0u);
    }
}
