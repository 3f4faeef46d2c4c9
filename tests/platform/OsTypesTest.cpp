// The media types of the platform's own headers are the ones that the public headers declare.
#include "KrOsTypes.h"

#include <gtest/gtest.h>

#include <cstddef>

TEST(OsTypesTest, WaveFormat_HasItsFieldsAtTheirPlaces)
{
    EXPECT_EQ(sizeof(WAVEFORMATEX), 18u);
    EXPECT_EQ(offsetof(WAVEFORMATEX, wFormatTag), 0u);
    EXPECT_EQ(offsetof(WAVEFORMATEX, nChannels), 2u);
    EXPECT_EQ(offsetof(WAVEFORMATEX, nSamplesPerSec), 4u);
    EXPECT_EQ(offsetof(WAVEFORMATEX, nAvgBytesPerSec), 8u);
    EXPECT_EQ(offsetof(WAVEFORMATEX, nBlockAlign), 12u);
    EXPECT_EQ(offsetof(WAVEFORMATEX, wBitsPerSample), 14u);
    EXPECT_EQ(offsetof(WAVEFORMATEX, cbSize), 16u);
}
