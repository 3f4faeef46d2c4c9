// The pool of media samples and the samples that it lends.
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/support/KrFakeDirectShowSample.h"
#include "tests/support/KrRef.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <thread>
#include <vector>

using namespace KrTest;

namespace
{
class MediaSamplePool : public testing::Test
{
protected:
    void Make(unsigned long capacity) { ASSERT_EQ(KrCreateMediaSamplePool(capacity, m_pool.Put()), 1); }

    KrTest::CKrRef<IKrMediaSample> Get(IMediaSample* source, unsigned long wait = 0)
    {
        KrTest::CKrRef<IKrMediaSample> sample;
        m_pool->GetSample(wait, source, sample.Put());
        return sample;
    }

    CKrFakeDirectShowSample m_source{{10, 20, 30, 40}};
    KrTest::CKrRef<IKrdsMediaSamplePool> m_pool;
};

// Whether another thread can lock the sample's buffer now.
bool AnotherThreadLocks(IKrMediaSample& sample, int milliseconds = 100)
{
    std::atomic<bool> locked = false;
    auto* const kept = &sample;
    kept->AddRef();
    std::thread other(
        [kept, &locked]
        {
            uint8_t* data = nullptr;
            int32_t length = 0;
            if (kept->LockBuffer(&data, &length) != 0)
            {
                locked = true;
                kept->UnlockBuffer();
            }
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    const bool result = locked;
    // Whoever holds the buffer lets it go, so that the thread can end.
    for (int number = 0; number < 3; ++number)
        sample.UnlockBuffer();
    other.join();
    kept->Release();
    return result;
}
} // namespace

TEST(MediaSamplePoolFactory, BadArguments_AreRefusedAndLeaveTheOutputAlone)
{
    auto* const mark = reinterpret_cast<IKrdsMediaSamplePool*>(uintptr_t{16});
    IKrdsMediaSamplePool* pool = mark;
    EXPECT_EQ(KrCreateMediaSamplePool(0, &pool), 0);
    EXPECT_EQ(pool, mark);
    EXPECT_EQ(KrCreateMediaSamplePool(8, nullptr), 0);
}

TEST_F(MediaSamplePool, LentSample_WrapsTheSource)
{
    Make(1);
    const auto sample = Get(&m_source);
    ASSERT_TRUE(sample);
    EXPECT_EQ(m_source.references, 2u);
    EXPECT_EQ(sample->GetDataLength(), 4u);
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    EXPECT_EQ(data, m_source.bytes.data());
    EXPECT_EQ(length, 4);
    sample->UnlockBuffer();
}

TEST_F(MediaSamplePool, NullArguments_AreRefusedWithoutTouchingThePool)
{
    Make(1);
    auto* const mark = reinterpret_cast<IKrMediaSample*>(uintptr_t{16});
    IKrMediaSample* sample = mark;
    EXPECT_EQ(m_pool->GetSample(~0ul, nullptr, &sample), 0);
    EXPECT_EQ(sample, mark);
    EXPECT_EQ(m_pool->GetSample(~0ul, &m_source, nullptr), 0);
    EXPECT_EQ(m_source.references, 1u);
    EXPECT_TRUE(Get(&m_source)) << "the one sample is still there";
}

TEST_F(MediaSamplePool, EmptyPool_RefusesAndWrapsNothing)
{
    Make(1);
    const auto only = Get(&m_source);
    CKrFakeDirectShowSample other;
    auto* const mark = reinterpret_cast<IKrMediaSample*>(uintptr_t{16});
    IKrMediaSample* sample = mark;
    EXPECT_EQ(m_pool->GetSample(0, &other, &sample), 0);
    EXPECT_EQ(m_pool->GetSample(20, &other, &sample), 0);
    EXPECT_EQ(sample, mark);
    EXPECT_EQ(other.references, 1u);
}

TEST_F(MediaSamplePool, ReturnedSample_KeepsItsSourceUntilItIsLentAgain)
{
    Make(1);
    Get(&m_source).Reset();
    EXPECT_EQ(m_source.references, 2u) << "kept on purpose";
    CKrFakeDirectShowSample next;
    auto sample = Get(&next);
    EXPECT_EQ(m_source.references, 1u);
    EXPECT_EQ(next.references, 2u);
    sample.Reset();
    m_pool.Reset();
    EXPECT_EQ(next.references, 1u);
}

TEST_F(MediaSamplePool, SameSourceAgain_IsHeldOnce)
{
    Make(1);
    Get(&m_source).Reset();
    const auto sample = Get(&m_source);
    EXPECT_EQ(m_source.references, 2u);
}

TEST_F(MediaSamplePool, SampleComesBackExactlyOnce)
{
    Make(2);
    auto sample = Get(&m_source);
    sample->AddRef();
    EXPECT_EQ(sample->Release(), 2u) << "ours and the pool's";
    sample.Reset();
    const auto first = Get(&m_source);
    const auto second = Get(&m_source);
    EXPECT_TRUE(first && second);
    EXPECT_NE(first.Get(), second.Get());
    EXPECT_FALSE(Get(&m_source));
}

TEST_F(MediaSamplePool, EmptyBuffers_CannotBeLocked)
{
    Make(1);
    const auto sample = Get(&m_source);
    uint8_t* data = nullptr;
    int32_t length = 0;
    for (const LONG reported : {0, -1})
    {
        m_source.length = reported;
        EXPECT_EQ(sample->LockBuffer(&data, &length), 0);
        EXPECT_EQ(length, reported);
    }
    m_source.length.reset();
    m_source.hasNoPointer = true;
    EXPECT_EQ(sample->LockBuffer(&data, &length), 0);
    m_source.hasNoPointer = false;
    m_source.pointerResult = E_FAIL;
    EXPECT_EQ(sample->LockBuffer(&data, &length), 0);
    m_source.pointerResult = 1; // a success that is not plain
    EXPECT_EQ(sample->LockBuffer(&data, &length), 1);
    sample->UnlockBuffer();
    EXPECT_TRUE(AnotherThreadLocks(*sample)) << "nothing is left locked";
}

TEST_F(MediaSamplePool, LockedBuffer_IsForItsThreadAlone)
{
    Make(1);
    const auto sample = Get(&m_source);
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    EXPECT_FALSE(AnotherThreadLocks(*sample, 30));
    EXPECT_TRUE(AnotherThreadLocks(*sample)) << "unlocked meanwhile";
}

TEST_F(MediaSamplePool, TwoLocks_NeedTwoUnlocks)
{
    Make(1);
    const auto sample = Get(&m_source);
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    sample->UnlockBuffer();
    EXPECT_FALSE(AnotherThreadLocks(*sample, 30));
    EXPECT_TRUE(AnotherThreadLocks(*sample));
}

TEST_F(MediaSamplePool, SurplusUnlock_IsHarmless)
{
    Make(1);
    const auto sample = Get(&m_source);
    sample->UnlockBuffer();
    sample->UnlockBuffer();
    EXPECT_TRUE(AnotherThreadLocks(*sample));
    uint8_t* data = nullptr;
    int32_t length = 0;
    EXPECT_EQ(sample->LockBuffer(&data, &length), 1);
    EXPECT_FALSE(AnotherThreadLocks(*sample, 30));
}

TEST_F(MediaSamplePool, LentSamples_OutliveThePool)
{
    Make(2);
    auto sample = Get(&m_source);
    m_pool.Reset();
    EXPECT_EQ(sample->GetDataLength(), 4u);
    EXPECT_EQ(m_source.references, 2u);
    sample.Reset();
    EXPECT_EQ(m_source.references, 1u);
}

TEST_F(MediaSamplePool, WaitForASample_EndsWhenOneComesBack)
{
    Make(1);
    auto only = Get(&m_source);
    std::atomic<bool> got = false;
    {
        std::jthread waiting([&] { got = static_cast<bool>(Get(&m_source, 0xFFFFFFFFul)); });
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_FALSE(got);
        only.Reset();
    }
    EXPECT_TRUE(got);
}

namespace
{
// A host's allocator with a fixed number of buffers: one is free when nobody but the allocator holds it.
class CFixedAllocator
{
public:
    explicit CFixedAllocator(size_t buffers) : m_buffers(buffers) {}

    IMediaSample* GetFree()
    {
        for (CKrFakeDirectShowSample& buffer : m_buffers)
        {
            if (buffer.references == 1)
                return &buffer;
        }
        return nullptr;
    }

private:
    std::deque<CKrFakeDirectShowSample> m_buffers;
};
} // namespace

TEST_F(MediaSamplePool, AllocatorOfTheSameSize_RunsDry)
{
    constexpr unsigned long kSamples = 3;
    for (const size_t buffers : {size_t{kSamples}, size_t{kSamples + 1}})
    {
        Make(kSamples);
        CFixedAllocator allocator(buffers);
        for (unsigned long number = 0; number < kSamples; ++number)
            EXPECT_TRUE(Get(allocator.GetFree())); // lent and given back at once
        EXPECT_EQ(allocator.GetFree() != nullptr, buffers > kSamples)
            << "the samples that came back keep their buffers";
        m_pool.Reset();
    }
}

TEST_F(MediaSamplePool, ManyThreads_BorrowAndLock)
{
    Make(3);
    std::vector<std::jthread> users;
    for (int user = 0; user < 4; ++user)
    {
        users.emplace_back(
            [this]
            {
                for (int round = 0; round < 100; ++round)
                {
                    CKrFakeDirectShowSample* const source = &m_source;
                    const auto sample = Get(source, ~0ul);
                    uint8_t* data = nullptr;
                    int32_t length = 0;
                    EXPECT_EQ(sample->LockBuffer(&data, &length), 1);
                    EXPECT_EQ(data[3], 40);
                    sample->UnlockBuffer();
                    EXPECT_EQ(sample->GetDataLength(), 4u);
                }
            });
    }
}
