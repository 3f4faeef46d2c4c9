// Queries and the reader's lock: a query waits for it, holds it to its end, and has its own reference.
#include "base/KrReentrantLock.h"
#include "reader/KrRiffReader.h"
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrThreadGate.h"

#include <chrono>
#include <future>

using namespace KrTest;
using namespace std::chrono_literals;

namespace
{
// Long enough for a thread that does not wait to finish, short enough for a test.
constexpr auto kNoAnswerWithin = 100ms;

// A reader on a file in memory. A gate, once set up, stops the next reads from the file.
class QueryLock : public testing::Test
{
protected:
    QueryLock()
    {
        SKrSimpleAvi avi = SmallAviWithKrlA(1);
        avi.streams = {VideoStream({50'000, 50'000})}; // 'idx1' is far from the headers
        m_files.Set(L"a.avi", BuildSimpleAvi(avi).content);
        m_files.Set(L"b.avi", BuildSimpleAvi(SmallAviWithKrlA(2)).content);
        const KrPlatform::CFileSystemScope scope(m_counting); // the reader keeps using it
        m_reader = CKrRef<CKrRiffReader>::Adopt(static_cast<CKrRiffReader*>(NewReader().Detach()));
        EXPECT_EQ(m_reader->Open(L"a.avi"), 1);
    }
    ~QueryLock() override
    {
        m_gate.Open();
        m_faulty.SetBeforeRead({});
    }

    void StopReads()
    {
        m_faulty.SetBeforeRead([this](const SKrReadRequest&) { m_gate.Pass(); });
    }

    uint64_t OpenFiles() const { return m_counting.Calls().openFiles; }

    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    CKrCountingFileSystem m_counting{m_faulty};
    CKrThreadGate m_gate;
    CKrRef<CKrRiffReader> m_reader;
};

SKrModeAnswer AskReader(CKrRiffReader& reader)
{
    return AskMode(static_cast<IKrRiffReader*>(&reader));
}
} // namespace

TEST_F(QueryLock, HeldByAnotherThreadsLoad_IsWaitedFor)
{
    StopReads();
    std::jthread loader(
        [&]
        {
            CArray<SKrChunkIndexEntry> index;
            EXPECT_EQ(m_reader->LoadVideoIndex(index), 1);
        });
    const CKrGateOpener opener(m_gate);
    ASSERT_TRUE(m_gate.WaitForArrival());
    std::future<SKrModeAnswer> answer = std::async(std::launch::async, [&] { return AskReader(*m_reader); });
    EXPECT_EQ(answer.wait_for(kNoAnswerWithin), std::future_status::timeout);
    m_gate.Open();
    EXPECT_EQ(answer.get(), Mode(1));
}

// As during Open, which queries the file's own values while it holds the lock.
TEST_F(QueryLock, HeldByThisThread_IsEnteredAgain)
{
    const CKrLockScope held(m_reader->Lock());
    EXPECT_EQ(AskReader(*m_reader), Mode(1));
    EXPECT_FALSE(OnAnotherThread(
        [&]
        {
            const CKrTryLockScope probe(m_reader->Lock());
            return probe.Entered();
        }));
}

TEST_F(QueryLock, DuringAQuery_EveryGuardedOperationOfAnotherThreadIsRefused)
{
    IKrRiffReader& reader = *m_reader;
    uint32_t ckid = 0, type = 0, size = 0;
    uint64_t offset = 0;
    SKrRiffChunkNode* segment = nullptr;
    ASSERT_EQ(reader.FindFirstRiffSegment(), 1);
    reader.FindNextRiffSegment(&type, &size, &offset, &segment);
    ASSERT_NE(segment, nullptr);
    ASSERT_EQ(reader.FindFirstSubChunk(segment), 1);

    StopReads();
    SKrModeAnswer answer;
    {
        std::jthread query([&] { answer = AskReader(*m_reader); });
        const CKrGateOpener opener(m_gate);
        ASSERT_TRUE(m_gate.WaitForArrival());

        CDWordArray ids;
        ids.Add(0x63643030); // '00dc'
        CArray<SKrChunkIndexEntry> index;
        SKrAudioChunkPattern pattern = {};
        EXPECT_EQ(reader.FindFirstRiffSegment(), 0);
        EXPECT_EQ(reader.FindNextRiffSegment(&type, &size, &offset, nullptr), 0);
        EXPECT_EQ(reader.FindFirstSubChunk(segment), 0);
        EXPECT_EQ(reader.FindNextSubChunk(&ckid, &type, &size, &offset, nullptr), 0);
        EXPECT_EQ(reader.GetLastRiffSegment(), nullptr);
        EXPECT_EQ(reader.FindFirstChunk(&ids, UINT64_MAX), 0);
        EXPECT_EQ(reader.FindNextChunk(&ckid, &type, &size, &offset, nullptr), 0);
        EXPECT_EQ(reader.LoadVideoIndex(index), 0);
        EXPECT_EQ(reader.LoadAudioIndex(index, &pattern), 0);
        EXPECT_EQ(ckid, 0u) << "nothing was filled";
    }
    EXPECT_EQ(answer, Mode(1));
    EXPECT_EQ(reader.FindFirstRiffSegment(), 1); // and now again
}

TEST_F(QueryLock, DuringAQuery_CloseAndOpenOfAnotherThreadLeaveTheFileOpen)
{
    StopReads();
    SKrModeAnswer answer;
    {
        std::jthread query([&] { answer = AskReader(*m_reader); });
        const CKrGateOpener opener(m_gate);
        ASSERT_TRUE(m_gate.WaitForArrival());
        m_reader->Close();
        EXPECT_EQ(OpenFiles(), 1u);
        EXPECT_EQ(m_reader->Open(L"b.avi"), 0);
        EXPECT_EQ(OpenFiles(), 1u);
    }
    EXPECT_EQ(answer, Mode(1));
    EXPECT_EQ(AskReader(*m_reader), Mode(1)); // still the first file
}

TEST_F(QueryLock, SecondQuery_WaitsForTheFirst)
{
    StopReads();
    SKrModeAnswer answer;
    {
        std::jthread query([&] { answer = AskReader(*m_reader); });
        const CKrGateOpener opener(m_gate);
        ASSERT_TRUE(m_gate.WaitForArrival());
        std::future<SKrAspectAnswer> second = std::async(
            std::launch::async, [&] { return AskAspect(static_cast<IKrRiffReader*>(m_reader.Get())); });
        EXPECT_EQ(second.wait_for(kNoAnswerWithin), std::future_status::timeout);
        m_gate.Open();
        EXPECT_EQ(second.get(), Aspect(3, 1));
    }
    EXPECT_EQ(answer, Mode(1));
}

TEST_F(QueryLock, LastReferenceReleasedDuringAQuery_DestroysTheReaderOnlyAfterIt)
{
    StopReads();
    CKrRiffReader* const reader = m_reader.Get();
    SKrModeAnswer answer;
    {
        std::jthread query([&] { answer = AskReader(*reader); });
        const CKrGateOpener opener(m_gate);
        ASSERT_TRUE(m_gate.WaitForArrival());
        EXPECT_EQ(m_reader.Detach()->Release(), 1u); // the query holds one
        EXPECT_EQ(OpenFiles(), 1u);
    }
    EXPECT_EQ(answer, Mode(1));
    EXPECT_EQ(OpenFiles(), 0u);
}

TEST_F(QueryLock, ReadsThatFail_EndTheQueryWithTheLockReleased)
{
    uint64_t failures = 0;
    const uint64_t struck = ForEveryFailedCall(m_faulty, EKrFileCall::Read, EKrFaultSpan::FromThenOn,
                                               [&](uint64_t)
                                               {
                                                   const SKrModeAnswer answer = AskReader(*m_reader);
                                                   if (m_faulty.FaultStruck())
                                                       EXPECT_EQ(answer, kNoMode);
                                                   else
                                                       EXPECT_EQ(answer, Mode(1));
                                                   failures += answer == kNoMode ? 1 : 0;
                                                   EXPECT_TRUE(OnAnotherThread(
                                                       [&]
                                                       {
                                                           const CKrTryLockScope probe(m_reader->Lock());
                                                           return probe.Entered();
                                                       }));
                                               });
    EXPECT_GE(struck, 1u);
    EXPECT_EQ(failures, struck);
}

TEST_F(QueryLock, ChunkThatReadsShort_HasNoAnswer)
{
    m_faulty.Reset();
    m_faulty.ShortenRead(1, 507);
    EXPECT_EQ(AskReader(*m_reader), kNoMode);
    EXPECT_TRUE(m_faulty.FaultStruck());
    m_faulty.Reset();
    EXPECT_EQ(AskReader(*m_reader), Mode(1));
}
