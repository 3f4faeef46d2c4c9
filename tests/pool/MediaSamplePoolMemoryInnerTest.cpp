// The pool and its samples out of memory.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/base/KrFailingAllocation.h"
#include "tests/support/KrFakeDirectShowSample.h"

#include <gtest/gtest.h>

using namespace KrTest;

TEST(MediaSamplePoolMemory, AnyFailedAllocation_GivesZeroAndLeavesTheOutputAlone)
{
    constexpr unsigned long kCapacity = 3;
    unsigned failures = 0;
    for (unsigned number = 1; number < 100; ++number)
    {
        int somethingElse = 0;
        auto* const mark = reinterpret_cast<IKrdsMediaSamplePool*>(&somethingElse);
        IKrdsMediaSamplePool* pool = mark;
        int status = -1;
        bool struck = false;
        {
            const CFailingAllocation failing(number);
            status = KrCreateMediaSamplePool(kCapacity, &pool);
            struck = failing.Struck();
        }
        if (!struck)
        {
            ASSERT_EQ(status, 1);
            EXPECT_EQ(pool->Release(), 0u);
            break;
        }
        EXPECT_EQ(status, 0) << number;
        EXPECT_EQ(pool, mark) << number;
        ++failures;
    }
    EXPECT_GE(failures, 3 + kCapacity) << "pool, allocator, manager and the samples at least";
    EXPECT_LT(failures, 99u);
}

// Samples are lent and returned while a recording runs; running out of memory must not stop that.
TEST(MediaSamplePoolMemory, LendingAndReturning_NeedNone)
{
    CKrFakeDirectShowSample source;
    CKrRef<IKrdsMediaSamplePool> pool;
    ASSERT_EQ(KrCreateMediaSamplePool(3, pool.Put()), 1);
    int lent = 0;
    bool struck = false;
    {
        const CFailingAllocation failing(1);
        for (int round = 0; round < 1000; ++round)
        {
            IKrMediaSample* sample = nullptr;
            lent += pool->GetSample(0, &source, &sample);
            uint8_t* data = nullptr;
            int32_t length = 0;
            if (sample != nullptr && sample->LockBuffer(&data, &length) != 0)
                sample->UnlockBuffer();
            if (sample != nullptr)
                sample->Release();
        }
        struck = failing.Struck();
    }
    EXPECT_EQ(lent, 1000);
    EXPECT_FALSE(struck);
}
