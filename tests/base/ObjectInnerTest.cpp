// The reference count that all interfaces share.
#include "base/KrObject.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace
{
class IThing : public IKrUnknown
{
public:
    virtual int Number() = 0;
};

// Counts its destructions in a place that outlives it.
class CThing final : public CKrObject<IThing>
{
public:
    explicit CThing(std::atomic<int>& destroyed) : m_destroyed(destroyed) {}
    ~CThing() override { ++m_destroyed; }

    int Number() override { return 42; }

private:
    std::atomic<int>& m_destroyed;
};

// Entry `slot` of an object's table of virtual operations.
void* SlotOf(const void* object, size_t slot)
{
    void* const* table;
    std::memcpy(&table, object, sizeof table);
    return table[slot];
}
} // namespace

TEST(Object, NewObject_HasOneReferenceAndItsReleaseDestroysIt)
{
    std::atomic<int> destroyed = 0;
    IThing* const thing = new CThing(destroyed);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(thing->Release(), 0u);
    EXPECT_EQ(destroyed, 1);
}

TEST(Object, AddedReferences_AreCountedAndKeepItAlive)
{
    std::atomic<int> destroyed = 0;
    IThing* const thing = new CThing(destroyed);
    EXPECT_EQ(thing->AddRef(), 2u);
    EXPECT_EQ(thing->AddRef(), 3u);
    EXPECT_EQ(thing->Release(), 2u);
    EXPECT_EQ(thing->Release(), 1u) << "not 0: it is still there";
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(thing->Number(), 42);
    EXPECT_EQ(thing->Release(), 0u);
    EXPECT_EQ(destroyed, 1);
}

TEST(Object, ReleaseThroughTheRootInterface_DestroysTheWholeObject)
{
    std::atomic<int> destroyed = 0;
    IKrUnknown* const unknown = new CThing(destroyed);
    EXPECT_EQ(unknown->Release(), 0u);
    EXPECT_EQ(destroyed, 1);
}

TEST(Object, LastReleaseFromManyThreads_DestroysItOnceAndReturnsZeroOnce)
{
    constexpr int kThreads = 4;
    for (int round = 0; round < 200; ++round)
    {
        std::atomic<int> destroyed = 0;
        std::atomic<int> zeros = 0;
        IThing* const thing = new CThing(destroyed);
        for (int thread = 1; thread < kThreads; ++thread)
            thing->AddRef();
        {
            std::vector<std::jthread> threads;
            for (int thread = 0; thread < kThreads; ++thread)
                threads.emplace_back([&] { zeros += thing->Release() == 0 ? 1 : 0; });
        }
        ASSERT_EQ(destroyed, 1);
        ASSERT_EQ(zeros, 1);
    }
}

#if defined(_WIN32)
// Hosts of the other ABI destroy through slot 0 with a flag argument; no compiler calls it for us here.
TEST(Object, SlotZeroWithTheDeletingFlag_DestroysAndFrees)
{
    std::atomic<int> destroyed = 0;
    CThing* const thing = new CThing(destroyed);
    using DeletingDestructor = void* (*)(void*, unsigned int);
    const auto destroy = reinterpret_cast<DeletingDestructor>(SlotOf(static_cast<IThing*>(thing), 0));
    const auto address = reinterpret_cast<uintptr_t>(thing);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(destroy(static_cast<IThing*>(thing), 1)), address);
    EXPECT_EQ(destroyed, 1);
}

TEST(Object, SlotZeroWithoutTheDeletingFlag_DestroysAndKeepsTheMemory)
{
    std::atomic<int> destroyed = 0;
    void* const memory = ::operator new(sizeof(CThing));
    IThing* const thing = new (memory) CThing(destroyed);
    using DeletingDestructor = void* (*)(void*, unsigned int);
    const auto destroy = reinterpret_cast<DeletingDestructor>(SlotOf(thing, 0));
    EXPECT_EQ(destroy(thing, 0), memory);
    EXPECT_EQ(destroyed, 1);
    ::operator delete(memory);
}
#endif

// The last of the root interface's operations comes right before the first one of the derived interface, on
// every platform.
TEST(Object, DerivedInterface_AppendsToTheTableOfTheRoot)
{
    std::atomic<int> destroyed = 0;
    IThing* const thing = new CThing(destroyed);
#if defined(_WIN32)
    constexpr size_t kDestructorSlots = 1;
#else
    constexpr size_t kDestructorSlots = 2;
#endif
    using AddRefOperation = uint32_t (*)(void*);
    using NumberOperation = int (*)(void*);
    const auto addRef = reinterpret_cast<AddRefOperation>(SlotOf(thing, kDestructorSlots));
    const auto release = reinterpret_cast<AddRefOperation>(SlotOf(thing, kDestructorSlots + 1));
    const auto number = reinterpret_cast<NumberOperation>(SlotOf(thing, kDestructorSlots + 2));
    EXPECT_EQ(addRef(thing), 2u);
    EXPECT_EQ(number(thing), 42);
    EXPECT_EQ(release(thing), 1u);
    EXPECT_EQ(release(thing), 0u);
    EXPECT_EQ(destroyed, 1);
}
