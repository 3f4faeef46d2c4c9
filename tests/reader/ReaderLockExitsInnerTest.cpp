// Which exits release the reader's lock, and the two that keep it.
#include "reader/KrRiffReader.h"

#include "tests/reader/ReaderLockSupport.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
class ReaderLockExits : public testing::Test
{
protected:
    ReaderLockExits()
    {
        SKrSimpleAvi avi;
        avi.streams.push_back(PcmStream());
        avi.roundsPerSegment = {2, 1};
        avi.junkBeforeMovi = 100'000;
        avi.krlA = SKrTestKrlA{.scanMode = 1};
        avi.beforeMovi = [](CKrAviBuilder& file)
        {
            file.List("none", [] {});
        };
        m_built = BuildSimpleAvi(avi);
        m_files.Set(L"a.avi", m_built.content);

        CKrAviBuilder raw; // opens as a sequence of chunks without any segment
        raw.Chunk("JUNK", KrBytes(192, 1));
        raw.Chunk("00dc", KrBytes(192, 1));
        m_files.Set(L"raw", raw.Content());
    }

    // Whether another thread could take the lock.
    [[nodiscard]] bool IsFree()
    {
        bool free = false;
        OnAnotherThread(
            [&]
            {
                const CKrTryLockScope probe(m_reader->Lock());
                free = probe.Entered();
            });
        return free;
    }

    // How often the calling thread has to leave the lock before others can enter.
    int DepthKept()
    {
        int depth = 0;
        for (; !IsFree() && depth < 10; ++depth)
            m_reader->Lock().Leave();
        return depth;
    }

    void ExpectAllFree(const char* state)
    {
        const auto expectFree = [&](const char* operation)
        {
            EXPECT_TRUE(IsFree()) << operation << ", " << state;
        };
        SKrRiffChunkNode plain = {{FourCcValue("avih"), 56, 0, 24}};
        CArray<SKrChunkIndexEntry> entries;
        SKrAudioChunkPattern pattern;
        uint8_t bytes[16];
        static_cast<void>(NextSegment(*m_reader));
        expectFree("FindNextRiffSegment");
        EXPECT_EQ(m_reader->FindFirstSubChunk(nullptr), 0);
        expectFree("FindFirstSubChunk without a node");
        EXPECT_EQ(m_reader->FindFirstSubChunk(&plain), 0);
        expectFree("FindFirstSubChunk of a plain chunk");
        static_cast<void>(NextSubChunk(*m_reader));
        expectFree("FindNextSubChunk");
        static_cast<void>(StartSearch(*m_reader, {}));
        expectFree("FindFirstChunk for nothing");
        static_cast<void>(StartSearch(*m_reader, {"none"}));
        expectFree("FindFirstChunk without a match");
        EXPECT_THROW(static_cast<void>(NextMatch(*m_reader)), std::out_of_range);
        expectFree("FindNextChunk that throws");
        static_cast<void>(StartSearch(*m_reader, {"00dc"}, 1u << 30));
        expectFree("FindFirstChunk past the end");
        m_reader->EndChunkSearch();
        expectFree("EndChunkSearch");
        static_cast<void>(m_reader->LoadVideoIndex(entries));
        expectFree("LoadVideoIndex");
        static_cast<void>(m_reader->LoadAudioIndex(entries, &pattern));
        expectFree("LoadAudioIndex");
        static_cast<void>(m_reader->LoadAudioIndex(entries, nullptr));
        expectFree("LoadAudioIndex without a pattern");
        static_cast<void>(m_reader->GetFileLength());
        expectFree("GetFileLength");
        static_cast<void>(m_reader->ReadAt(0, bytes, sizeof bytes));
        expectFree("ReadAt");
        static_cast<void>(m_reader->ReadChunkData(&plain.chunk, bytes, sizeof bytes));
        expectFree("ReadChunkData");
        m_reader->Close();
        expectFree("Close");
    }

    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    SKrBuiltAvi m_built;
    CKrRef<CKrRiffReader> m_reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_faulty));
};
} // namespace

// Exits that leave it

TEST_F(ReaderLockExits, NewReader_IsFree)
{
    EXPECT_TRUE(IsFree());
}

TEST_F(ReaderLockExits, EveryOperationWithoutAFile_LeavesTheLock)
{
    ExpectAllFree("no file");
}

TEST_F(ReaderLockExits, EveryOperationOnAnOpenFile_LeavesTheLock)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    ExpectAllFree("open file");
}

TEST_F(ReaderLockExits, EveryOperationWithFailingReads_LeavesTheLock)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_faulty.FailCall(EKrFileCall::Read, m_faulty.Calls(EKrFileCall::Read) + 1, EKrFaultSpan::FromThenOn);
    ExpectAllFree("failing reads");
}

TEST_F(ReaderLockExits, Open_LeavesTheLockWhateverItsResult)
{
    EXPECT_EQ(m_reader->Open(L"none.avi"), 0);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(m_reader->Open(nullptr), 0);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(m_reader->Open(L"a.avi"), 1);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(m_reader->Open(L"a.avi"), 1);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(m_reader->Open(L"raw"), 1);
    EXPECT_TRUE(IsFree());
}

TEST_F(ReaderLockExits, WholeWalk_LeavesTheLockAfterEachStep)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_TRUE(IsFree()) << "first read from the file";
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_TRUE(IsFree()) << "known already";
    SKrReported segment = NextSegment(*m_reader);
    EXPECT_EQ(segment.status, 1);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(m_reader->FindFirstSubChunk(segment.node), 1);
    EXPECT_TRUE(IsFree());
    SKrRiffChunkNode* empty = nullptr;
    for (int status = 1; status == 1;)
    {
        const SKrReported child = NextSubChunk(*m_reader);
        EXPECT_TRUE(IsFree());
        status = child.status;
        if (child.type == FourCcValue("none"))
            empty = child.node;
    }
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(m_reader->FindFirstSubChunk(empty), 0);
    EXPECT_TRUE(IsFree()) << "an empty list";
    EXPECT_EQ(NextSegment(*m_reader).status, 0);
    EXPECT_TRUE(IsFree()) << "the last segment";
    EXPECT_NE(m_reader->GetLastRiffSegment(), nullptr);
    EXPECT_TRUE(IsFree());
}

TEST_F(ReaderLockExits, WholeSearch_LeavesTheLockAfterEachStep)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    ASSERT_EQ(StartSearch(*m_reader, {"00dc"}), 1);
    EXPECT_TRUE(IsFree());
    for (int count = 0; count < 5; ++count)
    {
        static_cast<void>(NextMatch(*m_reader));
        EXPECT_TRUE(IsFree());
    }
}

TEST_F(ReaderLockExits, FileWithoutASegment_LeavesTheLock)
{
    ASSERT_EQ(m_reader->Open(L"raw"), 1);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 0);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(m_reader->GetLastRiffSegment(), nullptr);
    EXPECT_TRUE(IsFree());
}

TEST_F(ReaderLockExits, SegmentThatCannotBeRead_LeavesTheLock)
{
    m_faulty.Reset();
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    m_faulty.FailCall(EKrFileCall::Read, m_faulty.Calls(EKrFileCall::Read) + 1, EKrFaultSpan::FromThenOn);
    for (int count = 0; count < 3; ++count)
    {
        static_cast<void>(NextSegment(*m_reader));
        EXPECT_TRUE(IsFree());
    }
}

TEST_F(ReaderLockExits, Queries_LeaveTheLock)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    EKrScanMode scanMode = EKrScanMode::Unknown;
    int horizontal = 0;
    int vertical = 0;
    EXPECT_EQ(KrRiffUtils::GetAviScanMode(m_reader.Get(), scanMode), 1);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(KrRiffUtils::GetAviPixelAspectRatio(m_reader.Get(), horizontal, vertical), 1);
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(KrRiffUtils::GetAviScanModeFromPrivateChunk(m_reader.Get(), 2, scanMode), 0);
    EXPECT_TRUE(IsFree());
}

// Exits that keep it

TEST_F(ReaderLockExits, FirstSegmentWithoutAFile_KeepsOneEntry)
{
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 0);
    EXPECT_FALSE(IsFree());
    EXPECT_EQ(DepthKept(), 1);
}

TEST_F(ReaderLockExits, EachFirstSegmentWithoutAFile_KeepsOneMore)
{
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 0);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 0);
    EXPECT_EQ(DepthKept(), 2);
}

TEST_F(ReaderLockExits, LastSegmentWithoutAFile_KeepsOneEntry)
{
    EXPECT_EQ(m_reader->GetLastRiffSegment(), nullptr);
    EXPECT_EQ(DepthKept(), 1);
}

TEST_F(ReaderLockExits, FailedSeek_KeepsOneEntry)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Seek, 1);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 0);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_FALSE(IsFree());
    EXPECT_EQ(DepthKept(), 1);
}

TEST_F(ReaderLockExits, FailedSeek_ServesItsOwnThreadAndRefusesOthers)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Seek, 1);
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 0);
    EXPECT_TRUE(NextSegment(*m_reader).NothingWritten()) << "no walk was started";
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1) << "the next seek works, on the same thread";
    SKrRiffChunkNode* const parent = NextSegment(*m_reader).node;
    EXPECT_TRUE(AskEverything(*m_reader, parent).None());
    OnAnotherThread([&] { EXPECT_TRUE(AskEverything(*m_reader, parent).All()); });
    EXPECT_EQ(DepthKept(), 1) << "nothing but the failed one kept it";
}

TEST_F(ReaderLockExits, FailedSeekUnderLastSegment_KeepsOneEntry)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Seek, 1);
    EXPECT_EQ(m_reader->GetLastRiffSegment(), nullptr);
    EXPECT_EQ(DepthKept(), 1);
}

TEST_F(ReaderLockExits, KnownSegments_NeedNoSeek)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Seek, 1, EKrFaultSpan::FromThenOn);
    EXPECT_EQ(m_reader->FindFirstRiffSegment(), 1);
    EXPECT_FALSE(m_faulty.FaultStruck());
    EXPECT_TRUE(IsFree());
}

// The parse searches for the private chunks, starting at the first segment.
TEST_F(ReaderLockExits, FailedSeekDuringOpen_OpensAndLeavesTheLock)
{
    m_faulty.FailCall(EKrFileCall::Seek, 1);
    EXPECT_EQ(m_reader->Open(L"a.avi"), 1);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_TRUE(IsFree());
}

TEST_F(ReaderLockExits, FailedSeekDuringAQuery_LeavesTheLockAsItWas)
{
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Seek, 1);
    EKrScanMode scanMode = EKrScanMode::Unknown;
    EXPECT_EQ(KrRiffUtils::GetAviScanMode(m_reader.Get(), scanMode), 0);
    EXPECT_TRUE(m_faulty.FaultStruck());
    EXPECT_TRUE(IsFree());

    m_reader->Close();
    ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
    m_faulty.Reset();
    m_faulty.FailCall(EKrFileCall::Seek, 1);
    m_reader->Lock().Enter();
    EXPECT_EQ(KrRiffUtils::GetAviScanMode(m_reader.Get(), scanMode), 0);
    EXPECT_FALSE(IsFree());
    EXPECT_EQ(DepthKept(), 1) << "what this thread had before";
}
