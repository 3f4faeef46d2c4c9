#include "tests/support/KrRef.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
struct SCounted
{
    int references = 1;
    void AddRef() { ++references; }
    void Release() { --references; }
};
} // namespace

TEST(RefTest, AdoptedReference_IsReleasedOnce)
{
    SCounted object;
    {
        CKrRef<SCounted> ref(&object);
        CKrRef<SCounted> moved = std::move(ref);
        EXPECT_FALSE(ref);
        EXPECT_EQ(moved.Get(), &object);
        EXPECT_EQ(object.references, 1);
    }
    EXPECT_EQ(object.references, 0);
}

TEST(RefTest, SharedReference_IsItsOwn)
{
    SCounted object;
    {
        const auto ref = CKrRef<SCounted>::Share(&object);
        EXPECT_EQ(object.references, 2);
    }
    EXPECT_EQ(object.references, 1);
}

TEST(RefTest, PutResetAndMoveAssignment_ReleaseWhatWasHeld)
{
    SCounted first;
    SCounted second;
    SCounted third;
    CKrRef<SCounted> ref(&first);
    *ref.Put() = &second;
    EXPECT_EQ(first.references, 0);
    ref = CKrRef<SCounted>(&third);
    EXPECT_EQ(second.references, 0);
    SCounted* const detached = ref.Detach();
    EXPECT_EQ(detached, &third);
    ref.Reset();
    EXPECT_EQ(third.references, 1);
}
