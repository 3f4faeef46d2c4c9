// A pool whose samples several threads borrow, lock and return, and whose owner releases it meanwhile.
#include "KrMediaSampleTypes.h"
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/support/KrFakeDirectShowSample.h"

#include <set>

using namespace KrTest;

TEST(PoolScheduled, BorrowersBesideTheLastRelease_NeverShareASample)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            IKrdsMediaSamplePool* pool = nullptr;
            ASSERT_EQ(KrCreateMediaSamplePool(2, &pool), 1);
            std::set<IKrMediaSample*> lent;
            CKrFakeDirectShowSample source(KrBytes(10, 1));
            for (int borrower = 0; borrower < 4; ++borrower)
            {
                pool->AddRef();
                scheduler.Add(
                    [&lent, &source, pool, wait = borrower < 2 ? 0xFFFFFFFFul : 10ul]
                    {
                        for (int turn = 0; turn < 2; ++turn)
                        {
                            IKrMediaSample* sample = nullptr;
                            if (pool->GetSample(wait, &source, &sample) == 0)
                                continue;
                            EXPECT_TRUE(lent.insert(sample).second) << "lent twice";
                            uint8_t* data = nullptr;
                            int32_t length = 0;
                            EXPECT_EQ(sample->LockBuffer(&data, &length), 1);
                            EXPECT_EQ(length, 10);
                            sample->UnlockBuffer();
                            EXPECT_EQ(sample->GetDataLength(), 10u);
                            lent.erase(sample);
                            sample->Release();
                        }
                        pool->Release();
                    });
            }
            scheduler.Add([pool] { pool->Release(); });
            ASSERT_EQ(scheduler.Run(), "");
            EXPECT_EQ(source.references, 1u) << "nothing is left of the pool";
        });
}
