// 'strf' of an audio stream as stored in the file.
#include "format/KrAviHeaders.h"
#include "tests/format/RecordCodec.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
constexpr uint8_t kWaveFormatBytes[] = {
    0xFE, 0xFF,             // wFormatTag: 0xFFFE
    0x02, 0x81,             // nChannels
    0x80, 0xBB, 0x00, 0x80, // nSamplesPerSec
    0x00, 0xEE, 0x02, 0x90, // nAvgBytesPerSec
    0x04, 0x83,             // nBlockAlign
    0x10, 0x85,             // wBitsPerSample
    0x16, 0x87,             // cbSize
};

constexpr SKrWaveFormat kFormat{.formatTag = 0xFFFE,
                                .channels = 0x8102,
                                .samplesPerSec = 0x8000BB80,
                                .avgBytesPerSec = 0x9002EE00,
                                .blockAlign = 0x8304,
                                .bitsPerSample = 0x8510,
                                .extraSize = 0x8716};

void ExpectSame(const SKrWaveFormat& format, const SKrWaveFormat& expected)
{
    EXPECT_EQ(format.formatTag, expected.formatTag);
    EXPECT_EQ(format.channels, expected.channels);
    EXPECT_EQ(format.samplesPerSec, expected.samplesPerSec);
    EXPECT_EQ(format.avgBytesPerSec, expected.avgBytesPerSec);
    EXPECT_EQ(format.blockAlign, expected.blockAlign);
    EXPECT_EQ(format.bitsPerSample, expected.bitsPerSample);
    EXPECT_EQ(format.extraSize, expected.extraSize);
}
} // namespace

TEST(WaveFormat, Layout_Is18Bytes)
{
    EXPECT_EQ(sizeof kWaveFormatBytes, SKrWaveFormat::kEncodedSize);
}

TEST(WaveFormat, Bytes_DecodeToTheFields)
{
    ExpectSame(DecodeWaveFormat(kWaveFormatBytes), kFormat);
}

TEST(WaveFormat, Fields_EncodeToTheBytes)
{
    EXPECT_EQ(Encoded(kFormat), Prefix(kWaveFormatBytes, sizeof kWaveFormatBytes));
}

TEST(WaveFormat, Default_IsAllZeros)
{
    EXPECT_EQ(Encoded(SKrWaveFormat{}), std::vector<uint8_t>(SKrWaveFormat::kEncodedSize));
}

TEST(WaveFormat, FourteenBytes_HaveNoBitsPerSample)
{
    SKrWaveFormat expected = kFormat;
    expected.bitsPerSample = 0;
    expected.extraSize = 0;
    ExpectSame(DecodeWaveFormat(Prefix(kWaveFormatBytes, 14)), expected);
}

TEST(WaveFormat, SixteenBytes_HaveNoExtraSize)
{
    SKrWaveFormat expected = kFormat;
    expected.extraSize = 0;
    ExpectSame(DecodeWaveFormat(Prefix(kWaveFormatBytes, 16)), expected);
}

TEST(WaveFormat, BytesAfterTheStructure_AreSkipped)
{
    std::vector<uint8_t> bytes = Prefix(kWaveFormatBytes, sizeof kWaveFormatBytes);
    bytes.resize(40, 0xFF);
    ExpectSame(DecodeWaveFormat(bytes), kFormat);
}

TEST(WaveFormat, EveryShorterPrefix_ReadsAsIfZerosFollowed)
{
    for (size_t length = 0; length < sizeof kWaveFormatBytes; ++length)
    {
        SCOPED_TRACE(length);
        std::vector<uint8_t> padded = Prefix(kWaveFormatBytes, length);
        padded.resize(sizeof kWaveFormatBytes, 0);
        ExpectSame(DecodeWaveFormat(Prefix(kWaveFormatBytes, length)), DecodeWaveFormat(padded));
    }
}

TEST(WaveFormat, NoBytes_AreAllZero)
{
    ExpectSame(DecodeWaveFormat({}), SKrWaveFormat{});
}

TEST(WaveFormat, FieldCutByTheEnd_KeepsItsLowBytes)
{
    EXPECT_EQ(DecodeWaveFormat(Prefix(kWaveFormatBytes, 15)).bitsPerSample, 0x10);
    EXPECT_EQ(DecodeWaveFormat(Prefix(kWaveFormatBytes, 17)).extraSize, 0x16);
}

namespace
{
// A WAVEFORMATEXTENSIBLE up to the first bytes of its sub-format.
std::vector<uint8_t> ExtensibleFormat(std::initializer_list<uint8_t> subFormat)
{
    std::vector<uint8_t> bytes = Prefix(kWaveFormatBytes, sizeof kWaveFormatBytes);
    bytes.insert(bytes.end(), {0x10, 0x00, 0x03, 0x00, 0x00, 0x00}); // valid bits, channel mask
    bytes.insert(bytes.end(), subFormat);
    return bytes;
}
} // namespace

TEST(WaveFormat, ExtensibleFormat_HasTheTagOfItsSubFormat)
{
    SKrWaveFormat expected = kFormat;
    expected.formatTag = 0x8103;
    ExpectSame(DecodeResolvedWaveFormat(ExtensibleFormat({0x03, 0x81, 0xFF})), expected);
}

TEST(WaveFormat, ExtensibleFormatCutInItsSubFormat_KeepsTheLowByte)
{
    EXPECT_EQ(DecodeResolvedWaveFormat(ExtensibleFormat({0x03})).formatTag, 0x03);
    EXPECT_EQ(DecodeResolvedWaveFormat(ExtensibleFormat({})).formatTag, 0);
    EXPECT_EQ(DecodeResolvedWaveFormat(kWaveFormatBytes).formatTag, 0);
}

TEST(WaveFormat, OtherFormat_KeepsItsTag)
{
    std::vector<uint8_t> bytes = ExtensibleFormat({0x03, 0x81});
    bytes[1] = 0x7F;
    EXPECT_EQ(DecodeResolvedWaveFormat(bytes).formatTag, 0x7FFE);
}
