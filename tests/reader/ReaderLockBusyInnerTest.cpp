// A thread stopped in the middle of each guarded operation, and the results of other threads meanwhile.
#include "reader/KrRiffReader.h"

#include "tests/reader/ReaderLockSupport.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrThreadGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

using namespace KrTest;

namespace
{

thread_local bool t_stopsAtReads = false;

// Three segments whose chunks lie far apart.
SKrBuiltAvi FarApart()
{
    SKrSimpleAvi avi;
    avi.streams.push_back(PcmStream());
    avi.index = EKrIndexKind::OpenDml;
    avi.roundsPerSegment = {1, 1, 1};
    avi.krlA = SKrTestKrlA{.scanMode = 1};
    avi.junkBeforeMovi = kBeyondReadAhead;
    avi.endOfMovi = [](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", kBeyondReadAhead);
    };
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("mark", KrBytes(2));
        file.ZeroChunk("JUNK", kBeyondReadAhead);
    };
    avi.startOfAvix = [](CKrAviBuilder& file)
    {
        file.ZeroChunk("JUNK", kBeyondReadAhead);
    };
    return BuildSimpleAvi(avi);
}

class ReaderLockBusy : public testing::Test
{
protected:
    ReaderLockBusy()
    {
        m_files.Set(L"a.avi", m_built.content);
        m_files.Set(L"b.avi", BuildSimpleAvi({}).content);
    }

    void OpenAndFindParent()
    {
        ASSERT_EQ(m_reader->Open(L"a.avi"), 1);
        ASSERT_EQ(m_reader->FindFirstRiffSegment(), 1);
        m_parent = NextSegment(*m_reader).node;
    }

    // Runs an operation on its own thread, which stops at its first read; `meanwhile` then uses the reader.
    // Returns the result of the operation.
    int WhileStopped(const std::function<int()>& operation, const std::function<void()>& meanwhile)
    {
        m_faulty.SetBeforeRead(
            [this](const SKrReadRequest&)
            {
                if (t_stopsAtReads)
                    m_gate.Pass();
            });
        int status = -1;
        std::jthread holder(
            [&]
            {
                t_stopsAtReads = true;
                status = operation();
            });
        const CKrGateOpener opener(m_gate);
        if (!m_gate.WaitForArrival())
        {
            ADD_FAILURE() << "the operation reads nothing";
            return -1;
        }
        meanwhile();
        m_gate.Open();
        holder.join();
        m_faulty.SetBeforeRead({});
        return status;
    }

    CKrMemoryFileSystem m_files;
    CKrFaultyFileSystem m_faulty{m_files};
    const SKrBuiltAvi m_built = FarApart();
    const CKrRef<CKrRiffReader> m_reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_faulty));
    SKrRiffChunkNode* m_parent = nullptr;
    CKrThreadGate m_gate;
};

struct SHolder
{
    const char* name;
    std::function<void(IKrRiffReader&, const SKrBuiltAvi&)> prepare;
    std::function<int(IKrRiffReader&)> operation; // 1 on success
};

const SHolder kHolders[] = {
    {"FindNextRiffSegment", [](IKrRiffReader&, const SKrBuiltAvi&) {},
     [](IKrRiffReader& reader)
     {
         return NextSegment(reader).status;
     }},
    {"FindFirstSubChunk",
     [](IKrRiffReader& reader, const SKrBuiltAvi& built)
     {
         EXPECT_NE(reader.GetLastRiffSegment(), nullptr);
         EXPECT_EQ(StartSearch(reader, {"mark"}, built.Find("mark").header), 1); // takes the read-ahead away
     },
     [](IKrRiffReader& reader)
     {
         SKrRiffChunkInfo* const last = reader.GetLastRiffSegment(); // known by now; a record begins its node
         return reader.FindFirstSubChunk(reinterpret_cast<SKrRiffChunkNode*>(last));
     }},
    {"FindNextSubChunk",
     [](IKrRiffReader& reader, const SKrBuiltAvi&)
     {
         SKrRiffChunkNode* first = nullptr;
         EXPECT_EQ(reader.FindFirstRiffSegment(), 1);
         first = NextSegment(reader).node;
         EXPECT_EQ(reader.FindFirstSubChunk(first), 1);
         while (NextSubChunk(reader).id != FourCcValue("KrlA"))
         {
         }
     },
     [](IKrRiffReader& reader)
     {
         return NextSubChunk(reader).status;
     }},
    {"GetLastRiffSegment", [](IKrRiffReader&, const SKrBuiltAvi&) {},
     [](IKrRiffReader& reader)
     {
         return reader.GetLastRiffSegment() != nullptr ? 1 : 0;
     }},
    {"FindFirstChunk", [](IKrRiffReader&, const SKrBuiltAvi&) {},
     [](IKrRiffReader& reader)
     {
         return StartSearch(reader, {"mark"});
     }},
    {"FindNextChunk",
     [](IKrRiffReader& reader, const SKrBuiltAvi&) {
         EXPECT_EQ(StartSearch(reader, {"KrlA", "mark"}), 1);
     },
     [](IKrRiffReader& reader)
     {
         return NextMatch(reader).status;
     }},
    {"LoadVideoIndex", [](IKrRiffReader&, const SKrBuiltAvi&) {},
     [](IKrRiffReader& reader)
     {
         CArray<SKrChunkIndexEntry> entries;
         return reader.LoadVideoIndex(entries) == 1 && entries.GetSize() == 3 ? 1 : 0;
     }},
    {"LoadAudioIndex", [](IKrRiffReader&, const SKrBuiltAvi&) {},
     [](IKrRiffReader& reader)
     {
         CArray<SKrChunkIndexEntry> entries;
         SKrAudioChunkPattern pattern;
         return reader.LoadAudioIndex(entries, &pattern) == 1 && entries.GetSize() == 3 ? 1 : 0;
     }},
};

class ReaderLockBusyIn : public ReaderLockBusy, public testing::WithParamInterface<size_t>
{
protected:
    [[nodiscard]] const SHolder& Holder() const { return kHolders[GetParam()]; }
};
} // namespace

TEST_P(ReaderLockBusyIn, OtherThreadsAreRefusedInEveryGuardedOperation)
{
    OpenAndFindParent();
    Holder().prepare(*m_reader, m_built);
    const int status = WhileStopped([&] { return Holder().operation(*m_reader); },
                                    [&] { EXPECT_TRUE(AskEverything(*m_reader, m_parent).All()); });
    EXPECT_EQ(status, 1) << "it was not disturbed";
    EXPECT_TRUE(AskEverything(*m_reader, m_parent).None()) << "the lock is free again";
}

TEST_P(ReaderLockBusyIn, CloseAndEndOfSearchByOthersDoNothing)
{
    OpenAndFindParent();
    Holder().prepare(*m_reader, m_built);
    const int status = WhileStopped([&] { return Holder().operation(*m_reader); },
                                    [&]
                                    {
                                        m_reader->EndChunkSearch();
                                        m_reader->Close();
                                    });
    EXPECT_EQ(status, 1);
    EXPECT_EQ(m_reader->GetFileLength(), m_built.content.Size());
    m_reader->Close();
    EXPECT_EQ(m_reader->GetFileLength(), 0u);
}

TEST_P(ReaderLockBusyIn, OpenByOthersIsRefusedAndTheFileStaysOpen)
{
    OpenAndFindParent();
    Holder().prepare(*m_reader, m_built);
    const int status = WhileStopped([&] { return Holder().operation(*m_reader); },
                                    [&]
                                    {
                                        EXPECT_EQ(m_reader->Open(L"b.avi"), 0);
                                        EXPECT_EQ(m_reader->Open(L"a.avi"), 0)
                                            << "the path that is open is refused too";
                                    });
    EXPECT_EQ(status, 1);
    EXPECT_EQ(m_reader->GetFileLength(), m_built.content.Size());
    EXPECT_EQ(m_reader->Open(L"b.avi"), 1);
}

TEST_P(ReaderLockBusyIn, GetFileLengthWaits)
{
    OpenAndFindParent();
    Holder().prepare(*m_reader, m_built);
    std::atomic<bool> answered = false;
    std::atomic<uint64_t> length = 0;
    std::jthread asking;
    const int status = WhileStopped([&] { return Holder().operation(*m_reader); },
                                    [&]
                                    {
                                        asking = std::jthread(
                                            [&]
                                            {
                                                length = m_reader->GetFileLength();
                                                answered = true;
                                            });
                                        std::this_thread::sleep_for(std::chrono::milliseconds(30));
                                        EXPECT_FALSE(answered);
                                    });
    asking.join();
    EXPECT_EQ(status, 1);
    EXPECT_EQ(length, m_built.content.Size());
}

TEST_P(ReaderLockBusyIn, QueryByReaderWaitsAndThenAnswers)
{
    OpenAndFindParent();
    Holder().prepare(*m_reader, m_built);
    std::atomic<bool> answered = false;
    int found = -1;
    EKrScanMode scanMode = EKrScanMode::Unknown;
    std::jthread asking;
    const int status = WhileStopped([&] { return Holder().operation(*m_reader); },
                                    [&]
                                    {
                                        asking = std::jthread(
                                            [&]
                                            {
                                                found = KrRiffUtils::GetAviScanMode(m_reader.Get(), scanMode);
                                                answered = true;
                                            });
                                        std::this_thread::sleep_for(std::chrono::milliseconds(30));
                                        EXPECT_FALSE(answered);
                                    });
    asking.join();
    EXPECT_EQ(status, 1);
    EXPECT_EQ(found, 1);
    EXPECT_EQ(scanMode, EKrScanMode::LowerFieldFirst);
}

INSTANTIATE_TEST_SUITE_P(Operations, ReaderLockBusyIn, testing::Range<size_t>(0, std::size(kHolders)),
                         [](const testing::TestParamInfo<size_t>& info)
                         { return kHolders[info.param].name; });

// The first segment of a file is at its head, which is read ahead, unless other chunks precede it.
TEST_F(ReaderLockBusy, FindFirstRiffSegmentThatHasToRead_KeepsOthersOutMeanwhile)
{
    CKrAviBuilder file;
    file.Riff("WAVE", [&] { file.ZeroChunk("data", kBeyondReadAhead); });
    file.Riff("AVI ", [&] { file.Chunk("JUNK", KrBytes(300)); });
    file.ZeroChunk("JUNK", kBeyondReadAhead);
    file.Chunk("mark", KrBytes(2));
    m_files.Set(L"wave.avi", file.Content());
    ASSERT_EQ(m_reader->Open(L"wave.avi"), 1);
    ASSERT_EQ(StartSearch(*m_reader, {"mark"}, file.Find("mark").header), 1); // takes the read-ahead away
    SKrRiffChunkNode foreign = {{FourCcValue("RIFF"), 100, 0, 8}};
    const int status = WhileStopped([&] { return m_reader->FindFirstRiffSegment(); },
                                    [&] { EXPECT_TRUE(AskEverything(*m_reader, &foreign).All()); });
    EXPECT_EQ(status, 1);
    EXPECT_EQ(NextSegment(*m_reader).dataOffset, file.Find("AVI ").data);
}

// A query holds the lock for its whole search, a walk only in each step: the query must never see another
// walk, and neither may block the other for good.
TEST_F(ReaderLockBusy, QueriesBesideWalks_AnswerRightAndNeverHang)
{
    OpenAndFindParent();
    std::atomic<bool> done = false;
    {
        std::jthread walker(
            [&]
            {
                while (!done)
                {
                    if (m_reader->FindFirstRiffSegment() == 1)
                        static_cast<void>(NextSegment(*m_reader));
                    if (m_reader->FindFirstSubChunk(m_parent) == 1)
                        static_cast<void>(NextSubChunk(*m_reader));
                    static_cast<void>(m_reader->GetLastRiffSegment());
                }
            });
        for (int round = 0; round < 300; ++round)
        {
            EKrScanMode scanMode = EKrScanMode::Unknown;
            EXPECT_EQ(KrRiffUtils::GetAviScanMode(m_reader.Get(), scanMode), 1);
            EXPECT_EQ(scanMode, EKrScanMode::LowerFieldFirst);
            EXPECT_EQ(m_reader->GetFileLength(), m_built.content.Size());
        }
        done = true;
    }
    EXPECT_TRUE(AskEverything(*m_reader, m_parent).None());
}
