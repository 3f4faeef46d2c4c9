// A roll-over on a real disk.
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"
#include "tests/writer/KrRecorder.h"

#include <filesystem>

using namespace KrTest;

namespace
{
constexpr size_t kFrameSize = 24'000'000;
constexpr uint32_t kFrames = 48; // 1.15 GB
} // namespace

TEST(WriterRollOver, FileAbove1100Megabytes_IsReadBack)
{
    const CKrTempFolder folder;
    if (std::filesystem::space(Os::StdPath(folder.Path())).available < uint64_t{4} << 30)
        GTEST_SKIP() << "less than 4 GB are free";
    const std::wstring path = folder.PathOf(L"large.avi");
    CKrManualClock clock;
    const SKrWriterServices services{KrPlatform::OsFileSystem(), clock, &NoWorkerThread};
    auto writer = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
    const SKrAviVideoParams params = ParamsFor({});
    ASSERT_EQ(writer->OpenFile(path.c_str(), &params, FourCcValue("MJPG"), nullptr), 1);
    KrBytes frame(kFrameSize, 0x5A);
    for (uint32_t number = 0; number < kFrames; ++number)
    {
        frame[0] = frame[kFrameSize - 1] = static_cast<uint8_t>(number);
        const auto sample = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(frame));
        ASSERT_EQ(writer->AddVideoSample(sample.Get()), 1);
    }
    writer->CloseFile();
    EXPECT_EQ(CKrTestSample::Alive(), 0);

    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(path.c_str()), 1);
    ASSERT_GT(reader->GetFileLength(), uint64_t{1'100'000'000});
    const SKrRiffChunkInfo* const last = reader->GetLastRiffSegment();
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->fccType, FourCcValue("AVIX"));
    CArray<SKrChunkIndexEntry> entries;
    ASSERT_EQ(reader->LoadVideoIndex(entries), 1);
    ASSERT_EQ(entries.GetSize(), intptr_t{kFrames});
    for (uint32_t number = 0; number < kFrames; ++number)
    {
        const SKrChunkIndexEntry& entry = entries[number];
        ASSERT_EQ(entry.size, kFrameSize);
        uint8_t ends[2] = {};
        EXPECT_EQ(reader->ReadAt(entry.position, &ends[0], 1), 1u);
        EXPECT_EQ(reader->ReadAt(entry.position + kFrameSize - 1, &ends[1], 1), 1u);
        EXPECT_EQ(ends[0], number);
        EXPECT_EQ(ends[1], number);
    }
}
