// A query leaves no change in its reader.
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrTempFolder.h"

#include <atomic>

using namespace KrTest;

namespace
{
class QueryReader : public testing::Test
{
protected:
    CKrTempFolder m_folder;
    std::wstring m_path = m_folder.Write(L"a.avi", BuildSimpleAvi(SmallAviWithKrlA(1)).content);
    std::wstring m_plainPath = m_folder.Write(L"plain.avi", BuildSimpleAvi(SmallAvi()).content);
};
} // namespace

TEST_F(QueryReader, NullReader_HasNoAnswer)
{
    ExpectNothing(static_cast<IKrRiffReader*>(nullptr));
}

TEST_F(QueryReader, ReaderThatWasNeverOpened_HasNoAnswer)
{
    ExpectNothing(NewReader().Get());
}

TEST_F(QueryReader, ReaderThatWasClosed_HasNoAnswer)
{
    const CKrRef<IKrRiffReader> reader = OpenedReader(m_path);
    reader->Close();
    ExpectNothing(reader.Get());
}

TEST_F(QueryReader, ReaderWhoseOpenFailed_HasNoAnswer)
{
    const CKrRef<IKrRiffReader> reader = OpenedReader(m_path);
    EXPECT_EQ(reader->Open(m_folder.PathOf(L"missing.avi").c_str()), 0);
    ExpectNothing(reader.Get());
}

// A walk started without a file would keep the reader locked by this thread.
TEST_F(QueryReader, QueriesOfAClosedReader_LeaveItsLockAlone)
{
    const CKrRef<IKrRiffReader> reader = NewReader();
    ExpectNothing(reader.Get());
    EXPECT_TRUE(OnAnotherThread(
        [&] { return reader->Open(m_path.c_str()) == 1 && reader->FindFirstRiffSegment() == 1; }));
    reader->Close();
    ExpectNothing(reader.Get());
    EXPECT_EQ(reader->Open(m_path.c_str()), 1);
    EXPECT_TRUE(AnotherThreadMayWalk(*reader));
}

TEST_F(QueryReader, ReaderOpenedAnew_AnswersForItsNewFile)
{
    const CKrRef<IKrRiffReader> reader = OpenedReader(m_path);
    EXPECT_EQ(AskMode(reader.Get()), Mode(1));
    EXPECT_EQ(reader->Open(m_plainPath.c_str()), 1);
    ExpectNothing(reader.Get());
    EXPECT_EQ(reader->Open(m_path.c_str()), 1);
    EXPECT_EQ(AskMode(reader.Get()), Mode(1));
}

TEST_F(QueryReader, EveryQuery_ReleasesTheLock)
{
    for (const std::wstring& path : {m_path, m_plainPath})
    {
        const CKrRef<IKrRiffReader> reader = OpenedReader(path);
        AskMode(reader.Get());
        EXPECT_TRUE(AnotherThreadMayWalk(*reader));
        AskAspect(reader.Get());
        EXPECT_TRUE(AnotherThreadMayWalk(*reader));
        for (const int flavour : {1, 2, 0, 3, -1})
        {
            AskMode(reader.Get(), flavour);
            EXPECT_TRUE(AnotherThreadMayWalk(*reader)) << flavour;
            AskAspect(reader.Get(), flavour);
            EXPECT_TRUE(AnotherThreadMayWalk(*reader)) << flavour;
        }
    }
}

TEST_F(QueryReader, EveryQuery_ReleasesItsReference)
{
    for (const std::wstring& path : {m_path, m_plainPath})
    {
        IKrRiffReader* const reader = OpenedReader(path).Detach();
        AskMode(reader);
        AskAspect(reader);
        for (const int flavour : {1, 2, 0, 3, -1})
        {
            AskMode(reader, flavour);
            AskAspect(reader, flavour);
        }
        EXPECT_EQ(reader->AddRef(), 2u);
        EXPECT_EQ(reader->Release(), 1u);
        EXPECT_EQ(reader->Release(), 0u);
    }
}

TEST_F(QueryReader, QueryOfAClosedReader_LeaksNoReference)
{
    IKrRiffReader* const reader = NewReader().Detach();
    ExpectNothing(reader);
    EXPECT_EQ(reader->Release(), 0u);
}

TEST_F(QueryReader, TwoThreadsWithOneReader_BothGetEveryAnswer)
{
    const CKrRef<IKrRiffReader> reader = OpenedReader(m_path);
    std::atomic<int> right = 0;
    const auto ask = [&]
    {
        for (int round = 0; round < 500; ++round)
            right += AskMode(reader.Get()) == Mode(1) && AskAspect(reader.Get()) == Aspect(3, 1) ? 1 : 0;
    };
    std::thread other(ask);
    ask();
    other.join();
    EXPECT_EQ(right, 1000);
}

// The reader's own operations only try its lock. A query that did the same would sometimes find nothing.
TEST_F(QueryReader, QueriesBesideAnotherThreadsWalks_AlwaysAnswer)
{
    const CKrRef<IKrRiffReader> reader = OpenedReader(m_path);
    std::atomic<bool> done = false;
    std::thread other(
        [&]
        {
            while (!done)
            {
                CArray<SKrChunkIndexEntry> index;
                reader->GetLastRiffSegment();
                reader->LoadVideoIndex(index);
            }
        });
    int right = 0;
    for (int round = 0; round < 2000; ++round)
        right += AskMode(reader.Get()) == Mode(1) ? 1 : 0;
    done = true;
    other.join();
    EXPECT_EQ(right, 2000);
}
