// Hostile structures: long runs of zeros, masses of tiny lists and of streams, endless nesting, and random
// damage.
#include "tests/reader/HostileFileSupport.h"
#include "tests/support/KrByteWriter.h"

#include <gtest/gtest.h>

#include <random>

using namespace KrTest;

namespace
{
constexpr int kDamagedFiles = 10'000;
constexpr uint64_t kZeroRun = 20'000'000;

// A part of the run in which single steps would take a read each.
constexpr SKrStretch kNarrow = {kZeroRun / 2, kZeroRun / 2 + 600'000};
constexpr uint64_t kReadsForARun = kZeroRun / (64 * 1024) + // in windows of 64 KiB
                                   (kNarrow.to - kNarrow.from) / CKrNarrowFileSystem::kBytesOfARead + 40;

// Lists inside each other, `depth` of them, with one chunk in the innermost.
KrBytes Nested(uint32_t depth)
{
    CKrTestByteWriter bytes;
    for (uint32_t level = depth; level > 0; --level)
        bytes.FourCc("LIST")
            .U32(12 * level)
            .FourCc("deep"); // 4 of its own, 12 for each inside, 8 of the chunk
    bytes.FourCc("leaf").U32(0);
    return bytes.Bytes();
}

SKrSimpleAvi WithNested(uint32_t depth)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [depth](CKrAviBuilder& file)
    {
        file.Raw(Nested(depth));
    };
    return avi;
}

// One round of damage. The changes keep chunks recognisable, unlike single random bytes.
void Damage(KrBytes& bytes, std::mt19937& random)
{
    const auto place = [&](size_t margin)
    {
        return bytes.begin() + static_cast<ptrdiff_t>(random() % (bytes.size() - margin));
    };
    const size_t length = 1 + random() % 64;
    switch (random() % 7)
    {
    case 0: // bytes of one place over those of another
    {
        const auto from = place(65);
        const KrBytes piece(from, from + static_cast<ptrdiff_t>(length));
        std::copy(piece.begin(), piece.end(), place(65));
        break;
    }
    case 1: // a piece missing
    {
        const auto from = place(65);
        bytes.erase(from, from + static_cast<ptrdiff_t>(length));
        break;
    }
    case 2: // zeros in between
        bytes.insert(place(1), length, 0);
        break;
    case 3: // a small or a huge number
    {
        const uint32_t numbers[] = {0, 1, 4, 8, 0xFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFF};
        const uint32_t number = numbers[random() % std::size(numbers)];
        const auto at = place(5);
        for (ptrdiff_t byte = 0; byte < 4; ++byte)
            at[byte] = static_cast<uint8_t>(number >> (8 * byte));
        break;
    }
    case 4: // an id where there was none
    {
        const char* const ids[] = {"LIST", "RIFF", "indx", "idx1", "movi",
                                   "strl", "strf", "00dc", "JUNK", "KrlA"};
        std::copy_n(ids[random() % std::size(ids)], 4, place(5));
        break;
    }
    case 5: // a bit
        *place(1) ^= static_cast<uint8_t>(1u << random() % 8);
        break;
    default: // the end missing
        bytes.resize(bytes.size() - std::min<size_t>(length, bytes.size() - 300));
        break;
    }
}
} // namespace

TEST(HostileFileShapes, ZerosBeforeASuperIndex_AreJumped)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::Idx1);
    avi.streams[0].endOfStrl = [](CKrAviBuilder& file)
    {
        file.Zeros(kZeroRun);
        file.Chunk("indx", ToBytes(SKrTestSuperIndex{}));
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrHostileFile file(built.content, kNarrow);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Reader().StreamState().videoIndex.indexPosition, built.Find("indx").header);
    EXPECT_LT(file.Reads(), kReadsForARun);
}

TEST(HostileFileShapes, ZerosBetweenDataChunks_AreJumped)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::Idx1);
    avi.startOfMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(kZeroRun);
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrHostileFile file(built.content, kNarrow);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(file.Reader().StreamState().videoIndex.firstChunkPosition, built.streamChunks[0][0].header);
    EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
    EXPECT_LT(file.Reads(), kReadsForARun) << "once for the locators and the detection together";
}

TEST(HostileFileShapes, ZerosBeforeTheOldIndex_AreJumped)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::Idx1);
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Zeros(kZeroRun);
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrHostileFile file(built.content, kNarrow);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
    EXPECT_EQ(LoadAudioOf(file.Reader()).entries, ChunksOf(built, 1));
    EXPECT_LT(file.Reads(), kReadsForARun) << "once for both locators";
    EXPECT_LT(file.WalkAll(), 40u) << "a walk ends at the fifth empty header";
}

TEST(HostileFileShapes, NothingButZeros_IsNoFile)
{
    CKrFileContent content;
    content.Resize(kZeroRun);
    CKrHostileFile file(content, kNarrow);
    EXPECT_EQ(file.Status(), 0);
    EXPECT_LT(file.Reads(), kReadsForARun);
}

TEST(HostileFileShapes, CrowdOfEmptyLists_IsWalkedAndSearched)
{
    constexpr uint32_t kLists = 15'000;
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::Idx1);
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        CKrTestByteWriter lists;
        for (uint32_t list = 0; list < kLists; ++list)
            lists.FourCc("LIST").U32(4).FourCc("tiny");
        file.Raw(lists.Bytes());
    };
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrHostileFile file(built.content);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
    const uint64_t before = file.Reads();
    EXPECT_GT(file.WalkAll(), kLists);
    EXPECT_GT(file.SearchAll(), kLists);
    EXPECT_LT(file.Reads() - before, 100u) << "a run of small chunks is read ahead";
    file.UseEverything();
}

TEST(HostileFileShapes, CrowdOfStreams_KeepsTheFirstOnes)
{
    constexpr uint32_t kStreams = 2000;
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        SKrSimpleAvi avi;
        avi.index = index;
        avi.superIndexSlots = 1;
        avi.streams.assign(kStreams, VideoStream({}));
        for (uint32_t stream = 1; stream < kStreams; stream += 2)
            avi.streams[stream] = PcmStream({});
        avi.streams[0] = VideoStream({10, 11});
        avi.streams[1] = PcmStream({8, 8});
        const SKrBuiltAvi built = BuildSimpleAvi(avi);
        CKrHostileFile file(built.content);
        ASSERT_EQ(file.Status(), 1);
        EXPECT_EQ(file.Reader().StreamState().videoStreamNumber, 0u);
        EXPECT_EQ(file.Reader().StreamState().audioStreamCount, 8);
        EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
        EXPECT_EQ(LoadAudioOf(file.Reader()).entries, ChunksOf(built, 1));
        file.UseEverything();
    }
}

// Deep enough that recursion would overflow the stack.
TEST(HostileFileShapes, ListsNested100000Deep_AreWalkedSearchedAndClosed)
{
    constexpr uint32_t kDepth = 100'000;
    const SKrBuiltAvi built = BuildSimpleAvi(WithNested(kDepth));
    CKrHostileFile file(built.content);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
    EXPECT_GE(file.SearchAll(), kDepth);

    uint32_t ckid, type, size;
    uint64_t offset;
    SKrRiffChunkNode* node = nullptr;
    ASSERT_EQ(file.Reader().FindFirstRiffSegment(), 1);
    EXPECT_EQ(file.Reader().FindNextRiffSegment(&type, &size, &offset, &node), 0);
    ASSERT_EQ(file.Reader().FindFirstSubChunk(node), 1);
    do
        ASSERT_EQ(file.Reader().FindNextSubChunk(&ckid, &type, &size, &offset, &node), 1);
    while (type != FourCcValue("deep"));
    for (uint32_t level = 1; level < kDepth; ++level)
    {
        ASSERT_EQ(file.Reader().FindFirstSubChunk(node), 1);
        ASSERT_EQ(file.Reader().FindNextSubChunk(&ckid, &type, &size, &offset, &node), 0);
        ASSERT_EQ(type, FourCcValue("deep")) << level;
    }
    ASSERT_EQ(file.Reader().FindFirstSubChunk(node), 1);
    EXPECT_EQ(file.Reader().FindNextSubChunk(&ckid, &type, &size, &offset, &node), 0);
    EXPECT_EQ(ckid, FourCcValue("leaf"));
    file.Reader().Close();
    EXPECT_EQ(file.Reader().GetFileLength(), 0u);
}

// The same without an end: each list claims all of the rest of the file.
TEST(HostileFileShapes, ListsThatAllReachTheEndOfTheFile_AreWalkedAndSearched)
{
    KrBytes bytes = BuildSimpleAvi(WithNested(5000)).Bytes();
    for (size_t at = 0; at + 12 <= bytes.size(); at += 2)
    {
        if (std::equal(bytes.begin() + static_cast<ptrdiff_t>(at + 8),
                       bytes.begin() + static_cast<ptrdiff_t>(at + 12), "deep"))
            std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(at + 4), 4, uint8_t{0xFF});
    }
    CKrHostileFile file(bytes);
    ASSERT_EQ(file.Status(), 1);
    EXPECT_GT(file.WalkAll(), 5000u);
    EXPECT_GT(file.SearchAll(), 5000u);
    file.UseEverything();
}

TEST(HostileFileShapes, EveryPrefix_OpensOrIsRefused)
{
    for (const EKrIndexKind kind : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        const KrBytes whole = BuildSimpleAvi(RichAvi(kind)).Bytes();
        for (size_t size = 0; size < whole.size(); ++size)
        {
            SCOPED_TRACE(size);
            CKrHostileFile file(KrBytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)));
            ASSERT_TRUE(size > 200 || file.Status() == 0);
            if (file.Status() != 0)
                file.UseEverything();
        }
    }
}

TEST(HostileFileShapes, TenThousandDamagedFiles_EndInAStatus)
{
    const KrBytes corpus[] = {BuildSimpleAvi(RichAvi(EKrIndexKind::Idx1)).Bytes(),
                              BuildSimpleAvi(RichAvi(EKrIndexKind::OpenDml)).Bytes(),
                              BuildSimpleAvi(RichAvi(EKrIndexKind::OpenDml, 0x10)).Bytes(),
                              BuildSimpleAvi(RichAvi(EKrIndexKind::Both)).Bytes()};
    std::mt19937 random(20010911);
    size_t opened = 0;
    for (int round = 0; round < kDamagedFiles && !testing::Test::HasFailure(); ++round)
    {
        KrBytes bytes = corpus[random() % std::size(corpus)];
        for (uint32_t changes = 1 + random() % 6; changes > 0; --changes)
            Damage(bytes, random);
        SCOPED_TRACE(round);
        CKrHostileFile file(bytes);
        if (file.Status() == 0)
            continue;
        ++opened;
        file.UseEverything();
    }
    EXPECT_GT(opened, kDamagedFiles / 2u) << "most of the damage must get past the first headers";
}
