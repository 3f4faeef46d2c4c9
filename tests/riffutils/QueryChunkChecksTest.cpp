// Which private chunks the queries accept: fixed bytes, sizes, and chunks truncated by the end of the file.
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrTempFolder.h"

using namespace KrTest;

namespace
{
// The results for a file whose one private chunk is the last of its first segment.
class QueryChunkChecks : public testing::Test
{
protected:
    // `left`: how many bytes of the chunk's payload the file holds; all of them without a value.
    IKrRiffReader* Open(const std::string& id, const KrBytes& payload,
                        std::optional<uint64_t> left = std::nullopt, SKrChunkOptions options = {})
    {
        SKrSimpleAvi avi = SmallAvi();
        SKrBuiltChunk chunk;
        avi.endOfRiff = [&](CKrAviBuilder& file)
        {
            chunk = file.Chunk(id, payload, options);
        };
        SKrBuiltAvi built = BuildSimpleAvi(avi);
        if (left)
            built.content.Resize(chunk.data + *left);
        m_reader.Reset(); // on Windows an open file cannot be replaced
        m_reader = OpenedReader(m_folder.Write(L"a.avi", built.content));
        return m_reader.Get();
    }

private:
    CKrTempFolder m_folder;
    CKrRef<IKrRiffReader> m_reader;
};

SKrTestKrlA KrlA(size_t size = 508)
{
    return {.scanMode = 1, .horizontal = 0x01020304, .vertical = 0x05060708, .size = size};
}
} // namespace

TEST_F(QueryChunkChecks, KrlAOfEachSize_NeedsOnly20BytesAndReadsMissingFieldsAsZeros)
{
    struct SCase
    {
        size_t size;
        SKrModeAnswer mode;
        SKrAspectAnswer aspect;
    };
    for (const SCase& test : std::initializer_list<SCase>{
             {1, kNoMode, kNoAspect},
             {19, kNoMode, kNoAspect},
             {20, Mode(0), Aspect(0, 0)}, // the last byte of the mark reads as zero too
             {21, Mode(0), Aspect(0, 0)},
             {22, Mode(1), Aspect(0, 0)},
             {23, Mode(1), Aspect(0x01000000, 0)},
             {26, Mode(1), Aspect(0x01020304, 0)},
             {29, Mode(1), Aspect(0x01020304, 0x05060700)},
             {30, Mode(1), Aspect(0x01020304, 0x05060708)},
             {508, Mode(1), Aspect(0x01020304, 0x05060708)},
             {511, Mode(1), Aspect(0x01020304, 0x05060708)},
             {512, Mode(1), Aspect(0x01020304, 0x05060708)},
             {513, Mode(1), Aspect(0x01020304, 0x05060708)},
             {600, Mode(1), Aspect(0x01020304, 0x05060708)},
             {100'000, Mode(1), Aspect(0x01020304, 0x05060708)},
         })
    {
        SCOPED_TRACE(test.size);
        IKrRiffReader* const reader = Open("KrlA", ToBytes(KrlA(test.size)));
        EXPECT_EQ(AskMode(reader, 1), test.mode);
        EXPECT_EQ(AskAspect(reader, 1), test.aspect);
    }
}

TEST_F(QueryChunkChecks, ShortKrlAAfterALongOne_StillReadsZeros)
{
    EXPECT_EQ(AskAspect(Open("KrlA", ToBytes(KrlA())), 1), Aspect(0x01020304, 0x05060708));
    EXPECT_EQ(AskAspect(Open("KrlA", ToBytes(KrlA(20))), 1), Aspect(0, 0));
    EXPECT_EQ(AskMode(Open("KrlA", ToBytes(KrlA(20))), 1), Mode(0));
}

TEST_F(QueryChunkChecks, BytesAfterAShortKrlA_AreNotReadAsItsFields)
{
    KrBytes payload = ToBytes(KrlA(508));
    IKrRiffReader* const reader = Open("KrlA", payload, std::nullopt, {.size = 22});
    EXPECT_EQ(AskMode(reader, 1), Mode(1));
    EXPECT_EQ(AskAspect(reader, 1), Aspect(0, 0));
}

TEST_F(QueryChunkChecks, KrlAOfSize0_IsRefused)
{
    IKrRiffReader* const reader = Open("KrlA", {});
    EXPECT_EQ(AskMode(reader, 1), kNoMode);
    EXPECT_EQ(AskAspect(reader, 1), kNoAspect);
}

TEST_F(QueryChunkChecks, PrmAOfEachSize_NeedsAll20Bytes)
{
    for (const size_t size : {1, 12, 19})
        EXPECT_EQ(AskAspect(Open("PrmA", ToBytes(SKrTestPrmA{.size = size})), 2), kNoAspect) << size;
    for (const size_t size : {20, 21, 511, 512, 513, 600, 100'000})
    {
        const SKrTestPrmA chunk{.horizontal = 4, .vertical = 3, .size = size};
        EXPECT_EQ(AskAspect(Open("PrmA", ToBytes(chunk)), 2), Aspect(4, 3)) << size;
    }
}

TEST_F(QueryChunkChecks, CtsIOfEachSize_NeedsTheScanModeByte)
{
    for (const size_t size : {1, 4, 24})
        EXPECT_EQ(AskMode(Open("CtsI", ToBytes(SKrTestCtsI{.scanMode = 1, .size = size})), 2), kNoMode)
            << size;
    for (const size_t size : {25, 26, 196, 512, 513, 600, 100'000})
        EXPECT_EQ(AskMode(Open("CtsI", ToBytes(SKrTestCtsI{.scanMode = 1, .size = size})), 2), Mode(1))
            << size;
}

TEST_F(QueryChunkChecks, KrlACutByTheEndOfTheFile_IsRefused)
{
    for (const uint64_t left : {1, 20, 30, 507})
    {
        SCOPED_TRACE(left);
        IKrRiffReader* const reader = Open("KrlA", ToBytes(KrlA()), left);
        EXPECT_EQ(AskMode(reader, 1), kNoMode);
        EXPECT_EQ(AskAspect(reader, 1), kNoAspect);
    }
    EXPECT_EQ(AskMode(Open("KrlA", ToBytes(KrlA()), 508), 1), Mode(1)) << "nothing is missing";
}

TEST_F(QueryChunkChecks, LargeKrlACutByTheEndOfTheFile_NeedsItsFirst512Bytes)
{
    EXPECT_EQ(AskMode(Open("KrlA", ToBytes(KrlA(600)), 511), 1), kNoMode);
    EXPECT_EQ(AskMode(Open("KrlA", ToBytes(KrlA(600)), 512), 1), Mode(1));
    EXPECT_EQ(AskAspect(Open("KrlA", ToBytes(KrlA(600)), 511), 1), kNoAspect);
    EXPECT_EQ(AskAspect(Open("KrlA", ToBytes(KrlA(600)), 599), 1), Aspect(0x01020304, 0x05060708));
}

TEST_F(QueryChunkChecks, PrmAAndCtsICutByTheEndOfTheFile_AreRefused)
{
    const KrBytes prmA = ToBytes(SKrTestPrmA{.horizontal = 4, .vertical = 3});
    EXPECT_EQ(AskAspect(Open("PrmA", prmA, 19), 2), kNoAspect);
    EXPECT_EQ(AskAspect(Open("PrmA", prmA, 20), 2), Aspect(4, 3));
    const KrBytes largePrmA = ToBytes(SKrTestPrmA{.horizontal = 4, .vertical = 3, .size = 600});
    EXPECT_EQ(AskAspect(Open("PrmA", largePrmA, 550), 2), kNoAspect);
    EXPECT_EQ(AskAspect(Open("PrmA", largePrmA, 599), 2), kNoAspect);
    EXPECT_EQ(AskAspect(Open("PrmA", largePrmA, 600), 2), Aspect(4, 3));

    const KrBytes ctsI = ToBytes(SKrTestCtsI{.scanMode = 1});
    EXPECT_EQ(AskMode(Open("CtsI", ctsI, 195), 2), kNoMode);
    EXPECT_EQ(AskMode(Open("CtsI", ctsI, 196), 2), Mode(1));
    const KrBytes largeCtsI = ToBytes(SKrTestCtsI{.scanMode = 1, .size = 600});
    EXPECT_EQ(AskMode(Open("CtsI", largeCtsI, 599), 2), kNoMode);
    EXPECT_EQ(AskMode(Open("CtsI", largeCtsI, 600), 2), Mode(1));
}

TEST_F(QueryChunkChecks, SizesThatNoFileHolds_AreRefusedWithoutHarm)
{
    for (const uint32_t size : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu})
    {
        SCOPED_TRACE(size);
        const SKrChunkOptions claim{.size = size};
        EXPECT_EQ(AskMode(Open("KrlA", ToBytes(KrlA()), std::nullopt, claim), 1), kNoMode);
        EXPECT_EQ(AskMode(Open("CtsI", ToBytes(SKrTestCtsI{.scanMode = 1}), std::nullopt, claim), 2),
                  kNoMode);
        EXPECT_EQ(AskAspect(Open("PrmA", ToBytes(SKrTestPrmA{}), std::nullopt, claim), 2), kNoAspect);
    }
}
