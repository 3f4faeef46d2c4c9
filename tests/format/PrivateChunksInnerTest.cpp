// The private information chunks as bytes: encoded, and decoded from whole, short and wrong data.
#include "format/KrPrivateChunks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace
{
using KrBytes = std::vector<uint8_t>;

// 'KrlA' up to the end of its last field; 478 zero bytes follow in a whole chunk.
constexpr uint8_t kKrlAFields[30] = {
    'k',  'o',  'r',  'i',  'n', '-', 'a', 'v', 'i', // 0: signature
    0,    0,    0,    0,    0,   0,   0,             // 9: the rest of the signature
    0,                                               // 16: not examined
    0x00, 0x00, 0x0F, 0x00,                          // 17: format mark
    0x01,                                            // 21: scan mode
    0x12, 0x34, 0x56, 0x78,                          // 22: pixel aspect horizontal, highest byte first
    0x9A, 0xBC, 0xDE, 0xF0,                          // 26: pixel aspect vertical
};

constexpr uint8_t kPrmAFields[20] = {
    'P',  'A',  'R',  'f',  // 0: type of the atom
    0x00, 0x00, 0x00, 0x14, // 4: its length, 20
    0x00, 0x01, 0x00, 0x00, // 8: version
    0x12, 0x34, 0x56, 0x78, // 12: pixel aspect horizontal, highest byte first
    0x9A, 0xBC, 0xDE, 0xF0, // 16: pixel aspect vertical
};

// 'CtsI' up to the end of its last field; 171 zero bytes follow in a whole chunk.
constexpr uint8_t kCtsIFields[25] = {
    0x00, 0x00, 0x02, 0x00,                         // 0: version mark
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // 4: zeros
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,             // 12: ones
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,             // 18: more of them
    0x02,                                           // 24: scan mode
};

KrBytes WholeChunk(std::span<const uint8_t> fields, size_t size)
{
    KrBytes chunk(fields.begin(), fields.end());
    chunk.resize(size);
    return chunk;
}

const SKrPrivateChunkKind& kKrlA = *FindPrivateChunkKind(kFccKrlA);
const SKrPrivateChunkKind& kPrmA = *FindPrivateChunkKind(kFccPrmA);
const SKrPrivateChunkKind& kCtsI = *FindPrivateChunkKind(kFccCtsI);

std::optional<std::pair<uint32_t, uint32_t>> Aspect(const SKrPrivateChunkKind& kind,
                                                    std::span<const uint8_t> data)
{
    const std::optional<SKrPixelAspect> aspect = DecodePixelAspect(kind, data);
    return aspect ? std::optional(std::pair{aspect->horizontal, aspect->vertical}) : std::nullopt;
}

constexpr std::pair kStoredAspect{0x12345678u, 0x9ABCDEF0u};

// Calls `check` with each byte in turn changed in three ways: one bit, all bits, and to a zero or a one.
template <class Check>
void ForEachChange(KrBytes data, size_t first, size_t last, Check&& check)
{
    for (size_t at = first; at <= last; ++at)
    {
        const uint8_t right = data[at];
        for (const uint8_t wrong :
             {static_cast<uint8_t>(right ^ 1), static_cast<uint8_t>(~right), uint8_t{right == 0}})
        {
            SCOPED_TRACE(testing::Message() << "byte " << at << " is " << int{wrong});
            data[at] = wrong;
            check(data);
        }
        data[at] = right;
    }
}

SKrAviVideoParams Params(uint32_t aspectMode, uint16_t displayWidth, int32_t width)
{
    SKrAviVideoParams params = {};
    params.aspectMode = aspectMode;
    params.displayWidth = displayWidth;
    params.displayHeight = 480;
    params.width = width;
    params.height = 576;
    return params;
}

std::pair<uint32_t, uint32_t> ToStore(uint32_t aspectMode, uint16_t displayWidth, int32_t width)
{
    const SKrPixelAspect aspect = PixelAspectToStore(Params(aspectMode, displayWidth, width));
    return {aspect.horizontal, aspect.vertical};
}
} // namespace

TEST(PrivateChunkKinds, Order_IsThatOfTheFile)
{
    std::vector<uint32_t> ids;
    for (const SKrPrivateChunkKind& kind : kPrivateChunkKinds)
        ids.push_back(kind.id);
    EXPECT_EQ(ids, (std::vector{kFccKrlA, kFccPrmA, kFccCtsI}));
    EXPECT_EQ(FindPrivateChunkKind(kFccJunk), nullptr);
}

TEST(PrivateChunkKinds, FieldThatAChunkDoesNotHave_IsNotRead)
{
    EXPECT_EQ(DecodeScanMode(kPrmA, WholeChunk(kPrmAFields, 508)), std::nullopt);
    EXPECT_EQ(DecodePixelAspect(kCtsI, WholeChunk(kCtsIFields, 196)), std::nullopt);
}

TEST(PrivateChunksBuild, KrlA_Has508BytesInThisOrder)
{
    EXPECT_EQ(BuildPrivateChunk(kKrlA, 1, {0x12345678, 0x9ABCDEF0}), WholeChunk(kKrlAFields, 508));
}

TEST(PrivateChunksBuild, PrmA_Has20BytesInThisOrder)
{
    EXPECT_EQ(BuildPrivateChunk(kPrmA, 1, {0x12345678, 0x9ABCDEF0}), WholeChunk(kPrmAFields, 20));
}

TEST(PrivateChunksBuild, CtsI_Has196BytesInThisOrder)
{
    EXPECT_EQ(BuildPrivateChunk(kCtsI, 2, {0x12345678, 0x9ABCDEF0}), WholeChunk(kCtsIFields, 196));
}

TEST(PrivateChunksBuild, EveryScanModeByte_IsStoredUnchanged)
{
    for (int mode = 0; mode <= 0xFF; ++mode)
    {
        EXPECT_EQ(BuildPrivateChunk(kKrlA, static_cast<uint8_t>(mode), {})[21], mode);
        EXPECT_EQ(BuildPrivateChunk(kCtsI, static_cast<uint8_t>(mode), {})[24], mode);
    }
    EXPECT_EQ(kNoScanModeByte, 0xFF);
}

TEST(PrivateChunksBuild, AspectOfANewRecord_Is1To1)
{
    const KrBytes krlA = BuildPrivateChunk(kKrlA, kNoScanModeByte, {});
    EXPECT_EQ(KrBytes(krlA.begin() + 21, krlA.begin() + 30), (KrBytes{0xFF, 0, 0, 0, 1, 0, 0, 0, 1}));
    const KrBytes prmA = BuildPrivateChunk(kPrmA, kNoScanModeByte, {});
    EXPECT_EQ(KrBytes(prmA.begin() + 12, prmA.end()), (KrBytes{0, 0, 0, 1, 0, 0, 0, 1}));
}

TEST(PixelAspectToStore, AspectModes0And1_AreDisplayWidthOverStoredWidthReduced)
{
    for (const uint32_t mode : {0u, 1u})
    {
        SCOPED_TRACE(mode);
        EXPECT_EQ(ToStore(mode, 768, 720), std::pair(16u, 15u));
        EXPECT_EQ(ToStore(mode, 1024, 720), std::pair(64u, 45u));
        EXPECT_EQ(ToStore(mode, 720, 720), std::pair(1u, 1u));
        EXPECT_EQ(ToStore(mode, 1920, 1440), std::pair(4u, 3u));
        EXPECT_EQ(ToStore(mode, 640, 720), std::pair(8u, 9u));
        EXPECT_EQ(ToStore(mode, 769, 720), std::pair(769u, 720u));
        EXPECT_EQ(ToStore(mode, 0xFFFF, 0x7FFFFFFF), std::pair(0xFFFFu, 0x7FFFFFFFu));
        EXPECT_EQ(ToStore(mode, 0xFFFF, 0x1FFFE), std::pair(1u, 2u));
    }
}

TEST(PixelAspectToStore, WidthOf0_IsNotDivided)
{
    for (const uint32_t mode : {0u, 1u})
    {
        SCOPED_TRACE(mode);
        EXPECT_EQ(ToStore(mode, 0, 720), std::pair(0u, 720u));
        EXPECT_EQ(ToStore(mode, 768, 0), std::pair(768u, 0u));
        EXPECT_EQ(ToStore(mode, 0, 0), std::pair(0u, 0u));
    }
}

TEST(PixelAspectToStore, AspectModes4And5_AreFixedAndNotReduced)
{
    EXPECT_EQ(ToStore(4, 768, 720), std::pair(648u, 720u));
    EXPECT_EQ(ToStore(5, 768, 720), std::pair(864u, 720u));
    EXPECT_EQ(ToStore(4, 0, 0), std::pair(648u, 720u));
    EXPECT_EQ(ToStore(5, 0, 0), std::pair(864u, 720u));
}

TEST(PixelAspectToStore, OtherAspectModes_Are1To1)
{
    for (const uint32_t mode : {2u, 3u, 6u, 7u, 100u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(ToStore(mode, 768, 720), std::pair(1u, 1u)) << mode;
}

TEST(KrlADecode, WholeRecord_GivesBothValues)
{
    const KrBytes data = WholeChunk(kKrlAFields, 508);
    EXPECT_EQ(DecodeScanMode(kKrlA, data), 1);
    EXPECT_EQ(Aspect(kKrlA, data), kStoredAspect);
}

TEST(KrlADecode, AnyWrongByteOfTheSignature_IsRefused)
{
    ForEachChange(WholeChunk(kKrlAFields, 508), 0, 15,
                  [](const KrBytes& data)
                  {
                      EXPECT_EQ(DecodeScanMode(kKrlA, data), std::nullopt);
                      EXPECT_EQ(Aspect(kKrlA, data), std::nullopt);
                  });
}

TEST(KrlADecode, AnyWrongByteOfTheMark_IsRefused)
{
    ForEachChange(WholeChunk(kKrlAFields, 508), 17, 20,
                  [](const KrBytes& data)
                  {
                      EXPECT_EQ(DecodeScanMode(kKrlA, data), std::nullopt);
                      EXPECT_EQ(Aspect(kKrlA, data), std::nullopt);
                  });
}

TEST(KrlADecode, Byte16AndThoseAfterTheFields_AreNotExamined)
{
    const auto accepted = [](const KrBytes& data)
    {
        EXPECT_EQ(DecodeScanMode(kKrlA, data), 1);
        EXPECT_EQ(Aspect(kKrlA, data), kStoredAspect);
    };
    ForEachChange(WholeChunk(kKrlAFields, 508), 16, 16, accepted);
    ForEachChange(WholeChunk(kKrlAFields, 508), 30, 507, accepted);
}

TEST(KrlADecode, EveryShorterPrefix_NeedsOnly20BytesAndReadsZerosAfterThem)
{
    const KrBytes whole = WholeChunk(kKrlAFields, 508);
    for (size_t size = 0; size <= whole.size(); ++size)
    {
        SCOPED_TRACE(size);
        const std::span data(whole.data(), size);
        if (size < 20)
        {
            EXPECT_EQ(DecodeScanMode(kKrlA, data), std::nullopt);
            EXPECT_EQ(Aspect(kKrlA, data), std::nullopt);
            continue;
        }
        KrBytes expected(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
        expected.resize(508);
        const auto at = [&expected](size_t place)
        {
            return uint32_t{expected[place]};
        };
        EXPECT_EQ(DecodeScanMode(kKrlA, data), size > 21 ? 1 : 0);
        EXPECT_EQ(Aspect(kKrlA, data), std::pair(at(22) << 24 | at(23) << 16 | at(24) << 8 | at(25),
                                                 at(26) << 24 | at(27) << 16 | at(28) << 8 | at(29)));
    }
}

TEST(PrmADecode, WholeAtom_GivesTheAspect)
{
    EXPECT_EQ(Aspect(kPrmA, kPrmAFields), kStoredAspect);
    EXPECT_EQ(Aspect(kPrmA, WholeChunk(kPrmAFields, 512)), kStoredAspect);
}

TEST(PrmADecode, AnyWrongByteOfTheHead_IsRefused)
{
    ForEachChange(WholeChunk(kPrmAFields, 20), 0, 11,
                  [](const KrBytes& data) { EXPECT_EQ(Aspect(kPrmA, data), std::nullopt); });
}

TEST(PrmADecode, AtomLengthOf24_IsRefused)
{
    KrBytes data = WholeChunk(kPrmAFields, 24);
    data[7] = 0x18;
    EXPECT_EQ(Aspect(kPrmA, data), std::nullopt);
}

TEST(PrmADecode, EveryShorterPrefix_IsRefused)
{
    for (size_t size = 0; size < 20; ++size)
        EXPECT_EQ(Aspect(kPrmA, std::span(kPrmAFields, size)), std::nullopt) << size;
}

TEST(CtsIDecode, WholeRecord_GivesTheScanMode)
{
    EXPECT_EQ(DecodeScanMode(kCtsI, WholeChunk(kCtsIFields, 196)), 2);
}

TEST(CtsIDecode, AnyWrongByteOfTheVersion_IsRefused)
{
    ForEachChange(WholeChunk(kCtsIFields, 196), 0, 3,
                  [](const KrBytes& data) { EXPECT_EQ(DecodeScanMode(kCtsI, data), std::nullopt); });
}

TEST(CtsIDecode, BytesBesideVersionAndScanMode_AreNotExamined)
{
    const auto accepted = [](const KrBytes& data)
    {
        EXPECT_EQ(DecodeScanMode(kCtsI, data), 2);
    };
    ForEachChange(WholeChunk(kCtsIFields, 196), 4, 23, accepted);
    ForEachChange(WholeChunk(kCtsIFields, 196), 25, 195, accepted);
}

TEST(CtsIDecode, EveryShorterPrefix_NeedsTheScanModeByte)
{
    const KrBytes whole = WholeChunk(kCtsIFields, 196);
    for (size_t size = 0; size < 25; ++size)
        EXPECT_EQ(DecodeScanMode(kCtsI, std::span(whole.data(), size)), std::nullopt) << size;
    for (size_t size = 25; size <= 196; ++size)
        EXPECT_EQ(DecodeScanMode(kCtsI, std::span(whole.data(), size)), 2) << size;
}

TEST(ScanModeOfByte, OnlyThreeBytes_AreModes)
{
    EXPECT_EQ(ScanModeOfByte(0), EKrScanMode::UpperFieldFirst);
    EXPECT_EQ(ScanModeOfByte(1), EKrScanMode::LowerFieldFirst);
    EXPECT_EQ(ScanModeOfByte(2), EKrScanMode::Progressive);
    for (int stored = 3; stored <= 0xFF; ++stored)
        EXPECT_EQ(ScanModeOfByte(static_cast<uint8_t>(stored)), EKrScanMode::Unknown) << stored;
}
