// The checker of written files: files that are cut or continued, later segments, the data rate.
#include "tests/support/KrAviCheckerRules.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrWrittenAviBuilder.h"

#include <gtest/gtest.h>

#include <string>

using namespace KrTest;

namespace
{
constexpr uint32_t kLargeFrame = 60'000'000; // 17 of them fit into a segment

void Frames(CKrWrittenAviBuilder& file, size_t count, uint32_t size = 100)
{
    for (size_t number = 0; number < count; ++number)
        file.Group({}, size);
}

// A file of three segments, or of one, and changes to it.
class AviCheckerEnds : public testing::Test
{
protected:
    static const CKrWrittenAviBuilder& LargeFile()
    {
        static const CKrWrittenAviBuilder file = []
        {
            CKrWrittenAviBuilder three{SKrWritten{}};
            Frames(three, 40, kLargeFrame);
            three.Finish();
            return three;
        }();
        return file;
    }

    AviCheckerEnds() : m_file(LargeFile().Content()), m_chunks(LargeFile().Chunks()) {}

    [[nodiscard]] SKrBuiltChunk Chunk(const char* id, size_t number = 0) const
    {
        return FindChunk(m_chunks, id, number);
    }

    void AddToSize(const SKrBuiltChunk& chunk, uint32_t more)
    {
        m_file.PutU32(chunk.header + 4, chunk.size + more);
    }

    void ExpectProblem(uint64_t position, const std::string& problem) const
    {
        const KrProblems problems = CheckWrittenAvi(m_file, {}).problems;
        ASSERT_NE(problems, KrProblems{});
        EXPECT_EQ(problems[0].substr(0, problems[0].find(':')), "at " + std::to_string(position));
        EXPECT_NE(problems[0].find(": " + problem), std::string::npos) << problems[0];
    }

    CKrFileContent m_file;
    std::vector<SKrBuiltChunk> m_chunks;
};
} // namespace

TEST_F(AviCheckerEnds, Undamaged_HasNoProblem)
{
    EXPECT_EQ(CheckWrittenAvi(m_file, {}).problems, KrProblems{});
    EXPECT_EQ(CheckWrittenAvi(m_file, {}).segments.size(), 4u);
}

TEST_F(AviCheckerEnds, ByteBehindTheLastSegment_IsReported)
{
    const uint64_t end = m_file.Size();
    m_file.Append(KrBytes{0});
    ExpectProblem(end, "no segment");
}

TEST_F(AviCheckerEnds, MissingLastByte_IsReported)
{
    m_file.Resize(m_file.Size() - 1);
    ExpectProblem(Chunk("AVIX", 1).header, "segment reaches beyond the file");
}

TEST_F(AviCheckerEnds, MissingLastSegment_IsReported)
{
    m_file.Resize(Chunk("AVIX", 1).header);
    ExpectProblem(Chunk("ix00").header + 12, "ix00"); // counts what is not there
}

TEST_F(AviCheckerEnds, EmptyFile_IsReported)
{
    m_file = {};
    ExpectProblem(0, "headers cut by the end of the file");
}

TEST_F(AviCheckerEnds, TypeOfALaterSegment_IsReported)
{
    m_file.PutU32(Chunk("AVIX").header + 8, FourCcValue("AVI "));
    ExpectProblem(Chunk("AVIX").header, "no segment");
}

TEST_F(AviCheckerEnds, SizesOfALaterSegment_AreReported)
{
    AddToSize(Chunk("AVIX"), 512);
    ExpectProblem(Chunk("movi", 1).end, "bytes behind 'movi'");
    m_file = LargeFile().Content();
    AddToSize(Chunk("movi", 1), 512);
    ExpectProblem(Chunk("movi", 1).header, "no 'movi'");
    m_file = LargeFile().Content();
    AddToSize(Chunk("movi", 1), 0xFFFFFE00);
    ExpectProblem(Chunk("movi", 1).end - 512, "'movi' ends inside a chunk");
}

TEST_F(AviCheckerEnds, PaddingAtTheStartOfALaterSegment_IsReported)
{
    const SKrBuiltChunk list = Chunk("movi", 1);
    const uint64_t padding = list.header + 12;
    m_file.PutU32(padding + 8 + 100, 0x00010000);
    ExpectProblem(padding + 8 + 102, "padding is not zero");
    m_file.PutU32(padding + 8 + 100, 0);
    m_file.PutU32(padding + 4, 480 + 512);
    ExpectProblem(padding, "padding ends elsewhere");
    m_file.PutU32(padding, FourCcValue("00dc"));
    ExpectProblem(padding, "no padding to the sector");
}

TEST_F(AviCheckerEnds, OldIndexCutOff_IsReported)
{
    CKrWrittenAviBuilder small{SKrWritten{}};
    Frames(small, 5);
    small.Finish();
    m_file = small.Content();
    m_chunks = small.Chunks();
    m_file.Resize(Chunk("idx1").header);
    m_file.PutU32(4, static_cast<uint32_t>(m_file.Size() - 8));
    ExpectProblem(Chunk("idx1").header, "idx1 cut by the end of the file");
}

TEST_F(AviCheckerEnds, EntryOfALaterSegmentInIdx1_IsReported)
{
    const uint64_t filler = Chunk("idx1").data + 16 * 18;
    m_file.Put(filler, ToBytes({SKrTestIdx1Entry{"00dc", 0x10, 0x3FC00000, kLargeFrame}}));
    ExpectProblem(filler, "idx1");
}

TEST_F(AviCheckerEnds, DataRateOutsideItsBounds_IsReported)
{
    const uint64_t rate = 36;
    m_file.PutU32(rate, 0);
    ExpectProblem(rate, "data rate");
    m_file.PutU32(rate, 25 * kLargeFrame - 1'000'000); // below the whole file's
    ExpectProblem(rate, "data rate");
    CKrWrittenAviBuilder small{SKrWritten{}};
    Frames(small, 24);
    small.Finish();
    m_file = small.Content();
    m_file.PutU32(rate, 1); // although no second is over
    ExpectProblem(rate, "data rate");
}

TEST_F(AviCheckerEnds, DirectChunks_NeedNoPaddingButTakeNoOtherEither)
{
    const SKrWritten direct{.hasDirectChunks = true};
    CKrWrittenAviBuilder file(direct);
    file.Data(true, 101);
    file.Data(true, 33);
    file.Pad();
    file.Data(true, 5);
    file.Finish();
    EXPECT_EQ(CheckWrittenAvi(file.Content(), direct).problems, KrProblems{});
    CKrWrittenAviBuilder other(direct);
    other.Data(true, 101);
    other.Chunk("JUNK", KrBytes(7));
    other.Finish();
    EXPECT_NE(CheckWrittenAvi(other.Content(), direct).problems, KrProblems{});
}
