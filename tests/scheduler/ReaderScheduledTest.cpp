// One reader, used from several threads in the order that a seed selects.
#include "reader/KrRiffReader.h"
#include "tests/reader/AllStreamsSupport.h"

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "format/KrBytes.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrYieldingFileSystem.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <stdexcept>

using namespace KrTest;

namespace
{
constexpr const wchar_t* kPaths[] = {L"a.avi", L"b.avi"};

// Two files that differ in each queried fact.
class ReaderScheduled : public testing::Test
{
protected:
    ReaderScheduled()
    {
        SKrSimpleAvi first;
        first.krlA = SKrTestKrlA{.scanMode = 1, .horizontal = 64, .vertical = 45};
        first.streams.push_back(PcmStream());
        SKrSimpleAvi second;
        SKrTestBitmapInfo format;
        format.width = 640;
        format.height = 480;
        format.compression = "XVID";
        second.streams = {VideoStream({500, 600, 700, 800, 900}, format)};
        second.index = EKrIndexKind::OpenDml;
        second.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 16, .vertical = 15};
        m_bytes = {BuildSimpleAvi(first).Bytes(), BuildSimpleAvi(second).Bytes()};
        for (size_t file = 0; file < m_bytes.size(); ++file)
            m_memory.Set(kPaths[file], CKrFileContent(m_bytes[file]));
    }

    // Runs the added activities; afterwards the reader must be unlocked and hold no resources.
    void Run(CKrScheduler& scheduler, CKrRiffReader& reader)
    {
        ASSERT_EQ(scheduler.Run(), "");
        EXPECT_FALSE(m_files.WasClosedUnderATransfer());
        const CKrTryLockScope probe(reader.Lock());
        ASSERT_TRUE(probe.Entered()) << "an activity kept the lock";
        EXPECT_EQ(reader.Open(kPaths[0]), 1);
        EXPECT_EQ(reader.GetFileLength(), m_bytes[0].size());
        reader.Close();
        EXPECT_EQ(reader.GetFileLength(), 0u);
        EXPECT_EQ(m_memory.OpenFiles(), 0u);
    }

    // The bytes of a read must be those at its position in one of the files.
    void ExpectBytesOfOneFile(uint64_t position, const uint8_t* bytes, uint32_t count)
    {
        const bool known =
            std::ranges::any_of(m_bytes,
                                [&](const KrBytes& file) {
                                    return position + count <= file.size() &&
                                           std::memcmp(bytes, file.data() + position, count) == 0;
                                });
        EXPECT_TRUE(known) << count << " bytes at " << position;
    }

    // Queries the video stream. All results must belong to one file, or at first to none.
    static void ExpectOneStreamState(CKrRiffReader& reader)
    {
        SKrAviVideoParams format{};
        uint32_t compression = 0;
        uint32_t chunkId = 0;
        uint16_t bitCount = 0;
        int valid = 0;
        const uint32_t frames = reader.GetVideoStreamInfo(&format, &compression, &bitCount, &valid, &chunkId);
        if (valid == 0)
        {
            EXPECT_EQ(frames, 0u);
            return;
        }
        const bool isFirst = format.width == 720;
        EXPECT_EQ(format.height, isFirst ? 576 : 480);
        EXPECT_EQ(compression, FourCcValue(isFirst ? "MJPG" : "XVID"));
        EXPECT_EQ(format.scanMode, isFirst ? 1 : 2);
        EXPECT_EQ(format.displayWidth, isFirst ? 1024 : 683) << "after both private chunks were read";
        EXPECT_TRUE(frames == 0 || frames == (isFirst ? 3u : 5u)) << frames;
    }

    // A query by reader, which may find the reader closed.
    static void ExpectMode(CKrRiffReader& reader)
    {
        EKrScanMode mode = EKrScanMode::Unknown;
        const bool found = KrRiffUtils::GetAviScanMode(&reader, mode) != 0;
        EXPECT_EQ(found, mode == EKrScanMode::LowerFieldFirst || mode == EKrScanMode::Progressive);
    }

    CKrMemoryFileSystem m_memory;
    CKrYieldingFileSystem m_files{m_memory};
    std::array<KrBytes, 2> m_bytes;
};
} // namespace

TEST_F(ReaderScheduled, QueriesBesideCloseAndOpen_LeaveTheLockFree)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            const auto reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_files));
            scheduler.Add([&] { reader->Open(kPaths[0]); });
            for (int query = 0; query < 2; ++query)
                scheduler.Add([&] { ExpectMode(*reader.Get()); });
            scheduler.Add(
                [&]
                {
                    reader->Close();
                    reader->Open(kPaths[scheduler.Choose(2)]);
                    reader->Close();
                });
            scheduler.Add(
                [&]
                {
                    const uint64_t length = reader->GetFileLength();
                    EXPECT_TRUE(length == 0 || length == m_bytes[0].size() || length == m_bytes[1].size());
                });
            Run(scheduler, *reader.Get());
        });
}

TEST_F(ReaderScheduled, CloseOpenAndSearches_SeeNoHalfParsedReader)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            const auto reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_files));
            for (size_t file = 0; file < 2; ++file)
                scheduler.Add([&, file] { reader->Open(kPaths[file]); });
            scheduler.Add([&] { reader->Close(); });
            scheduler.Add(
                [&]
                {
                    CDWordArray ids;
                    ids.Add(FourCcValue("00dc"));
                    uint32_t ckid = 0, type = 0, size = 0;
                    uint64_t offset = 0;
                    if (reader->FindFirstChunk(&ids, UINT64_MAX) == 0)
                        return;
                    try
                    {
                        reader->FindNextChunk(&ckid, &type, &size, &offset, nullptr);
                        EXPECT_TRUE(ckid == 0 || ckid == FourCcValue("00dc"));
                    }
                    catch (const std::out_of_range&)
                    {
                        // another thread closed the file, and ended the search with it
                    }
                });
            scheduler.Add([&] { ExpectMode(*reader.Get()); });
            Run(scheduler, *reader.Get());
        });
}

TEST_F(ReaderScheduled, RawReadsAndStreamQueriesBesideCloseAndOpen_AnswerForOneFile)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            const auto reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_files));
            ASSERT_EQ(reader->Open(kPaths[0]), 1);
            scheduler.Add(
                [&]
                {
                    for (int read = 0; read < 3; ++read)
                    {
                        uint8_t bytes[200];
                        const uint64_t position = 100 * scheduler.Choose(20);
                        const uint32_t count = reader->ReadAt(position, bytes, sizeof bytes);
                        ExpectBytesOfOneFile(position, bytes, count);
                    }
                });
            scheduler.Add(
                [&]
                {
                    for (int query = 0; query < 3; ++query)
                        ExpectOneStreamState(*reader.Get());
                });
            scheduler.Add(
                [&]
                {
                    reader->Close();
                    reader->Open(kPaths[1]);
                    CArray<SKrChunkIndexEntry> entries;
                    reader->LoadVideoIndex(entries);
                });
            scheduler.Add([&] { reader->Close(); });
            Run(scheduler, *reader.Get());
        });
}

TEST_F(ReaderScheduled, AllStreamsBesideCloseAndOpen_AnswerForOneFile)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            const auto reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_files));
            ASSERT_EQ(reader->Open(kPaths[0]), 1);
            for (int thread = 0; thread < 2; ++thread)
            {
                scheduler.Add(
                    [&]
                    {
                        EXPECT_LE(reader->GetStreamCount(), 2u);
                        const SKrStreamProperties video = PropertiesOf(*reader.Get(), 0);
                        EXPECT_TRUE(video.size == 0 || video.length == 3 || video.length == 5);
                        EXPECT_TRUE(video.size == 0 ||
                                    video.flags == (video.length == 5 ? 1u | 12u : 2u | 12u));
                        uint8_t format[20];
                        const uint32_t count = reader->ReadStreamFormat(0, format, sizeof format);
                        EXPECT_TRUE(count == 0 || count == sizeof format);
                        EXPECT_TRUE(count == 0 || GetLe32(format + 4) == 720 || GetLe32(format + 4) == 640);
                    });
            }
            scheduler.Add(
                [&]
                {
                    const SKrStreamAnswer load = LoadStreamOf(*reader.Get(), 0);
                    EXPECT_EQ(load.status == 1, load.entries.size() == 3 || load.entries.size() == 5);
                });
            scheduler.Add(
                [&]
                {
                    reader->Close();
                    reader->Open(kPaths[1]);
                });
            Run(scheduler, *reader.Get());
        });
}

// One activity writes the file, another refreshes, others ask and close.
TEST_F(ReaderScheduled, RefreshBesideReadsAndClose_GivesWholeChunks)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::OpenDml;
    avi.streams = {VideoStream({100, 200, 300})};
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    const KrBytes whole = built.Bytes();
    const uint64_t firstPart = built.streamChunks[0][1].data;
    WithEverySeed(
        [&](CKrScheduler& scheduler)
        {
            m_memory.Remove(L"growing.avi");
            std::unique_ptr<IKrWritableFile> file = m_memory.CreateForWriting(L"growing.avi");
            const auto write = [&](uint64_t from, uint64_t to)
            {
                const KrByteSpan part = KrByteSpan(whole).subspan(from, to - from);
                EXPECT_FALSE(file->WriteAt(from, {&part, 1}).Failed());
            };
            write(0, firstPart);
            const auto reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_files));
            ASSERT_EQ(reader->OpenGrowing(L"growing.avi"), 1);
            scheduler.Add(
                [&]
                {
                    for (uint64_t from = firstPart; from < whole.size(); from += 150)
                    {
                        YieldToScheduler();
                        write(from, std::min<uint64_t>(from + 150, whole.size()));
                    }
                });
            scheduler.Add(
                [&]
                {
                    for (int look = 0; look < 3; ++look)
                        EXPECT_GE(reader->Refresh(), -1);
                });
            scheduler.Add(
                [&]
                {
                    const SKrStreamAnswer load = LoadStreamOf(*reader.Get(), 0);
                    for (const SKrChunkPlace& place : load.entries)
                        EXPECT_LE(place.position + place.size, whole.size());
                    EXPECT_LE(load.entries.size(), 3u);
                    const SKrStreamProperties properties = PropertiesOf(*reader.Get(), 0);
                    EXPECT_TRUE(properties.size == 0 || properties.type == 0x73646976);
                    EXPECT_LE(reader->GetGrowingState(), 3u);
                });
            scheduler.Add([&] { reader->Close(); });
            ASSERT_EQ(scheduler.Run(), "");
            reader->Close();
            EXPECT_EQ(reader->GetGrowingState(), 0u);
            file.reset();
            EXPECT_EQ(m_memory.OpenFiles(), 0u);
            EXPECT_FALSE(m_files.WasClosedUnderATransfer());
        });
}

TEST_F(ReaderScheduled, LoadsAndWalksBesideCloseAndOpen_AnswerForOneFile)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            const auto reader = CKrRef<CKrRiffReader>::Adopt(new CKrRiffReader(m_files));
            ASSERT_EQ(reader->Open(kPaths[1]), 1);
            scheduler.Add(
                [&]
                {
                    CArray<SKrChunkIndexEntry> entries;
                    const bool loaded = reader->LoadVideoIndex(entries) != 0;
                    EXPECT_EQ(loaded, entries.GetSize() == 3 || entries.GetSize() == 5);
                });
            scheduler.Add(
                [&]
                {
                    // Null while another thread is inside; the record itself may be freed by now. The reader
                    // never appears closed here: the call would then keep its lock.
                    static_cast<void>(reader->GetLastRiffSegment());
                });
            scheduler.Add(
                [&]
                {
                    reader->Open(kPaths[0]);
                    reader->Open(kPaths[1]);
                });
            scheduler.Add([&] { ExpectMode(*reader.Get()); });
            Run(scheduler, *reader.Get());
        });
}
