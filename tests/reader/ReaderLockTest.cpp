// The reader's lock in a host: one operation leaves it held, and other threads are then refused.
#include "tests/reader/ReaderLockSupport.h"

#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
// Three frames and three audio chunks, with a chunk at byte 200 for searches that begin there.
SKrBuiltAvi FileWithAChunkAt200()
{
    SKrSimpleAvi avi;
    avi.streams.push_back(PcmStream());
    avi.afterAvih = [](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", static_cast<uint32_t>(200 - 8 - file.Position()));
        file.Chunk("mark", KrBytes(6, 0xEE));
    };
    avi.beforeMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("mark", KrBytes(2, 0xEE));
    };
    return BuildSimpleAvi(avi);
}

class ReaderLock : public testing::Test
{
protected:
    ReaderLock() : m_path(m_folder.Write(L"a.avi", m_built.content)) {}

    // Opens the reader and leaves its lock held by this thread.
    void OpenWithLockKept()
    {
        ASSERT_EQ(m_reader->FindFirstRiffSegment(), 0);
        ASSERT_EQ(m_reader->Open(m_path.c_str()), 1);
        ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
        m_parent = NextSegment(*m_reader).node;
        ASSERT_NE(m_parent, nullptr);
    }

    SKrRefusals AskOnAnotherThread()
    {
        SKrRefusals refusals;
        OnAnotherThread([&] { refusals = AskEverything(*m_reader, m_parent); });
        return refusals;
    }

    const CKrTempFolder m_folder;
    const SKrBuiltAvi m_built = FileWithAChunkAt200();
    const std::wstring m_path;
    const CKrRef<IKrRiffReader> m_reader = NewReader();
    SKrRiffChunkNode* m_parent = nullptr;
};
} // namespace

TEST_F(ReaderLock, OpenedReader_ServesEveryThread)
{
    ASSERT_EQ(m_reader->Open(m_path.c_str()), 1);
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    m_parent = NextSegment(*m_reader).node;
    EXPECT_TRUE(AskOnAnotherThread().None());
    EXPECT_TRUE(AskEverything(*m_reader, m_parent).None());
}

TEST_F(ReaderLock, FirstSegmentWithoutAFile_KeepsOtherThreadsOut)
{
    OpenWithLockKept();
    EXPECT_TRUE(AskOnAnotherThread().All());
}

TEST_F(ReaderLock, FirstSegmentWithoutAFile_StillServesItsOwnThread)
{
    OpenWithLockKept();
    EXPECT_TRUE(AskEverything(*m_reader, m_parent).None());
    EXPECT_TRUE(AskOnAnotherThread().All()) << "none of it gave the lock back";
}

TEST_F(ReaderLock, FirstSegmentAfterClose_KeepsOtherThreadsOut)
{
    ASSERT_EQ(m_reader->Open(m_path.c_str()), 1);
    m_reader->Close();
    OpenWithLockKept();
    EXPECT_TRUE(AskOnAnotherThread().All());
}

TEST_F(ReaderLock, LastSegmentWithoutAFile_KeepsOtherThreadsOutToo)
{
    EXPECT_EQ(m_reader->GetLastRiffSegment(), nullptr);
    ASSERT_EQ(m_reader->Open(m_path.c_str()), 1);
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    m_parent = NextSegment(*m_reader).node;
    EXPECT_TRUE(AskOnAnotherThread().All());
}

TEST_F(ReaderLock, CloseByTheHolder_ClosesAndKeepsOtherThreadsOut)
{
    OpenWithLockKept();
    m_reader->Close();
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
    ASSERT_EQ(m_reader->Open(m_path.c_str()), 1);
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    m_parent = NextSegment(*m_reader).node; // the previous one was freed with the file
    EXPECT_TRUE(AskOnAnotherThread().All());
}

TEST_F(ReaderLock, CloseByAnotherThread_LeavesTheFileOpen)
{
    OpenWithLockKept();
    OnAnotherThread([&] { m_reader->Close(); });
    EXPECT_EQ(m_reader->GetFileLength(), m_built.content.Size());
    EXPECT_EQ(Line(m_parent->chunk), Line(m_built.segments[0])) << "nodes stay";
    EXPECT_TRUE(AskEverything(*m_reader, m_parent).None());
}

TEST_F(ReaderLock, CloseByAnotherThread_ForgetsWhereTheFirstChunkIs)
{
    OpenWithLockKept();
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}), 1);
    EXPECT_EQ(NextMatch(*m_reader).dataOffset, m_built.Find("mark", 1).data) << "after the header list";
    OnAnotherThread([&] { m_reader->Close(); });
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}), 1);
    EXPECT_EQ(NextMatch(*m_reader).dataOffset, 208u) << "from 200 on";
}

TEST_F(ReaderLock, OpenByAnotherThread_IsRefusedAndLeavesTheFileOpen)
{
    OpenWithLockKept();
    const std::wstring other = m_folder.Write(L"b.avi", BuildSimpleAvi({}).content);
    int status = -1;
    OnAnotherThread([&] { status = m_reader->Open(other.c_str()); });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(m_reader->GetFileLength(), m_built.content.Size());
    EXPECT_TRUE(AskEverything(*m_reader, m_parent).None());
}

TEST_F(ReaderLock, OpenOfTheSamePathByAnotherThread_IsRefusedToo)
{
    OpenWithLockKept();
    int status = -1;
    OnAnotherThread([&] { status = m_reader->Open(m_path.c_str()); });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(m_reader->Open(m_path.c_str()), 1) << "by the thread that has it";
}

TEST_F(ReaderLock, OpenByAnotherThreadWithoutAFile_IsRefused)
{
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 0);
    int status = -1;
    OnAnotherThread([&] { status = m_reader->Open(m_path.c_str()); });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
}

TEST_F(ReaderLock, EndOfSearchByAnotherThread_LeavesTheSearch)
{
    OpenWithLockKept();
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}), 1);
    OnAnotherThread([&] { m_reader->EndChunkSearch(); });
    EXPECT_EQ(Line(NextMatch(*m_reader)), Line(m_built.streamChunks[0][0]));
}

TEST_F(ReaderLock, SearchByAnotherThread_IsRefusedBeforeItsStateIsRead)
{
    OpenWithLockKept();
    m_reader->EndChunkSearch();
    SKrReported next;
    OnAnotherThread([&] { next = NextMatch(*m_reader); }); // would throw if the lock were free
    EXPECT_EQ(next.status, 0);
    EXPECT_TRUE(next.NothingWritten());
}

TEST_F(ReaderLock, ReadsAndStreamQueries_NeedNoLock)
{
    OpenWithLockKept();
    OnAnotherThread(
        [&]
        {
            uint8_t bytes[4] = {};
            EXPECT_EQ(m_reader->ReadAt(0, bytes, 4), 4u);
            EXPECT_EQ(bytes[0], 'R');

            const SKrBuiltChunk chunk = m_built.streamChunks[0][0];
            const SKrRiffChunkInfo record = {FourCcValue(chunk.id), chunk.size, 0, chunk.data};
            KrBytes payload(chunk.size);
            EXPECT_EQ(m_reader->ReadChunkData(&record, payload.data(), chunk.size), chunk.size);

            SKrAviVideoParams video;
            uint32_t compression = 0;
            uint16_t bitCount = 0;
            int valid = 0;
            uint32_t id = 0;
            EXPECT_EQ(m_reader->GetVideoStreamInfo(&video, &compression, &bitCount, &valid, &id), 3u);
            SKrWaveFormatInfo audio;
            EXPECT_EQ(m_reader->GetAudioStreamInfo(&audio, &valid, &id, nullptr), 1);
        });
}
