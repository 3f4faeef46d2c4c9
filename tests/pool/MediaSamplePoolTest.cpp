// The pool of media samples and the samples that it lends.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrFakeDirectShowSample.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <future>

using namespace KrTest;

namespace
{
class MediaSamplePool : public testing::Test
{
protected:
    void Make(unsigned long capacity) { ASSERT_EQ(KrCreateMediaSamplePool(capacity, m_pool.Put()), 1); }

    CKrRef<IKrMediaSample> Get(IMediaSample* source, unsigned long wait = 0)
    {
        CKrRef<IKrMediaSample> sample;
        m_pool->GetSample(wait, source, sample.Put());
        return sample;
    }

    CKrFakeDirectShowSample m_source{{10, 20, 30, 40}};
    CKrRef<IKrdsMediaSamplePool> m_pool;
};

constexpr std::chrono::milliseconds kAWhile{30};
constexpr std::chrono::seconds kAtMost{30};

// Another thread locks the sample's buffer, and unlocks it at once.
std::future<int> LockElsewhere(IKrMediaSample& sample)
{
    return std::async(std::launch::async,
                      [&sample]
                      {
                          uint8_t* data = nullptr;
                          int32_t length = 0;
                          const int locked = sample.LockBuffer(&data, &length);
                          if (locked != 0)
                              sample.UnlockBuffer();
                          return locked;
                      });
}

template <class T>
bool EndsWithin(const std::future<T>& work, std::chrono::milliseconds time)
{
    return work.wait_for(time) == std::future_status::ready;
}

// Entry of an interface's table of virtual operations. Entry 0 is the destructor's; outside Windows that has
// two entries.
template <class Operation>
Operation* EntryOf(const void* object, size_t slot)
{
#if defined(_WIN32)
    const size_t index = slot;
#else
    const size_t index = slot + 1;
#endif
    const char* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    Operation* entry = nullptr;
    std::memcpy(&entry, table + index * sizeof entry, sizeof entry);
    return entry;
}
} // namespace

TEST(MediaSamplePoolFactory, BadArguments_AreRefusedAndLeaveTheOutputAlone)
{
    auto* const mark = reinterpret_cast<IKrdsMediaSamplePool*>(uintptr_t{16});
    IKrdsMediaSamplePool* pool = mark;
    EXPECT_EQ(KrCreateMediaSamplePool(0, &pool), 0);
    EXPECT_EQ(pool, mark);
    EXPECT_EQ(KrCreateMediaSamplePool(0, nullptr), 0);
    EXPECT_EQ(KrCreateMediaSamplePool(8, nullptr), 0);
}

TEST(MediaSamplePoolFactory, SenselessCapacity_IsRefusedAtOnce)
{
    auto* const mark = reinterpret_cast<IKrdsMediaSamplePool*>(uintptr_t{16});
    IKrdsMediaSamplePool* pool = mark;
    for (const unsigned long capacity : {(1ul << 20) + 1, 1'000'000'000ul, 0xFFFFFFFFul, ~0ul})
        EXPECT_EQ(KrCreateMediaSamplePool(capacity, &pool), 0) << capacity;
    EXPECT_EQ(pool, mark);
}

TEST_F(MediaSamplePool, NewPool_HasOneReference)
{
    Make(2);
    EXPECT_EQ(m_pool->AddRef(), 2u);
    EXPECT_EQ(m_pool->Release(), 1u);
    EXPECT_EQ(m_pool.Detach()->Release(), 0u);
}

TEST_F(MediaSamplePool, OperationsStandInTheirSlots)
{
    Make(1);
    const auto getSample =
        EntryOf<int(void*, unsigned long, IMediaSample*, IKrMediaSample**)>(m_pool.Get(), 3);
    CKrRef<IKrMediaSample> lent;
    ASSERT_EQ(getSample(m_pool.Get(), 0, &m_source, lent.Put()), 1);
    IKrMediaSample* const sample = lent.Get();
    EXPECT_EQ(EntryOf<uint32_t(void*)>(sample, 1)(sample), 3u) << "AddRef";
    EXPECT_EQ(EntryOf<uint32_t(void*)>(sample, 2)(sample), 2u) << "Release";
    uint8_t* data = nullptr;
    int32_t length = 0;
    EXPECT_EQ(EntryOf<int(void*, uint8_t**, int32_t*)>(sample, 4)(sample, &data, &length), 1);
    EXPECT_EQ(data, m_source.bytes.data());
    auto other = LockElsewhere(*sample);
    EXPECT_FALSE(EndsWithin(other, kAWhile));
    EntryOf<void(void*)>(sample, 5)(sample); // UnlockBuffer
    EXPECT_EQ(other.get(), 1);
    EXPECT_EQ(EntryOf<uint32_t(void*)>(sample, 6)(sample), 4u) << "GetDataLength";
    EntryOf<void(void*)>(sample, 3)(sample); // ResetElement
    EXPECT_EQ(m_source.references, 1u);
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
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(m_pool->GetSample(30, &other, &sample), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(29));
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

TEST_F(MediaSamplePool, SampleIsReturnedExactlyOnce)
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
    m_source.pointerResult = 1; // a success code other than 0
    EXPECT_EQ(sample->LockBuffer(&data, &length), 1);
    sample->UnlockBuffer();
    EXPECT_EQ(LockElsewhere(*sample).get(), 1) << "nothing is left locked";
}

TEST_F(MediaSamplePool, LockedBuffer_IsForItsThreadAlone)
{
    Make(1);
    const auto sample = Get(&m_source);
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    auto lock = LockElsewhere(*sample);
    auto dataLength = std::async(std::launch::async, [&] { return sample->GetDataLength(); });
    EXPECT_FALSE(EndsWithin(lock, kAWhile));
    EXPECT_FALSE(EndsWithin(dataLength, kAWhile));
    EXPECT_EQ(sample->GetDataLength(), 4u) << "the holder may ask";
    sample->UnlockBuffer();
    EXPECT_TRUE(EndsWithin(lock, kAtMost));
    EXPECT_EQ(lock.get(), 1);
    EXPECT_EQ(dataLength.get(), 4u);
}

TEST_F(MediaSamplePool, LockThatFails_KeepsTheLocksBefore)
{
    Make(1);
    const auto sample = Get(&m_source);
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    m_source.hasNoPointer = true;
    EXPECT_EQ(sample->LockBuffer(&data, &length), 0);
    m_source.hasNoPointer = false;
    auto other = LockElsewhere(*sample);
    EXPECT_FALSE(EndsWithin(other, kAWhile));
    sample->UnlockBuffer();
    EXPECT_TRUE(EndsWithin(other, kAtMost)) << "one unlock is enough";
}

TEST_F(MediaSamplePool, TwoLocks_NeedTwoUnlocks)
{
    Make(1);
    const auto sample = Get(&m_source);
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    auto other = LockElsewhere(*sample);
    sample->UnlockBuffer();
    EXPECT_FALSE(EndsWithin(other, kAWhile));
    sample->UnlockBuffer();
    EXPECT_TRUE(EndsWithin(other, kAtMost));
}

TEST_F(MediaSamplePool, SurplusUnlock_IsHarmless)
{
    Make(1);
    const auto sample = Get(&m_source);
    sample->UnlockBuffer();
    sample->UnlockBuffer();
    uint8_t* data = nullptr;
    int32_t length = 0;
    ASSERT_EQ(sample->LockBuffer(&data, &length), 1);
    auto other = LockElsewhere(*sample);
    EXPECT_FALSE(EndsWithin(other, kAWhile)) << "unlocks are not saved up";
    for (int number = 0; number < 3; ++number)
        sample->UnlockBuffer();
    EXPECT_TRUE(EndsWithin(other, kAtMost));
}

TEST_F(MediaSamplePool, LentSamples_OutliveThePoolAndGoAsTheyComeBack)
{
    Make(3);
    CKrFakeDirectShowSample other;
    CKrFakeDirectShowSample idle;
    auto first = Get(&m_source);
    auto second = Get(&other);
    Get(&idle).Reset();
    EXPECT_EQ(idle.references, 2u);
    m_pool.Reset();
    EXPECT_EQ(idle.references, 1u);
    EXPECT_EQ(first->GetDataLength(), 4u);
    first.Reset();
    EXPECT_EQ(m_source.references, 1u) << "although another one is still lent";
    uint8_t* data = nullptr;
    int32_t length = 0;
    EXPECT_EQ(second->LockBuffer(&data, &length), 1);
    second->UnlockBuffer();
    second.Reset();
    EXPECT_EQ(other.references, 1u);
}

namespace
{
// A host's allocator with a fixed number of buffers: one is free when only the allocator holds it.
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
            EXPECT_TRUE(Get(allocator.GetFree())); // lent and returned at once
        EXPECT_EQ(allocator.GetFree() != nullptr, buffers > kSamples)
            << "the samples that came back keep their buffers";
        m_pool.Reset();
    }
}
