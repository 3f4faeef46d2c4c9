// The number of audio samples of each video frame.
#include "siblings/KrAVUtils/KrAVUtils.h"

#include <gtest/gtest.h>

#include <vector>

using KrAudioUtils::GetAudioSampleCounts;

namespace
{
constexpr uint64_t kRates[8][2] = {{24000, 1001}, {24, 1}, {25, 1},       {30000, 1001},
                                   {30, 1},       {50, 1}, {60000, 1001}, {60, 1}};
}

TEST(AudioSampleCounts, At48KilohertzAnd29_97_FollowTheFieldsPattern)
{
    std::vector<uint64_t> counts;
    for (uint32_t frame = 0; frame < 10; ++frame)
        counts.push_back(GetAudioSampleCounts(48000, EKrFrameRate::Rate29_97, frame, 1));
    EXPECT_EQ(counts, (std::vector<uint64_t>{1602, 1601, 1602, 1601, 1602, 1602, 1601, 1602, 1601, 1602}));
    EXPECT_EQ(GetAudioSampleCounts(48000, EKrFrameRate::Rate29_97, 0, 5), 8008u);
}

TEST(AudioSampleCounts, EveryRate_IsTheNearestWholeNumber)
{
    for (uint32_t code = 0; code < 8; ++code)
    {
        for (const uint32_t samplesPerSec : {1u, 25u, 8000u, 11025u, 44100u, 48000u, 96000u, 192000u})
        {
            uint64_t sum = 0;
            for (uint32_t frame = 0; frame < 500; ++frame)
            {
                sum += GetAudioSampleCounts(samplesPerSec, static_cast<EKrFrameRate>(code), frame, 1);
                // |2 * sum * rate - 2 * exact| <= rate, and halves round up
                const auto doubled = static_cast<int64_t>(2 * sum * kRates[code][0]);
                const auto exact =
                    static_cast<int64_t>(2 * uint64_t{frame + 1} * samplesPerSec * kRates[code][1]);
                const auto rate = static_cast<int64_t>(kRates[code][0]);
                ASSERT_GT(doubled - exact, -rate) << code << " " << samplesPerSec << " " << frame;
                ASSERT_LE(doubled - exact, rate) << code << " " << samplesPerSec << " " << frame;
            }
            EXPECT_EQ(GetAudioSampleCounts(samplesPerSec, static_cast<EKrFrameRate>(code), 0, 500), sum);
        }
    }
}

TEST(AudioSampleCounts, Halves_GoUp)
{
    EXPECT_EQ(GetAudioSampleCounts(25, EKrFrameRate::Rate50, 0, 1), 1u) << "half a sample";
    EXPECT_EQ(GetAudioSampleCounts(25, EKrFrameRate::Rate50, 1, 1), 0u);
}

TEST(AudioSampleCounts, LargestArguments_DoNotOverflow)
{
    const uint64_t all = GetAudioSampleCounts(0xFFFFFFFF, EKrFrameRate::Rate23_976, 0xFFFFFFFF, 0xFFFFFFFF);
    const double expected = 4294967295.0 * 4294967295.0 * 1001 / 24000;
    EXPECT_NEAR(static_cast<double>(all), expected, expected * 1e-12);
}

// Both sides of the rounding rule may wrap: their difference is small and still exact. It cannot rule out
// multiples far from the quotient of doubles.
TEST(AudioSampleCounts, EveryRate_IsExactForAnyArguments)
{
    const uint32_t values[] = {0,     1,          2,          1000,       1001,       30000,
                               65537, 0x7FFFFFFF, 0x80000000, 0x90ABCDEF, 0xFFFFFFFE, 0xFFFFFFFF};
    for (uint32_t code = 0; code < 8; ++code)
    {
        const auto frameRate = static_cast<EKrFrameRate>(code);
        const auto [rate, scale] = kRates[code];
        for (const uint32_t samplesPerSec : values)
        {
            for (const uint32_t frames : values)
            {
                const uint64_t count = GetAudioSampleCounts(samplesPerSec, frameRate, 0, frames);
                const auto off =
                    static_cast<int64_t>(2 * count * rate - 2 * (frames * (samplesPerSec * scale)));
                EXPECT_GT(off, -static_cast<int64_t>(rate)) << code << " " << samplesPerSec << " " << frames;
                EXPECT_LE(off, static_cast<int64_t>(rate)) << code << " " << samplesPerSec << " " << frames;
                const double about = static_cast<double>(frames) * samplesPerSec *
                                     static_cast<double>(scale) / static_cast<double>(rate);
                EXPECT_NEAR(static_cast<double>(count), about, 1 + about * 1e-12);
                for (const uint32_t first : values)
                {
                    EXPECT_EQ(GetAudioSampleCounts(samplesPerSec, frameRate, 0, first) +
                                  GetAudioSampleCounts(samplesPerSec, frameRate, first, frames),
                              first <= 0xFFFFFFFF - frames
                                  ? GetAudioSampleCounts(samplesPerSec, frameRate, 0, first + frames)
                                  : GetAudioSampleCounts(samplesPerSec, frameRate, 0, frames) +
                                        GetAudioSampleCounts(samplesPerSec, frameRate, frames, first));
                }
            }
        }
    }
}

TEST(AudioSampleCounts, NothingOrAnUnknownRate_IsNone)
{
    EXPECT_EQ(GetAudioSampleCounts(48000, EKrFrameRate::Rate25, 7, 0), 0u);
    EXPECT_EQ(GetAudioSampleCounts(48000, static_cast<EKrFrameRate>(8), 0, 100), 0u);
    EXPECT_EQ(GetAudioSampleCounts(48000, static_cast<EKrFrameRate>(0xFFFFFFFF), 0, 100), 0u);
}

TEST(KrFill32, SetsWhatWasAsked)
{
    uint32_t words[4] = {1, 1, 1, 1};
    KrFill32(words + 1, 0xAABBCCDD, 2);
    EXPECT_EQ(words[0], 1u);
    EXPECT_EQ(words[1], 0xAABBCCDDu);
    EXPECT_EQ(words[2], 0xAABBCCDDu);
    EXPECT_EQ(words[3], 1u);
}
