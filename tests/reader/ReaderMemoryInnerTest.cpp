// Reader and cache out of memory: a failed load or query, or the allocator's own exception, and no leak.
#include "platform/KrPlatform.h"
#include "tests/base/KrFailingAllocation.h"
#include "tests/reader/ReaderFaultSupport.h"
#include "tests/support/KrByteWriter.h"

#include <new>

using namespace KrTest;

namespace
{
constexpr unsigned kMostAllocations = 10'000;
} // namespace

TEST(ReaderMemory, LoadOutOfMemory_Fails)
{
    for (const EKrIndexKind kind : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CKrMemoryFileSystem files;
        files.Set(L"a.avi", BuildSimpleAvi(FaultyAvi(kind)).content);
        CKrRiffReader reader(files);
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        CArray<SKrChunkIndexEntry> entries;
        unsigned number = 1;
        for (bool struck = true; struck && number < kMostAllocations; ++number)
        {
            int status = 0;
            {
                const CFailingAllocation failing(number);
                status = reader.LoadVideoIndex(entries);
                struck = failing.Struck();
            }
            EXPECT_EQ(status, struck ? 0 : 1) << number;
            EXPECT_TRUE(OtherThreadsGetTheLock(reader));
        }
        EXPECT_GT(number, 2u) << "the block of the index at least";
        EXPECT_EQ(entries.GetSize(), 4);
    }
}

TEST(ReaderMemory, LoadOfAnyStreamOutOfMemory_Fails)
{
    for (const EKrIndexKind kind : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        CKrMemoryFileSystem files;
        files.Set(L"a.avi", BuildSimpleAvi(FaultyAvi(kind)).content);
        unsigned number = 1;
        for (bool struck = true; struck && number < kMostAllocations; ++number)
        {
            CKrRiffReader reader(files); // which keeps what it has read of an index
            ASSERT_EQ(reader.Open(L"a.avi"), 1);
            CArray<SKrStreamIndexEntry> entries;
            int status = 0;
            {
                const CFailingAllocation failing(number);
                status = reader.LoadStreamIndex(0, 0, entries);
                struck = failing.Struck();
            }
            EXPECT_EQ(status, struck ? 0 : 1) << number;
            EXPECT_EQ(reader.LoadStreamIndex(0, 0, entries), 1) << number;
            EXPECT_EQ(entries.GetSize(), 4) << number;
        }
        EXPECT_GT(number, 2u);
    }
}

TEST(ReaderMemory, QueryByPath_LeavesTheCacheUsable)
{
    CKrMemoryFileSystem files;
    const KrPlatform::CFileSystemScope scope(files);
    files.Set(L"a.avi", BuildSimpleAvi(FaultyAvi(EKrIndexKind::Idx1)).content);
    unsigned zeros = 0;
    unsigned number = 1;
    for (bool struck = true; struck && number < kMostAllocations; ++number)
    {
        EKrScanMode mode = EKrScanMode::Unknown;
        {
            const CFailingAllocation failing(number);
            try
            {
                zeros += KrRiffUtils::GetAviScanMode(L"a.avi", mode) == 0;
            }
            catch (const std::bad_alloc&)
            {
            }
            struck = failing.Struck();
        }
        EXPECT_EQ(KrRiffUtils::GetAviScanMode(L"a.avi", mode), 1) << number;
        EXPECT_EQ(KrRiffUtils::ClearCache(L"a.avi"), 1) << number;
        EXPECT_EQ(files.OpenFiles(), 0u) << number;
    }
    EXPECT_GT(number, 5u);
    EXPECT_GT(zeros, 0u) << "no reader can be made";
}

// A format so far into the file that it is read separately.
TEST(ReaderFaultFormat, FailedReads_AreNoFormat)
{
    SKrSimpleAvi avi = FaultyAvi(EKrIndexKind::Idx1);
    avi.streams[0].beforeStrf = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(70'000, 0x33));
    };
    CKrMemoryFileSystem memory;
    CKrFaultyFileSystem files(memory);
    memory.Set(L"a.avi", BuildSimpleAvi(avi).content);
    size_t without = 0;
    const auto open = [&](uint64_t)
    {
        CKrRiffReader reader(files);
        const int status = reader.Open(L"a.avi");
        const bool struck = files.FaultStruck();
        SKrAviVideoParams format{};
        uint32_t compression = 0;
        uint16_t bits = 0;
        int valid = 0;
        uint32_t id = 0;
        reader.GetVideoStreamInfo(&format, &compression, &bits, &valid, &id);
        without += status == 1 && valid == 0;
        EXPECT_TRUE(struck || valid == 1);
    };
    for (const size_t bytes : {0u, 20u})
        EXPECT_GT(ForEveryShortRead(files, bytes, EKrFaultSpan::Once, open), 3u);
    EXPECT_GT(without, 0u);
}

// A file whose first header comes short is one of raw chunks, which start at byte 200.
TEST(ReaderFaultFormat, FirstHeaderThatComesShort_LeavesTheRawChunks)
{
    CKrTestByteWriter out;
    out.FourCc("RIFF").U32(292).FourCc("AVI ").FourCc("JUNK").U32(280); // all of the file
    KrBytes bytes = out.Bytes();
    bytes.resize(200, 0x33);
    const KrBytes frame = CKrTestByteWriter().FourCc("00dc").U32(92).Bytes();
    bytes.insert(bytes.end(), frame.begin(), frame.end());
    bytes.resize(300, 0x33);
    CKrMemoryFileSystem memory;
    memory.Set(L"a.avi", bytes);
    CKrFaultyFileSystem files(memory);
    files.ShortenRead(1, 12, EKrFaultSpan::FromThenOn);
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    EXPECT_TRUE(files.FaultStruck());
    EXPECT_EQ(reader.StreamState().firstVideoChunkId, 0x63643030u);
}
