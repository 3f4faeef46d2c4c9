// Memory for blocks that are read whole.
#include "reader/KrBlockMemory.h"

#include "platform/KrLargePages.h"
#include "tests/base/KrAllocationMeter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

using namespace KrTest;

namespace
{
constexpr size_t kMegabyte = size_t{1} << 20;

TEST(BlockMemory, HoldsTheRequestedSize_SmallAndLarge)
{
    for (const size_t size : {size_t{1}, size_t{4096}, 2 * kMegabyte - 1, 2 * kMegabyte, 9 * kMegabyte + 3})
    {
        CKrBlockMemory block;
        uint8_t* const bytes = block.Provide(size);
        ASSERT_NE(bytes, nullptr);
        std::memset(bytes, 0xA5, size);
        EXPECT_EQ(bytes[0], 0xA5);
        EXPECT_EQ(bytes[size - 1], 0xA5) << size;
    }
}

TEST(BlockMemory, SmallerAndEqualRequests_KeepTheBlock)
{
    CKrBlockMemory block;
    uint8_t* const bytes = block.Provide(3 * kMegabyte);
    EXPECT_EQ(block.Provide(3 * kMegabyte), bytes);
    EXPECT_EQ(block.Provide(1), bytes);
    EXPECT_EQ(block.Provide(0), bytes);
}

TEST(BlockMemory, GrowsFromTheHeapToTheSystemAndOn)
{
    CKrBlockMemory block;
    for (const size_t size : {size_t{100}, kMegabyte, 3 * kMegabyte, 7 * kMegabyte})
        std::memset(block.Provide(size), 1, size);
    EXPECT_EQ(block.Provide(7 * kMegabyte)[7 * kMegabyte - 1], 1);
}

TEST(BlockMemory, LargeBlocksAreFreed)
{
    const CKrAllocationMeter meter;
    {
        CKrBlockMemory block;
        block.Provide(5 * kMegabyte);
        EXPECT_GE(meter.Now(), 5 * kMegabyte);
        block.Provide(9 * kMegabyte);
        EXPECT_LT(meter.Now(), 12 * kMegabyte) << "the previous block was freed";
    }
    EXPECT_LT(meter.Now(), kMegabyte);
    EXPECT_GE(meter.Most(), 9 * kMegabyte);
}

TEST(BlockMemory, MoreThanThereIs_Throws)
{
    CKrBlockMemory block;
    std::memset(block.Provide(kMegabyte), 1, kMegabyte);
    EXPECT_THROW(block.Provide(SIZE_MAX), std::bad_alloc);
    EXPECT_THROW(block.Provide(SIZE_MAX / 2 - 1), std::bad_alloc);
    if (KrLargePageSize() != 0) // elsewhere the heap's own search for so much takes a minute
    {
        EXPECT_THROW(block.Provide(size_t{1} << 46), std::bad_alloc) << "64 TB: addresses, but no memory";
    }
    std::memset(block.Provide(kMegabyte), 2, kMegabyte); // still of use
}
} // namespace
