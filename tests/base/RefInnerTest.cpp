// The owner of one reference.
#include "base/KrRef.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace
{
struct SCounted
{
    int references = 1;
    void AddRef() { ++references; }
    void Release() { --references; }
};
} // namespace

TEST(Ref, Adopt_TakesOverTheCallersReference)
{
    SCounted object;
    {
        const auto ref = CKrRef<SCounted>::Adopt(&object);
        EXPECT_EQ(ref.Get(), &object);
        EXPECT_EQ(object.references, 1);
    }
    EXPECT_EQ(object.references, 0);
}

TEST(Ref, Share_AddsAReferenceOfItsOwn)
{
    SCounted object;
    {
        const auto ref = CKrRef<SCounted>::Share(&object);
        EXPECT_EQ(object.references, 2);
    }
    EXPECT_EQ(object.references, 1);
}

TEST(Ref, NullPointer_IsHeldAsNothing)
{
    const auto adopted = CKrRef<SCounted>::Adopt(nullptr);
    const auto shared = CKrRef<SCounted>::Share(nullptr);
    EXPECT_FALSE(adopted);
    EXPECT_FALSE(shared);
    EXPECT_EQ(shared.Get(), nullptr);
    EXPECT_FALSE(CKrRef<SCounted>());
}

TEST(Ref, Move_HandsTheReferenceOn)
{
    SCounted object;
    auto first = CKrRef<SCounted>::Adopt(&object);
    CKrRef<SCounted> second(std::move(first));
    EXPECT_FALSE(first);
    EXPECT_EQ(second.Get(), &object);
    EXPECT_EQ(object.references, 1);
    EXPECT_FALSE(std::is_copy_constructible_v<CKrRef<SCounted>>);
}

TEST(Ref, MoveAssignment_ReleasesWhatWasHeld)
{
    SCounted held;
    SCounted other;
    auto ref = CKrRef<SCounted>::Adopt(&held);
    ref = CKrRef<SCounted>::Adopt(&other);
    EXPECT_EQ(held.references, 0);
    EXPECT_EQ(other.references, 1);
    EXPECT_EQ(ref.Get(), &other);
    ref = CKrRef<SCounted>();
    EXPECT_EQ(other.references, 0);
}

TEST(Ref, MoveAssignmentToItself_KeepsTheReference)
{
    SCounted object;
    auto ref = CKrRef<SCounted>::Adopt(&object);
    auto& same = ref;
    ref = std::move(same);
    EXPECT_EQ(ref.Get(), &object);
    EXPECT_EQ(object.references, 1);
}

TEST(Ref, Detach_HandsTheReferenceToTheCaller)
{
    SCounted object;
    {
        auto ref = CKrRef<SCounted>::Adopt(&object);
        EXPECT_EQ(ref.Detach(), &object);
        EXPECT_FALSE(ref);
    }
    EXPECT_EQ(object.references, 1);
}

TEST(Ref, Reset_ReleasesOnce)
{
    SCounted object;
    {
        auto ref = CKrRef<SCounted>::Share(&object);
        ref.Reset();
        EXPECT_EQ(object.references, 1);
        EXPECT_FALSE(ref);
        ref.Reset();
    }
    EXPECT_EQ(object.references, 1);
}

TEST(Ref, Put_ReleasesWhatWasHeldAndTakesOverWhatIsWrittenThere)
{
    SCounted held;
    SCounted made;
    {
        auto ref = CKrRef<SCounted>::Adopt(&held);
        *ref.Put() = &made;
        EXPECT_EQ(held.references, 0);
        EXPECT_EQ(&*ref, &made);
        EXPECT_EQ(made.references, 1);
    }
    EXPECT_EQ(made.references, 0);
}
