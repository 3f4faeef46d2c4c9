// The checker of files that were not closed: they may hold more than they tell of, never less.
#include "tests/support/KrAviCheckerRules.h"
#include "tests/support/KrAviCheckerUnfinished.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrExpectWellFormed.h"
#include "tests/support/KrWrittenAviBuilder.h"

#include <gtest/gtest.h>

#include <string>

using namespace KrTest;

namespace
{
SKrWritten Unfinished()
{
    SKrWritten from;
    from.pcm = SKrPcmFormat{};
    from.isComplete = false;
    return from;
}

// 30 frames with their sound are told of; another frame was begun, of which some bytes are there.
class AviCheckerUnfinished : public testing::Test
{
protected:
    AviCheckerUnfinished()
    {
        CKrWrittenAviBuilder file(Unfinished());
        for (int frame = 0; frame < 30; ++frame)
            file.Group({7680}, 1001);
        file.Finish();
        m_chunks = file.Chunks();
        m_file = file.Content();
        m_file.Resize(Chunk("idx1").header);
        m_file.PutU32(4, static_cast<uint32_t>(m_file.Size() - 8));
        m_file.Append(CKrTestByteWriter().FourCc("00dc").U32(5000).Fill(1234, 7).Bytes());
    }

    [[nodiscard]] SKrBuiltChunk Chunk(const char* id, size_t number = 0) const
    {
        return FindChunk(m_chunks, id, number);
    }

    // Changes a byte, looks for the problem and takes the change back.
    void ExpectSeen(uint64_t position, uint8_t change, const std::string& problem)
    {
        SCOPED_TRACE(position);
        const KrBytes byte = m_file.Range(position, 1);
        m_file.Put(position, KrBytes{static_cast<uint8_t>(byte[0] ^ change)});
        ExpectProblem(problem);
        m_file.Put(position, byte);
    }

    void ExpectProblem(const std::string& problem) const
    {
        const KrProblems problems = CheckWrittenAvi(m_file, Unfinished()).problems;
        ASSERT_NE(problems, KrProblems{});
        EXPECT_NE(problems[0].find(": " + problem), std::string::npos) << problems[0];
    }

    CKrFileContent m_file;
    std::vector<SKrBuiltChunk> m_chunks;
};
} // namespace

TEST_F(AviCheckerUnfinished, WhatIsToldOf_IsFound)
{
    const SKrCheckedAvi checked = ExpectWellFormed(m_file, Unfinished());
    EXPECT_EQ(checked.video.size(), 30u);
    EXPECT_EQ(checked.audio.size(), 30u);
    ASSERT_EQ(checked.videoIndexes.size(), 1u);
    EXPECT_EQ(checked.videoIndexes[0].position, Chunk("ix00").header);
    EXPECT_EQ(checked.video[29].data, Chunk("00dc", 29).data);
    EXPECT_EQ(checked.video[29].size, 1001u);
    EXPECT_EQ(checked.segments, (std::vector<uint64_t>{0, Chunk("idx1").header}));
}

TEST_F(AviCheckerUnfinished, AsACompleteFile_HasProblems)
{
    SKrWritten complete = Unfinished();
    complete.isComplete = true;
    EXPECT_NE(CheckWrittenAvi(m_file, complete).problems, KrProblems{});
}

TEST_F(AviCheckerUnfinished, FileWithoutFramesYet_HasNoProblem)
{
    CKrWrittenAviBuilder file(Unfinished());
    file.Finish();
    CKrFileContent content = file.Content();
    content.Resize(FindChunk(file.Chunks(), "idx1").header);
    content.PutU32(4, static_cast<uint32_t>(content.Size() - 8));
    EXPECT_EQ(ExpectWellFormed(content, Unfinished()).video.size(), 0u);
}

TEST_F(AviCheckerUnfinished, LaterSegment_IsFollowed)
{
    SKrWritten from;
    CKrWrittenAviBuilder file(from);
    for (int frame = 0; frame < 40; ++frame)
        file.Group({}, 60'000'000);
    file.Finish();
    from.isComplete = false;
    EXPECT_EQ(ExpectWellFormed(file.Content(), from).video[39].segment, 2u);
    CKrFileContent content = file.Content();
    content.PutU32(FindChunk(file.Chunks(), "AVIX").header + 8, FourCcValue("AVI "));
    EXPECT_NE(CheckWrittenAvi(content, from).problems, KrProblems{});
    content = file.Content();
    content.Resize(FindChunk(file.Chunks(), "00dc", 39).end - 1);
    EXPECT_NE(CheckWrittenAvi(content, from).problems, KrProblems{});
}

TEST_F(AviCheckerUnfinished, Headers_AreChecked)
{
    for (const char* const id : {"avih", "strh", "strf", "dmlh", "KrlA", "PrmA", "CtsI"})
        ExpectSeen(Chunk(id).header + 8, 1, "headers");
    ExpectSeen(Chunk("avih").header + 24, 1, "headers"); // frames, which stand in three places
    ExpectSeen(Chunk("strh").header + 40, 1, "headers");
    ExpectSeen(Chunk("indx").header + 8, 1, "headers");
    ExpectSeen(Chunk("indx").header + 16, 1, "headers");
    ExpectSeen(Chunk("indx", 1).header + 20, 1, "headers");
    m_file.Resize(Chunk("movi").header + 4);
    ExpectProblem("headers");
}

TEST_F(AviCheckerUnfinished, SizesBeyondWhatIsThere_AreReported)
{
    ExpectSeen(7, 1, "segment reaches beyond the file");
    ExpectSeen(Chunk("movi").header + 7, 1, "'movi' reaches beyond its segment");
}

TEST_F(AviCheckerUnfinished, SuperIndexes_AreChecked)
{
    for (const size_t stream : {0u, 1u})
    {
        const uint64_t index = Chunk("indx", stream).header;
        ExpectSeen(index + 12, 3, "super index entry"); // two in use
        ExpectSeen(index + 12, 1, "entry that is not in use");
        ExpectSeen(index + 13, 0x80, "more entries than the super index holds");
        ExpectSeen(index + 33, 2, "standard index");
        ExpectSeen(index + 36, 1, "super index entry");
        ExpectSeen(index + 40, 1, "super index entry");
        ExpectSeen(index + 48, 1, "entry that is not in use");
        ExpectSeen(index + 32255, 1, "entry that is not in use");
    }
}

TEST_F(AviCheckerUnfinished, StandardIndexes_AreChecked)
{
    for (const char* const id : {"ix00", "ix01"})
    {
        const uint64_t index = Chunk(id).header;
        for (const uint64_t offset : {0u, 4u, 8u, 10u, 11u, 16u, 28u})
            ExpectSeen(index + offset, 1, "standard index");
        ExpectSeen(index + 13, 0x10, "more entries than the index holds");
        ExpectSeen(index + 12, 1, "entry without its chunk");
        ExpectSeen(index + 12, 2, "entry that is not in use");
        ExpectSeen(index + 21, 2, "entry without its chunk"); // base
        ExpectSeen(index + 32, 1, "entry without its chunk");
        ExpectSeen(index + 36, 1, "entry without its chunk");
        ExpectSeen(index + 39, 0x80, "entry without its chunk");
        ExpectSeen(index + 32 + 8 * 29, 1, "entry without its chunk");
        ExpectSeen(index + 32255, 1, "entry that is not in use");
    }
}

TEST_F(AviCheckerUnfinished, EntryTwice_IsReported)
{
    const uint64_t sixth = Chunk("ix00").header + 32 + 8 * 5;
    m_file.Put(sixth + 8, m_file.Range(sixth, 8));
    ExpectProblem("entry without its chunk");
}

TEST_F(AviCheckerUnfinished, ChunkThatIsToldOf_MustBeThere)
{
    ExpectSeen(Chunk("00dc", 7).header, 1, "entry without its chunk");
    ExpectSeen(Chunk("00dc", 7).header + 4, 1, "entry without its chunk");
    ExpectSeen(Chunk("01wb", 7).header + 2, 1, "entry without its chunk");
    m_file.Resize(Chunk("00dc", 29).data + 1000);
    m_file.PutU32(4, static_cast<uint32_t>(m_file.Size() - 8));
    m_file.PutU32(Chunk("movi").header + 4, 4);
    ExpectProblem("entry without its chunk");
}
