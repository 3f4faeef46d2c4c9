// The reader factory out of memory: this test program's own allocation functions fail on demand.
#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/base/KrFailingAllocation.h"

#include <gtest/gtest.h>

TEST(ReaderFactoryMemory, AnyFailedAllocation_GivesZeroAndANullPointer)
{
    unsigned failures = 0;
    for (unsigned number = 1; number < 100; ++number)
    {
        int somethingElse = 0;
        IKrRiffReader* reader = reinterpret_cast<IKrRiffReader*>(&somethingElse);
        int status = -1;
        bool struck = false;
        {
            const KrTest::CFailingAllocation failing(number);
            status = KrCreateRiffReader(&reader);
            struck = failing.Struck();
        }
        if (!struck)
        {
            ASSERT_EQ(status, 1);
            reader->Release();
            break;
        }
        EXPECT_EQ(status, 0);
        EXPECT_EQ(reader, nullptr);
        ++failures;
    }
    EXPECT_GE(failures, 1u) << "the object itself is allocated at least";
    EXPECT_LT(failures, 99u);
}
