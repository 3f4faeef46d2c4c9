// Every call to the file system failing once, or from then on, or falling short.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "platform/KrPlatform.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <gtest/gtest.h>

#include <thread>

using namespace KrTest;

namespace
{
SKrSimpleAvi FileOf(EKrIndexKind index)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({20'000, 20'001, 20'002}), PcmStream({7680, 7680, 7680})};
    avi.index = index;
    avi.entriesPerStdIndex = 1;
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    if (index == EKrIndexKind::OpenDml)
        avi.roundsPerSegment = {1, 1, 1};
    return avi;
}

class ReaderFaults : public testing::TestWithParam<EKrIndexKind>
{
protected:
    void SetUp() override { m_memory.Set(L"a.avi", BuildSimpleAvi(FileOf(GetParam())).content); }

    // All reading operations on one reader; true when the file opened.
    bool UseReader(IKrRiffReader& reader)
    {
        if (reader.Open(L"a.avi") == 0)
        {
            EXPECT_EQ(reader.GetFileLength(), 0u);
            return false;
        }
        CArray<SKrChunkIndexEntry> entries;
        SKrAudioChunkPattern pattern;
        EXPECT_NO_FATAL_FAILURE(LoadBoth(reader, entries, pattern));
        CDWordArray ids;
        ids.Add(0x63643030); // '00dc'
        uint32_t id, type, size;
        uint64_t offset;
        if (reader.FindFirstChunk(&ids, ~uint64_t{0}) != 0)
        {
            while (reader.FindNextChunk(&id, &type, &size, &offset, nullptr) != 0)
            {
            }
        }
        EKrScanMode mode;
        int horizontal, vertical;
        KrRiffUtils::GetAviScanMode(&reader, mode);
        KrRiffUtils::GetAviPixelAspectRatio(&reader, horizontal, vertical);
        uint8_t bytes[100];
        reader.ReadAt(500, bytes, sizeof bytes);
        return true;
    }

    // If a failed read ended the first pass early, the load throws when the second pass gets further.
    static void LoadBoth(IKrRiffReader& reader, CArray<SKrChunkIndexEntry>& entries,
                         SKrAudioChunkPattern& pattern)
    {
        try
        {
            reader.LoadVideoIndex(entries);
            reader.LoadAudioIndex(entries, &pattern);
        }
        catch (const CInvalidArgException&)
        {
        }
    }

    // After any failure the reader opens the file normally.
    void ExpectSound(IKrRiffReader& reader)
    {
        m_faulty.Reset();
        reader.Close();
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        CArray<SKrChunkIndexEntry> entries;
        ASSERT_EQ(reader.LoadVideoIndex(entries), 1);
        EXPECT_EQ(entries.GetSize(), 3);
        int refused = 1;
        std::thread([&] { refused = reader.FindFirstRiffSegment() == 0; }).join();
        EXPECT_EQ(refused, 0) << "the lock was kept";
    }

    // Uses a fresh reader with fault number 1, 2, ... planned, until none occurs. Returns how many occurred.
    template <class Plan>
    uint64_t StrikeEach(Plan&& plan)
    {
        for (uint64_t number = 1;; ++number)
        {
            CKrRef<IKrRiffReader> reader;
            EXPECT_EQ(KrCreateRiffReader(reader.Put()), 1);
            m_faulty.Reset();
            plan(number);
            UseReader(*reader);
            if (!m_faulty.FaultStruck())
                return number - 1;
            ExpectSound(*reader);
        }
    }

    uint64_t FailEachRead(EKrFaultSpan span)
    {
        return StrikeEach([&](uint64_t number) { m_faulty.FailCall(EKrFileCall::Read, number, span); });
    }

    uint64_t ShortenEachRead(size_t bytes, EKrFaultSpan span)
    {
        return StrikeEach([&](uint64_t number) { m_faulty.ShortenRead(number, bytes, span); });
    }

    CKrMemoryFileSystem m_memory;
    CKrFaultyFileSystem m_faulty{m_memory};
    KrPlatform::CFileSystemScope m_scope{m_faulty};
};
} // namespace

TEST_P(ReaderFaults, EachReadFailsOnce)
{
    EXPECT_GE(FailEachRead(EKrFaultSpan::Once), 8u);
}

TEST_P(ReaderFaults, EachReadFailsFromThenOn)
{
    EXPECT_GE(FailEachRead(EKrFaultSpan::FromThenOn), 8u);
}

TEST_P(ReaderFaults, EachReadFallsShort)
{
    for (const size_t bytes : {0, 7, 11, 31})
    {
        EXPECT_GE(ShortenEachRead(bytes, EKrFaultSpan::Once), 8u);
        EXPECT_GE(ShortenEachRead(bytes, EKrFaultSpan::FromThenOn), 8u);
    }
}

TEST_P(ReaderFaults, OpenOrSizeFails)
{
    for (const EKrFileCall kind : {EKrFileCall::Open, EKrFileCall::Size})
    {
        m_faulty.Reset();
        m_faulty.FailCall(kind, 1);
        CKrRef<IKrRiffReader> reader;
        ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
        EXPECT_EQ(reader->Open(L"a.avi"), 0);
        EXPECT_TRUE(m_faulty.FaultStruck());
        EXPECT_EQ(reader->GetFileLength(), 0u);
        ExpectSound(*reader);
    }
}

INSTANTIATE_TEST_SUITE_P(Indexes, ReaderFaults, testing::Values(EKrIndexKind::Idx1, EKrIndexKind::OpenDml),
                         [](const auto& value)
                         { return value.param == EKrIndexKind::Idx1 ? "OldIndex" : "OpenDml"; });

TEST(ReaderFault, CountEndedByAFailedReadThatLaterSucceeds_ThrowsAtTheEntryWithoutRoom)
{
    CKrMemoryFileSystem memory;
    CKrFaultyFileSystem faulty(memory);
    memory.Set(L"a.avi", BuildSimpleAvi(FileOf(EKrIndexKind::OpenDml)).content);
    KrPlatform::CFileSystemScope scope(faulty);
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(L"a.avi"), 1);
    faulty.Reset();
    faulty.FailCall(EKrFileCall::Read, 4); // super index head, its entries, first standard index, second one
    CArray<SKrChunkIndexEntry> entries;
    EXPECT_THROW(reader->LoadVideoIndex(entries), CInvalidArgException);
    EXPECT_EQ(entries.GetSize(), 1);
    int status = 0;
    std::thread([&] { status = reader->FindFirstRiffSegment(); }).join();
    EXPECT_EQ(status, 1); // the lock was released
}
