// The validity of an audio format, field by field: the parse never keeps a format with just one of them.
#include "tests/reader/HeaderParseInnerSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
// Whether the first audio format is valid with these values in place of the parsed ones.
int ValidityWith(uint32_t samplesPerSec, uint16_t bitsPerSample)
{
    SKrSimpleAvi avi;
    avi.streams.push_back(PcmStream());
    CKrParsedInMemory file(avi);
    SKrStreamState& state = const_cast<SKrStreamState&>(file.State());
    state.audio[0].format = {};
    state.audio[0].format.samplesPerSec = samplesPerSec;
    state.audio[0].format.bitsPerSample = bitsPerSample;
    CArray<SKrChunkIndexEntry> entries;
    EXPECT_EQ(file.Reader().LoadVideoIndex(entries), 1); // publishes the state to the queries

    SKrWaveFormatInfo format = {7, 0, 0, 0, 0, 0};
    int valid = -1;
    uint32_t chunkId = 0;
    double duration = -1;
    EXPECT_EQ(file.Reader().GetAudioStreamInfo(&format, &valid, &chunkId, &duration), 1);
    EXPECT_EQ(chunkId, 0x62773130u) << "01wb";
    EXPECT_EQ(format.formatTag, valid == 1 ? 0u : 7u) << "written only when it is valid";
    EXPECT_EQ(duration >= 0, valid == 1);
    return valid;
}
} // namespace

TEST(StreamInfoValidity, AudioFormat_NeedsASampleRateAndASampleSize)
{
    EXPECT_EQ(ValidityWith(48000, 16), 1);
    EXPECT_EQ(ValidityWith(1, 1), 1) << "nothing else counts";
    EXPECT_EQ(ValidityWith(0, 16), 0);
    EXPECT_EQ(ValidityWith(48000, 0), 0);
    EXPECT_EQ(ValidityWith(0, 0), 0);
}
