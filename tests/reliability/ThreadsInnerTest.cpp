// Four threads at once on one reader, and on one pool.
#include "platform/KrPlatform.h"
#include "reader/KrRiffReader.h"
#include "tests/reader/HostileFileSupport.h"
#include "tests/support/KrFakeDirectShowSample.h"

#include <atomic>
#include <thread>

using namespace KrTest;

namespace
{
constexpr size_t kThreads = 4;
constexpr int kRounds = 300;

template <class Work>
void OnFourThreads(Work&& work)
{
    std::vector<std::jthread> threads;
    for (size_t number = 0; number < kThreads; ++number)
        threads.emplace_back([&work, number] { work(number); });
}
} // namespace

// Loads and queries are either correct or refused; raw reads always succeed.
TEST(FourThreads, OnOneReader_SucceedOrAreRefused)
{
    CKrMemoryFileSystem files;
    const SKrBuiltAvi built = BuildSimpleAvi(RichAvi(EKrIndexKind::OpenDml));
    files.Set(L"a.avi", built.content);
    CKrRiffReader reader(files);
    ASSERT_EQ(reader.Open(L"a.avi"), 1);
    const KrBytes frame = PatternBytes(0, 2, 102);
    const uint64_t position = built.streamChunks[0][2].header + 8;
    std::atomic<int> answered = 0;
    OnFourThreads(
        [&](size_t number)
        {
            for (int round = 0; round < kRounds; ++round)
            {
                const SKrLoadAnswer load = number % 2 == 0 ? LoadVideoOf(reader) : LoadAudioOf(reader);
                answered += load.status;
                EXPECT_TRUE(load.status == 0 || load.entries.size() == 4);
                KrBytes bytes(102);
                EXPECT_EQ(reader.ReadAt(position, bytes.data(), 102), 102u);
                EXPECT_EQ(bytes, frame);
                EXPECT_EQ(reader.GetFileLength(), built.content.Size());
                EKrScanMode mode = EKrScanMode::Unknown;
                EXPECT_EQ(KrRiffUtils::GetAviScanMode(&reader, mode), 1) << "queries wait";
                EXPECT_EQ(mode, EKrScanMode::Progressive);
            }
        });
    EXPECT_GT(answered, kRounds) << "a good part of the loads";
}

// Queries by path while single paths and all of them are dropped: every query succeeds, and in the end no
// file is open.
TEST(FourThreads, OnTheCache_AreAllAnswered)
{
    CKrMemoryFileSystem files;
    const KrPlatform::CFileSystemScope scope(files);
    const wchar_t* const paths[] = {L"a.avi", L"b.avi", L"c.avi"};
    for (const wchar_t* const path : paths)
        files.Set(path, BuildSimpleAvi(RichAvi(EKrIndexKind::OpenDml)).content);
    OnFourThreads(
        [&](size_t number)
        {
            for (size_t round = 0; round < kRounds; ++round)
            {
                const wchar_t* const path = paths[(round + number) % std::size(paths)];
                EKrScanMode mode = EKrScanMode::Unknown;
                EXPECT_EQ(KrRiffUtils::GetAviScanMode(path, mode), 1);
                EXPECT_EQ(mode, EKrScanMode::Progressive);
                int horizontal = 0;
                int vertical = 0;
                EXPECT_EQ(KrRiffUtils::GetAviPixelAspectRatio(path, horizontal, vertical), 1);
                EXPECT_EQ(horizontal * 100 + vertical, 6445);
                if (round % 7 == number)
                    KrRiffUtils::ClearCache(round % 2 == 0 ? path : nullptr);
            }
        });
    EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1);
    EXPECT_EQ(files.OpenFiles(), 0u);
}

TEST(FourThreads, OnOnePool_GetSeparateSamples)
{
    CKrRef<IKrdsMediaSamplePool> pool;
    ASSERT_EQ(KrCreateMediaSamplePool(3, pool.Put()), 1); // fewer than threads
    OnFourThreads(
        [&](size_t number)
        {
            const auto value = static_cast<uint8_t>(number + 1);
            CKrFakeDirectShowSample source({value, value, value});
            for (int round = 0; round < kRounds; ++round)
            {
                IKrMediaSample* sample = nullptr;
                ASSERT_EQ(pool->GetSample(0xFFFFFFFF, &source, &sample), 1);
                uint8_t* data = nullptr;
                int32_t length = 0;
                ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
                EXPECT_EQ(KrBytes(data, data + length), KrBytes(3, value));
                sample->UnlockBuffer();
                EXPECT_EQ(sample->GetDataLength(), 3u);
                sample->Release();
            }
            // The pool keeps the last source of each sample: another one replaces it.
            while (source.references > 1)
            {
                static CKrFakeDirectShowSample other({0});
                IKrMediaSample* sample = nullptr;
                ASSERT_EQ(pool->GetSample(0xFFFFFFFF, &other, &sample), 1);
                sample->Release();
            }
        });
}
