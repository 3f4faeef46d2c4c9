// Byte order of single values, and the cursors over them.
#include "format/KrBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace
{
constexpr uint8_t kCounted[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};
constexpr uint8_t kHigh[] = {0xFE, 0xFD, 0xFC, 0xFB, 0xFA, 0xF9, 0xF8, 0xF7};

using KrByteList = std::vector<uint8_t>;
} // namespace

TEST(Bytes, GetLittleEndian_TakesTheLowestByteFirst)
{
    EXPECT_EQ(GetLe16(kCounted), 0x0201u);
    EXPECT_EQ(GetLe32(kCounted), 0x04030201u);
    EXPECT_EQ(GetLe64(kCounted), 0x0807060504030201u);
}

TEST(Bytes, GetLittleEndianWithTheSignBitSet_StaysUnsigned)
{
    EXPECT_EQ(GetLe16(kHigh), 0xFDFEu);
    EXPECT_EQ(GetLe32(kHigh), 0xFBFCFDFEu);
    EXPECT_EQ(GetLe64(kHigh), 0xF7F8F9FAFBFCFDFEu);
}

TEST(Bytes, GetBigEndian_TakesTheHighestByteFirst)
{
    EXPECT_EQ(GetBe32(kCounted), 0x01020304u);
    EXPECT_EQ(GetBe32(kHigh), 0xFEFDFCFBu);
}

TEST(Bytes, Get_ReadsAtAnyAlignment)
{
    EXPECT_EQ(GetLe16(kCounted + 1), 0x0302u);
    EXPECT_EQ(GetLe32(kCounted + 3), 0x07060504u);
    EXPECT_EQ(GetBe32(kCounted + 1), 0x02030405u);
}

TEST(Bytes, Put_WritesItsOwnBytesOnly)
{
    uint8_t to[10];
    const auto refill = [&to]
    {
        std::fill_n(to, sizeof to, uint8_t{0xEE});
    };
    refill();
    PutLe16(to + 1, 0xFDFE);
    EXPECT_EQ(KrByteList(to, to + 4), (KrByteList{0xEE, 0xFE, 0xFD, 0xEE}));
    refill();
    PutLe32(to + 1, 0xFBFCFDFE);
    EXPECT_EQ(KrByteList(to, to + 6), (KrByteList{0xEE, 0xFE, 0xFD, 0xFC, 0xFB, 0xEE}));
    refill();
    PutLe64(to + 1, 0xF7F8F9FAFBFCFDFE);
    EXPECT_EQ(KrByteList(to, to + 10),
              (KrByteList{0xEE, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA, 0xF9, 0xF8, 0xF7, 0xEE}));
    refill();
    PutBe32(to + 1, 0xFBFCFDFE);
    EXPECT_EQ(KrByteList(to, to + 6), (KrByteList{0xEE, 0xFB, 0xFC, 0xFD, 0xFE, 0xEE}));
}

TEST(ByteReader, Fields_FollowEachOther)
{
    const uint8_t bytes[] = {
        0x80,                                           // 8 bits
        0x01, 0x82,                                     // 16 bits, lowest byte first
        0x03, 0x04, 0x05, 0x86,                         // 32 bits, lowest byte first
        0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x8E, // 64 bits, lowest byte first
        0x8F, 0x10, 0x11, 0x12,                         // 32 bits, highest byte first
    };
    CKrByteReader in(bytes);
    EXPECT_EQ(in.U8(), 0x80u);
    EXPECT_EQ(in.U16Le(), 0x8201u);
    EXPECT_EQ(in.U32Le(), 0x86050403u);
    EXPECT_EQ(in.U64Le(), 0x8E0D0C0B0A090807u);
    EXPECT_EQ(in.U32Be(), 0x8F101112u);
    EXPECT_TRUE(in.Ok());
}

TEST(ByteReader, FieldPastTheEnd_IsZeroAndNoted)
{
    CKrByteReader in({});
    EXPECT_TRUE(in.Ok());
    EXPECT_EQ(in.U8(), 0u);
    EXPECT_FALSE(in.Ok());
    EXPECT_EQ(in.U64Le(), 0u);
}

TEST(ByteReader, FieldCutByTheEnd_ReadsAsIfZerosFollowed)
{
    for (size_t length = 0; length < 8; ++length)
    {
        const std::vector<uint8_t> bytes(length, 0xFF);
        CKrByteReader in(bytes);
        EXPECT_EQ(in.U64Le(), (uint64_t{1} << 8 * length) - 1) << length;
        EXPECT_FALSE(in.Ok()) << length;
        EXPECT_EQ(in.U8(), 0u) << length << ": what was cut must not turn up as another field";
        EXPECT_EQ(in.U64Le(), 0u) << length;
        EXPECT_FALSE(in.Ok()) << length;
    }
}

TEST(ByteReader, FieldHighestByteFirstCutByTheEnd_ReadsAsIfZerosFollowed)
{
    CKrByteReader in(std::span(kHigh, 3));
    EXPECT_EQ(in.U32Be(), 0xFEFDFC00u);
    EXPECT_FALSE(in.Ok());
}

TEST(ByteReader, LastFieldAtTheVeryEnd_IsRead)
{
    CKrByteReader in(kCounted);
    EXPECT_EQ(in.U64Le(), 0x0807060504030201u);
    EXPECT_TRUE(in.Ok());
}

TEST(ByteWriter, Fields_AreAppended)
{
    std::vector<uint8_t> bytes{0xEE};
    CKrByteWriter out(bytes);
    out.U8(0x80);
    out.U16Le(0x8201);
    out.U32Le(0x86050403);
    out.U64Le(0x8E0D0C0B0A090807);
    out.U32Be(0x8F101112);
    EXPECT_EQ(bytes, (KrByteList{0xEE, 0x80, 0x01, 0x82, 0x03, 0x04, 0x05, 0x86, 0x07, 0x08,
                                 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x8E, 0x8F, 0x10, 0x11, 0x12}));
}
