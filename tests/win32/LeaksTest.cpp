// The library's objects free every block and every handle, whatever the state of their locks.
#include "KrOsTypes.h"
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrFakeDirectShowSample.h"
#include "tests/support/KrTempFolder.h"
#include "tests/support/KrTestSample.h"
#include "tests/win32/KrProcessUse.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

using namespace KrTest;

namespace
{
CKrRef<IKrAviWriter> NewWriter()
{
    CKrRef<IKrAviWriter> writer;
    EXPECT_EQ(KrCreateAviWriter(writer.Put()), 1);
    return writer;
}

CKrRef<IKrdsMediaSamplePool> NewPool(unsigned long capacity)
{
    CKrRef<IKrdsMediaSamplePool> pool;
    EXPECT_EQ(KrCreateMediaSamplePool(capacity, pool.Put()), 1);
    return pool;
}

void RecordOneFrame(const std::wstring& path)
{
    SKrMediaInfo info{};
    info.videoStreamCount = 1;
    info.width = info.height = 16;
    info.frameRate = static_cast<uint32_t>(EKrFrameRate::Rate25);
    const CKrRef<IKrAviWriter> writer = NewWriter();
    ASSERT_EQ(writer->OpenFileFromInfo(path.c_str(), &info), 1);
    const auto frame = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(KrBytes(100, 1)));
    EXPECT_EQ(writer->AddVideoSample(frame.Get()), 1);
    EXPECT_EQ(writer->CloseFile(), 1);
}
} // namespace

TEST(Leaks, MeterSeesBlocksAndHandles)
{
    constexpr long kBlocks = 10'000;
    const SKrProcessUse before = ProcessUse();
    std::vector<std::unique_ptr<std::array<char, 40>>> blocks;
    for (long number = 0; number < kBlocks; ++number)
        blocks.push_back(std::make_unique<std::array<char, 40>>());
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const SKrProcessUse within = ProcessUse();
    EXPECT_GE(within.blocks - before.blocks, kBlocks);
    EXPECT_EQ(within.handles - before.handles, 1);
    CloseHandle(event);
    blocks.clear();
    const SKrProcessUse after = ProcessUse();
    EXPECT_LE(after.blocks - before.blocks, 60);
    EXPECT_EQ(after.handles, before.handles);
}

TEST(Leaks, ReadersMadeAndReleased)
{
    ExpectNothingLeft(60'000,
                      [](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              const CKrRef<IKrRiffReader> reader = NewReader();
                              EXPECT_EQ(reader->GetFileLength(), 0u);
                              if (round % 3 == 0)
                              {
                                  EXPECT_EQ(reader->FindFirstRiffSegment(), 0) << "leaves the lock held";
                              }
                          }
                      });
}

TEST(Leaks, ReadersLockedByAThreadThatEnded)
{
    ExpectNothingLeft(1000,
                      [](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              const CKrRef<IKrRiffReader> reader = NewReader();
                              {
                                  const CKrHostThread thread(
                                      [&] { EXPECT_EQ(reader->FindFirstRiffSegment(), 0); });
                              }
                              EXPECT_EQ(reader->FindFirstRiffSegment(), 0) << "locked out";
                          }
                      });
}

TEST(Leaks, WritersWithAFile)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"a.avi");
    ExpectNothingLeft(500,
                      [&](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                              RecordOneFrame(path);
                      });
}

TEST(Leaks, WritersClosedOnAnotherThread)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"a.avi");
    ExpectNothingLeft(200,
                      [&](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                              const CKrHostThread thread([&] { RecordOneFrame(path); });
                      });
}

TEST(Leaks, SamplesLentAndReturned)
{
    CKrFakeDirectShowSample source;
    ExpectNothingLeft(2000,
                      [&](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              const CKrRef<IKrdsMediaSamplePool> pool = NewPool(3);
                              CKrRef<IKrMediaSample> sample;
                              EXPECT_EQ(pool->GetSample(0, &source, sample.Put()), 1);
                              uint8_t* data = nullptr;
                              int32_t length = 0;
                              EXPECT_EQ(sample->LockBuffer(&data, &length), 1);
                              if (round % 2 == 0)
                                  sample->UnlockBuffer();
                          }
                      });
    EXPECT_EQ(source.references, 1u);
}

TEST(Leaks, SamplesWaitedFor)
{
    CKrFakeDirectShowSample source;
    ExpectNothingLeft(500,
                      [&](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              const CKrRef<IKrdsMediaSamplePool> pool = NewPool(1);
                              CKrRef<IKrMediaSample> sample;
                              EXPECT_EQ(pool->GetSample(0, &source, sample.Put()), 1);
                              CKrRef<IKrMediaSample> none;
                              EXPECT_EQ(pool->GetSample(1, &source, none.Put()), 0);
                              const CKrHostThread thread(
                                  [&]
                                  {
                                      CKrRef<IKrMediaSample> waitedFor;
                                      EXPECT_EQ(pool->GetSample(0xFFFFFFFF, &source, waitedFor.Put()), 1);
                                  });
                              Sleep(1); // by now it waits
                              sample.Reset();
                          }
                      });
    EXPECT_EQ(source.references, 1u);
}

TEST(Leaks, SampleBuffersLockedByTwoThreads)
{
    CKrFakeDirectShowSample source;
    ExpectNothingLeft(500,
                      [&](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              const CKrRef<IKrdsMediaSamplePool> pool = NewPool(1);
                              CKrRef<IKrMediaSample> sample;
                              EXPECT_EQ(pool->GetSample(0, &source, sample.Put()), 1);
                              uint8_t* data = nullptr;
                              int32_t length = 0;
                              EXPECT_EQ(sample->LockBuffer(&data, &length), 1);
                              const CKrHostThread thread([&] { EXPECT_EQ(sample->GetDataLength(), 3u); });
                              Sleep(1); // by now it waits
                              sample->UnlockBuffer();
                          }
                      });
}

TEST(Leaks, QueriesByPath)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.Write(L"a.avi", BuildSimpleAvi(SmallAviWithKrlA(2)).content);
    const auto ask = [&]
    {
        EKrScanMode mode = EKrScanMode::Unknown;
        EXPECT_EQ(KrRiffUtils::GetAviScanMode(path.c_str(), mode), 1);
    };
    ExpectNothingLeft(1000,
                      [&](int rounds)
                      {
                          for (int round = 0; round < rounds; ++round)
                          {
                              const CKrHostThread other(ask);
                              ask();
                              if (round % 2 == 0)
                              {
                                  EXPECT_EQ(KrRiffUtils::ClearCache(path.c_str()), 1);
                              }
                          }
                          KrRiffUtils::ClearCache(nullptr);
                      });
}
