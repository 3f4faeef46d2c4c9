// Opening while the file system fails, the exit that keeps the lock, and loads with a transient fault.
#include "tests/reader/ReaderFaultSupport.h"
#include "tests/support/KrCountingFileSystem.h"

using namespace KrTest;

namespace
{
class ReaderFaultOpen : public testing::TestWithParam<EKrIndexKind>
{
protected:
    void SetUp() override
    {
        m_memory.Set(L"a.avi", BuildSimpleAvi(FaultyAvi(GetParam())).content);
        m_memory.Set(L"b.avi", BuildSimpleAvi({}).content);
        CKrRiffReader reader(m_memory);
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        m_truth = All(reader);
    }

    static std::vector<SKrOutcome> All(CKrRiffReader& reader)
    {
        std::vector<SKrOutcome> all;
        for (const SKrReaderStep& step : kReaderSteps)
            all.push_back(step.run(reader));
        return all;
    }

    // Opens with another file already open: checks the state after a failure, and the recovery from it.
    void RunOnce(CKrRiffReader& reader)
    {
        const int status = reader.Open(L"a.avi");
        m_struck = m_files.FaultStruck();
        m_files.FailCall(EKrFileCall::Open, 0); // the fault is over
        if (status == 0)
            ExpectClosed(reader);
        else
            ExpectNothingMadeUp(reader);
        EXPECT_TRUE(OtherThreadsGetTheLock(reader));
        reader.Close();
        EXPECT_EQ(m_counts.Calls().openFiles, 0u);
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        EXPECT_EQ(All(reader), m_truth);
    }

    void ExpectClosed(CKrRiffReader& reader)
    {
        EXPECT_EQ(m_counts.Calls().openFiles, 0u);
        EXPECT_EQ(reader.GetFileLength(), 0u);
        EXPECT_EQ(LoadVideoOf(reader).status, 0);
        EXPECT_EQ(LoadAudioOf(reader).status, 0);
        uint8_t byte;
        EXPECT_EQ(reader.ReadAt(0, &byte, 1), 0u);
    }

    // Unreadable parts are missing, and all others are correct.
    void ExpectNothingMadeUp(CKrRiffReader& reader)
    {
        const std::vector<SKrOutcome> all = All(reader);
        const bool raw = reader.StreamState().firstChunkPosition == 0; // a search starts elsewhere then
        for (size_t step = 0; step < all.size(); ++step)
            EXPECT_TRUE((raw && kReaderSteps[step].run == Search) ||
                        IsPartOf(all[step].seen, m_truth[step].seen))
                << kReaderSteps[step].name;
    }

    // Faults in every call of a kind made while `a` is opened after `b`.
    template <class Plan>
    uint64_t ForEveryCall(Plan&& plan)
    {
        uint64_t number = 0;
        do
        {
            CKrRiffReader reader(m_files);
            m_files.Reset();
            EXPECT_EQ(reader.Open(L"b.avi"), 1);
            m_files.Reset();
            plan(++number);
            RunOnce(reader);
        } while (m_struck && !HasFailure());
        m_allStruck += number - 1;
        RecordProperty("struck", std::to_string(m_allStruck));
        return number - 1;
    }

    CKrMemoryFileSystem m_memory;
    CKrCountingFileSystem m_counts{m_memory};
    CKrFaultyFileSystem m_files{m_counts};
    std::vector<SKrOutcome> m_truth;
    bool m_struck = false;
    uint64_t m_allStruck = 0; // runs of this test with a fault, for the report
};
} // namespace

INSTANTIATE_TEST_SUITE_P(All, ReaderFaultOpen, testing::Values(EKrIndexKind::Idx1, EKrIndexKind::OpenDml),
                         [](const auto& value)
                         { return value.param == EKrIndexKind::Idx1 ? "Old" : "OpenDml"; });

TEST_P(ReaderFaultOpen, FailedOpenOrSize_ClosesTheFileBefore)
{
    EXPECT_EQ(ForEveryCall([&](uint64_t number) { m_files.FailCall(EKrFileCall::Open, number); }), 1u);
    EXPECT_EQ(ForEveryCall([&](uint64_t number) { m_files.FailCall(EKrFileCall::Size, number); }), 1u);
}

TEST_P(ReaderFaultOpen, FailedRead_GivesAStatus)
{
    for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
        EXPECT_GE(ForEveryCall([&](uint64_t number) { m_files.FailCall(EKrFileCall::Read, number, span); }),
                  5u);
}

TEST_P(ReaderFaultOpen, ShortRead_GivesAStatus)
{
    for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
    {
        for (const size_t bytes : {0, 1, 7, 8, 11, 12, 13, 19, 100, 300, 511})
            EXPECT_GE(ForEveryCall([&](uint64_t number) { m_files.ShortenRead(number, bytes, span); }), 3u)
                << bytes;
    }
}

TEST_P(ReaderFaultOpen, NoReadAtAll_IsAFailedOpen)
{
    CKrRiffReader reader(m_files);
    m_files.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn);
    EXPECT_EQ(reader.Open(L"a.avi"), 0);
    ExpectClosed(reader);
}

// The walk over the segments begins with a seek. Without it the file opens without the values of its private
// chunks.
TEST_P(ReaderFaultOpen, FailedSeekBeforeTheWalk_OpensAndLeavesTheLock)
{
    CKrRiffReader reader(m_files);
    m_files.FailCall(EKrFileCall::Seek, 1, EKrFaultSpan::FromThenOn);
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    ASSERT_TRUE(m_files.FaultStruck());
    EXPECT_EQ(reader.StreamState().videoFormat.displayWidth, 720) << "not the 1024 of the private chunk";
    EXPECT_TRUE(OtherThreadsGetTheLock(reader));
    m_files.Reset();
    EXPECT_EQ(All(reader), m_truth) << "this thread continues";
    EXPECT_TRUE(OtherThreadsGetTheLock(reader));
    reader.Close();
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    EXPECT_EQ(reader.StreamState().videoFormat.displayWidth, 1024);
    EXPECT_EQ(All(reader), m_truth);
}

TEST_P(ReaderFaultOpen, FailedSeekOfAWalk_KeepsTheLockAndNothingElse)
{
    CKrRiffReader reader(m_files);
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    m_files.Reset();
    m_files.FailCall(EKrFileCall::Seek, 1);
    EXPECT_EQ(Walk(reader).status, 0);
    EXPECT_TRUE(m_files.FaultStruck());
    EXPECT_FALSE(OtherThreadsGetTheLock(reader));
    EXPECT_EQ(Walk(reader), m_truth[0]);
    int status = 1;
    std::thread([&] { status = LoadVideoOf(reader).status; }).join();
    EXPECT_EQ(status, 0);
    reader.Close();
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    EXPECT_EQ(All(reader), m_truth);
}

// A single fault is harmless: a header that could not be read through the window is read alone.
TEST_P(ReaderFaultOpen, FaultsAfterASegment_MakeItTheLast)
{
    const size_t segments = GetParam() == EKrIndexKind::OpenDml ? 3 : 1;
    for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
    {
        bool struck = true;
        for (uint64_t number = 1; struck; ++number)
        {
            CKrRiffReader reader(m_files);
            m_files.Reset();
            ASSERT_EQ(reader.Open(L"a.avi"), 1);
            m_files.Reset();
            m_files.FailCall(EKrFileCall::Read, number, span);
            const SKrRiffChunkInfo* const last = reader.GetLastRiffSegment();
            struck = m_files.FaultStruck();
            ASSERT_NE(last, nullptr) << "the first segment is in the head of the file";
            const KrSeen& nodes = m_truth[0].seen; // the segments come first
            const auto found = std::ranges::find(nodes, std::tuple(last->ckid, last->cksize, last->offset));
            const auto place = static_cast<size_t>(found - nodes.begin());
            if (struck && span == EKrFaultSpan::FromThenOn)
            {
                EXPECT_LT(place, segments - 1);
            }
            else
            {
                EXPECT_EQ(place, segments - 1);
            }
            EXPECT_TRUE(OtherThreadsGetTheLock(reader));
        }
    }
}

// Queries by path open the file themselves: a failure is not cached.
TEST_P(ReaderFaultOpen, FailedQueryByPath_CanBeRepeated)
{
    const KrPlatform::CFileSystemScope scope(m_files);
    for (const EKrFileCall kind : {EKrFileCall::Open, EKrFileCall::Size, EKrFileCall::Read})
    {
        uint64_t number = 0;
        bool struck = true;
        while (struck && !HasFailure())
        {
            m_files.Reset();
            m_files.FailCall(kind, ++number);
            int horizontal = 0;
            int vertical = 0;
            const int status = KrRiffUtils::GetAviPixelAspectRatio(L"a.avi", horizontal, vertical);
            struck = m_files.FaultStruck();
            EXPECT_TRUE(status == 0 || (horizontal == 64 && vertical == 45));
            KrRiffUtils::ClearCache(L"a.avi");
            m_files.Reset();
            EXPECT_EQ(KrRiffUtils::GetAviPixelAspectRatio(L"a.avi", horizontal, vertical), 1);
            EXPECT_EQ(horizontal, 64);
            KrRiffUtils::ClearCache(L"a.avi");
            EXPECT_EQ(m_counts.Calls().openFiles, 0u);
        }
        EXPECT_GE(number, 2u);
    }
}

// The count stops at the standard index that cannot be read; when it can be read later, the array has no room
// for its first entry.
TEST(ReaderFaultLoad, CountCutShortByATransientFault_EndsWithTheArraysException)
{
    CKrMemoryFileSystem memory;
    memory.Set(L"a.avi", BuildSimpleAvi(FaultyAvi(EKrIndexKind::OpenDml)).content);
    CKrFaultyFileSystem files(memory);
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    for (const bool video : {true, false})
    {
        // Reads: the super index's head and entries, then the heads of four standard indexes of one entry
        // each.
        for (uint64_t counted = 0; counted < 4; ++counted)
        {
            CArray<SKrChunkIndexEntry> entries;
            SKrAudioChunkPattern pattern{kUnwritten, kUnwritten, kUnwritten, kUnwritten};
            const auto load = [&]
            {
                return video ? reader.LoadVideoIndex(entries) : reader.LoadAudioIndex(entries, &pattern);
            };
            files.Reset();
            files.FailCall(EKrFileCall::Read, 3 + counted);
            if (counted == 0) // nothing counted fails the load
                EXPECT_EQ(load(), 0);
            else
                EXPECT_THROW(load(), CInvalidArgException);
            EXPECT_EQ(entries.GetSize(), static_cast<intptr_t>(counted));
            EXPECT_EQ(pattern.kind, kUnwritten);
            EXPECT_TRUE(OtherThreadsGetTheLock(reader));
            files.Reset();
            EXPECT_EQ(load(), 1) << "the next load is whole";
            EXPECT_EQ(entries.GetSize(), 4);
        }
    }
}
