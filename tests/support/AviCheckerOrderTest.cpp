// The checker of written files: chunks, indexes and segments where none may be, or missing where they must
// be.
#include "tests/support/KrAviCheckerRules.h"
#include "tests/support/KrWrittenAviBuilder.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

using namespace KrTest;

namespace
{
using EStart = CKrWrittenAviBuilder::EStart;

constexpr uint32_t kLargeFrame = 60'000'000; // 17 of them fit into a segment

SKrWritten WithAudio()
{
    SKrWritten from;
    from.pcm = SKrPcmFormat{};
    return from;
}

void Frames(CKrWrittenAviBuilder& file, size_t count, uint32_t size = 100)
{
    for (size_t number = 0; number < count; ++number)
        file.Group({}, size);
}

// Padded frames, and nothing that becomes due with them.
void BareFrames(CKrWrittenAviBuilder& file, size_t count, uint32_t size = 100)
{
    for (size_t number = 0; number < count; ++number)
    {
        file.Data(true, size);
        file.Pad();
    }
}

// A file that breaks one rule.
struct SBroken
{
    const char* name;
    SKrWritten from;
    std::function<void(CKrWrittenAviBuilder&)> write;
    const char* problem;
    EStart start = EStart::Whole;
};

std::ostream& operator<<(std::ostream& out, const SBroken& broken)
{
    return out << broken.name;
}

using CFile = CKrWrittenAviBuilder;

const SBroken kBrokenChunks[] = {
    {"JunkBetweenChunks",
     {},
     [](CFile& file) { Frames(file, 1), file.Chunk("JUNK", KrBytes(504)); },
     "unknown chunk JUNK"},
    {"JunkBeforeTheFirstFrame",
     {},
     [](CFile& file) { file.Chunk("JUNK", KrBytes(504)), Frames(file, 1); },
     "unknown chunk JUNK"},
    {"PaddingWhereNoneIsNeeded",
     {},
     [](CFile& file) { file.Data(true, 504), file.Chunk("JUNK", KrBytes(504)); },
     "unknown chunk JUNK"},
    {"PaddingTwice",
     {},
     [](CFile& file) { Frames(file, 1), file.Chunk("JUNK", {}), file.Pad(); },
     "unknown chunk JUNK"},
    {"NoPaddingBetweenFrames",
     {},
     [](CFile& file) { file.Data(true, 100), Frames(file, 1); },
     "no padding to the sector"},
    {"NoPaddingAtTheEnd",
     {},
     [](CFile& file) { Frames(file, 1), file.Data(true, 100); },
     "no padding to the sector"},
    {"PaddingOfTwoSectors",
     {},
     [](CFile& file) { file.Data(true, 100), file.Chunk("JUNK", KrBytes(908)); },
     "padding ends elsewhere"},
    {"PaddingShortOfTheSector",
     {},
     [](CFile& file) { file.Data(true, 100), file.Chunk("JUNK", KrBytes(394)); },
     "padding ends elsewhere"},
    {"ForeignChunk", {}, [](CFile& file) { file.Chunk("02wb", KrBytes(504)); }, "unknown chunk 02wb"},
    {"AudioWithoutItsStream", {}, [](CFile& file) { file.Data(false, 504); }, "unknown chunk 01wb"},
    {"AudioIndexWithoutItsStream", {}, [](CFile& file) { file.StdIndex(false); }, "unknown chunk ix01"},
    {"UncompressedFrame", {}, [](CFile& file) { file.Chunk("00db", KrBytes(504)); }, "unknown chunk 00db"},
    {"ListOfChunks", {}, [](CFile& file) { file.Chunk("LIST", KrBytes(504)); }, "unknown chunk LIST"},
    {"FrameOfNoBytes", {}, [](CFile& file) { file.Data(true, 0), file.Pad(); }, "data chunk of no bytes"},
};

const SBroken kBrokenIndexes[] = {
    {"NoIndexes", {}, [](CFile&) {}, "no first 'ix00'", EStart::WithoutIndexes},
    {"NoAudioIndex", WithAudio(), [](CFile& file) { file.StdIndex(true); }, "no first 'ix01'",
     EStart::WithoutIndexes},
    {"AudioIndexFirst", WithAudio(), [](CFile& file) { file.StdIndex(false), file.StdIndex(true); },
     "no first 'ix00'", EStart::WithoutIndexes},
    {"FrameBeforeTheIndexes",
     {},
     [](CFile& file) { BareFrames(file, 1); },
     "data before its standard index",
     EStart::WithoutIndexes},
    {"FrameBetweenTheIndexes", WithAudio(),
     [](CFile& file) { file.StdIndex(true), BareFrames(file, 1), file.StdIndex(false); }, "no first 'ix01'",
     EStart::WithoutIndexes},
    {"IndexBeforeTheFirstIsUsed",
     {},
     [](CFile& file) { file.StdIndex(true), Frames(file, 1); },
     "standard index that is not due"},
    {"IndexBeforeTheFirstIsFull",
     {},
     [](CFile& file) { BareFrames(file, 4027), file.StdIndex(true); },
     "standard index that is not due"},
    {"AudioIndexBeforeTheFirstIsFull", WithAudio(),
     [](CFile& file) { file.Group({100}, 100), file.StdIndex(false); }, "standard index that is not due"},
    {"NoIndexBehind4028Frames",
     {},
     [](CFile& file) { BareFrames(file, 4028); },
     "a standard index is missing at the end"},
    {"MoreFramesThanTheIndexHolds",
     {},
     [](CFile& file) { BareFrames(file, 4029); },
     "more chunks than the index holds"},
    {"IndexBehindTheAudioOfTheNextFrame", WithAudio(),
     [](CFile& file) { BareFrames(file, 4028), file.Data(false, 504), file.StdIndex(true); },
     "a standard index is missing"},
    {"AudioIndexThatDoesNotFollowTheVideo", WithAudio(),
     [](CFile& file) { BareFrames(file, 4028), file.StdIndex(true), file.Data(false, 504), Frames(file, 1); },
     "a standard index is missing"},
    {"AudioIndexAtOnceWithTheVideo", WithAudio(),
     [](CFile& file) { BareFrames(file, 4028), file.StdIndex(true), file.StdIndex(false); },
     "standard index that is not due"},
    {"FrameBeyondTheReachOfItsIndex",
     {},
     [](CFile& file)
     {
         for (int number = 0; number < 75; ++number)
         {
             if (number > 0 && number % 17 == 0)
                 file.Segment();
             BareFrames(file, 1, kLargeFrame);
         }
     },
     "chunk beyond the reach of its standard index"},
};

const SBroken kBrokenSegments[] = {
    {"SegmentThatWasNotNeeded",
     {},
     [](CFile& file) { Frames(file, 1), file.Segment(), Frames(file, 1); },
     "segment that was not needed"},
    {"SegmentOneFrameEarly",
     {},
     [](CFile& file) { Frames(file, 16, kLargeFrame), file.Segment(), Frames(file, 1, kLargeFrame); },
     "segment that was not needed"},
    {"LaterSegmentOneFrameEarly",
     {},
     [](CFile& file) { Frames(file, 33, kLargeFrame), file.Segment(), Frames(file, 1, kLargeFrame); },
     "segment that was not needed"},
    {"EmptyLastSegment", {}, [](CFile& file) { Frames(file, 1), file.Segment(); }, "segment without content"},
    {"EmptySegmentBetween",
     {},
     [](CFile& file)
     { Frames(file, 17, kLargeFrame), file.Segment(), file.Segment(), Frames(file, 1, kLargeFrame); },
     "segment without content"},
    {"FirstSegmentBeyondTheLimit",
     {},
     [](CFile& file) { BareFrames(file, 18, kLargeFrame); },
     "chunk beyond the limit of its segment"},
    {"LaterSegmentBeyondTheLimit",
     {},
     [](CFile& file) { Frames(file, 18, kLargeFrame), BareFrames(file, 17, kLargeFrame); },
     "chunk beyond the limit of its segment"},
    {"FrameApartFromItsAudio", WithAudio(),
     [](CFile& file) { file.Data(false, 504), file.Segment(), BareFrames(file, 1); },
     "segment that starts inside a group"},
    {"SegmentForTheLastAudio", WithAudio(),
     [](CFile& file)
     {
         for (int number = 0; number < 17; ++number)
             file.Group({1000}, kLargeFrame);
         file.Segment();
         file.LastAudio(kLargeFrame);
     },
     "segment that starts inside a group"},
};

class AviCheckerOrder : public testing::TestWithParam<SBroken>
{
};

std::string NameOf(const testing::TestParamInfo<SBroken>& broken)
{
    return broken.param.name;
}
} // namespace

TEST_P(AviCheckerOrder, BrokenRule_IsReported)
{
    const SBroken& broken = GetParam();
    CKrWrittenAviBuilder file(broken.from, broken.start);
    broken.write(file);
    file.Finish();
    const KrProblems problems = CheckWrittenAvi(file.Content(), broken.from).problems;
    ASSERT_NE(problems, KrProblems{});
    EXPECT_NE(problems[0].find(std::string(": ") + broken.problem), std::string::npos) << problems[0];
}

INSTANTIATE_TEST_SUITE_P(Chunks, AviCheckerOrder, testing::ValuesIn(kBrokenChunks), NameOf);
INSTANTIATE_TEST_SUITE_P(Indexes, AviCheckerOrder, testing::ValuesIn(kBrokenIndexes), NameOf);
INSTANTIATE_TEST_SUITE_P(Segments, AviCheckerOrder, testing::ValuesIn(kBrokenSegments), NameOf);

namespace
{
// Padding never gets in the way of single bytes.
SKrWritten OneByteSectors()
{
    SKrWritten from;
    from.bytesPerSector = 1;
    return from;
}
constexpr uint64_t kLimit = 0x3FC6E600;
} // namespace

TEST(AviCheckerLimit, FirstSegment_MustStayBelowIt)
{
    for (const uint32_t beyond : {0u, 1u})
    {
        CKrWrittenAviBuilder file(OneByteSectors());
        Frames(file, 17, kLargeFrame);
        const uint64_t oldIndex = 16 * 18 + 24; // as it is before the last frame
        const uint64_t last = kLimit - 1 - oldIndex - file.Position() + beyond;
        file.Data(true, static_cast<uint32_t>(last - 8));
        const KrProblems expected = beyond == 0
                                        ? KrProblems{}
                                        : KrProblems{DescribeProblem("chunk beyond the limit of its segment",
                                                                     file.Position() - last)};
        file.Finish();
        EXPECT_EQ(CheckWrittenAvi(file.Content(), OneByteSectors()).problems, expected);
    }
}

TEST(AviCheckerLimit, LaterSegment_MayReachIt)
{
    for (const uint32_t beyond : {0u, 1u})
    {
        CKrWrittenAviBuilder file(OneByteSectors());
        Frames(file, 18, kLargeFrame);
        const uint64_t start = file.Position() - 24 - 8 - kLargeFrame;
        Frames(file, 16, kLargeFrame);
        const uint64_t last = start + kLimit - file.Position() + beyond;
        file.Data(true, static_cast<uint32_t>(last - 8));
        const KrProblems expected = beyond == 0
                                        ? KrProblems{}
                                        : KrProblems{DescribeProblem("chunk beyond the limit of its segment",
                                                                     file.Position() - last)};
        file.Finish();
        EXPECT_EQ(CheckWrittenAvi(file.Content(), OneByteSectors()).problems, expected);
    }
}

// The other way round: a segment may not start for a frame that the one before just holds.
TEST(AviCheckerLimit, SegmentForAFrameThatJustFits_IsNotNeeded)
{
    for (const uint32_t beyond : {0u, 1u})
    {
        CKrWrittenAviBuilder file(OneByteSectors());
        Frames(file, 17, kLargeFrame);
        const uint64_t last = kLimit - 1 - (16 * 18 + 24) - file.Position() + beyond;
        file.Segment();
        const uint64_t second = file.Position() - 24;
        file.Data(true, static_cast<uint32_t>(last - 8));
        file.Finish();
        const KrProblems expected =
            beyond == 1 ? KrProblems{} : KrProblems{DescribeProblem("segment that was not needed", second)};
        EXPECT_EQ(CheckWrittenAvi(file.Content(), OneByteSectors()).problems, expected);
    }
}
