// The holder of objects that are never destroyed.
#include "base/KrImmortal.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace
{
struct SWitness
{
    static inline int made = 0;
    static inline int destroyed = 0;
    alignas(64) int value = 7;

    SWitness() { ++made; }
    ~SWitness() { ++destroyed; }
};
} // namespace

TEST(Immortal, Object_IsMadeOnceAndNeverDestroyed)
{
    {
        CKrImmortal<SWitness> holder;
        EXPECT_EQ(SWitness::made, 1);
        EXPECT_EQ(holder.Get().value, 7);
        holder.Get().value = 8;
        EXPECT_EQ(holder.Get().value, 8) << "the same object each time";
        EXPECT_EQ(reinterpret_cast<uintptr_t>(&holder.Get()) % alignof(SWitness), 0u);
    }
    EXPECT_EQ(SWitness::made, 1);
    EXPECT_EQ(SWitness::destroyed, 0);
}
