// The memory of the nodes of the chunk tree.
#include "reader/KrChunkNodes.h"

#include "tests/base/KrAllocationMeter.h"

#include <gtest/gtest.h>

#include <vector>

using namespace KrTest;

namespace
{
// How many nodes lie one after the other in memory, up to the first that does not.
std::vector<size_t> SizesOfBlocks(size_t count)
{
    CKrChunkNodes nodes;
    std::vector<size_t> sizes;
    const SKrChunkTreeNode* last = nullptr;
    for (; count > 0; --count)
    {
        const SKrChunkTreeNode* const node = &nodes.New({});
        if (last == nullptr || node != last + 1)
            sizes.push_back(0);
        ++sizes.back();
        last = node;
    }
    return sizes;
}
} // namespace

TEST(ChunkNodes, StayWhereTheyAre_AlsoInFilesOfVeryManyChunks)
{
    constexpr uint32_t kNodes = 200'000; // from the smallest blocks to several of the largest
    CKrChunkNodes nodes;
    std::vector<const SKrChunkTreeNode*> made;
    for (uint32_t number = 0; number < kNodes; ++number)
        made.push_back(&nodes.New({number, 2 * number, 3, uint64_t{number} << 20}));
    for (uint32_t number = 0; number < kNodes; ++number)
    {
        ASSERT_EQ(made[number]->chunk.ckid, number);
        ASSERT_EQ(made[number]->chunk.cksize, 2 * number);
        ASSERT_EQ(made[number]->chunk.offset, uint64_t{number} << 20);
        ASSERT_EQ(made[number]->next, nullptr);
    }
}

TEST(ChunkNodes, Blocks_DoubleFrom16To2048)
{
    EXPECT_EQ(SizesOfBlocks(16 + 32 + 64 + 128 + 256 + 512 + 1024 + 2048 + 2048 + 1),
              (std::vector<size_t>{16, 32, 64, 128, 256, 512, 1024, 2048, 2048, 1}));
}

TEST(ChunkNodes, FirstOnesAfterClear_TakeASmallBlock)
{
    CKrChunkNodes nodes;
    for (int number = 0; number < 5000; ++number)
        nodes.New({});
    nodes.Clear();
    const CKrAllocationMeter memory;
    nodes.New({});
    EXPECT_LE(memory.Now(), 4096u);
}

TEST(ChunkNodes, AreMadeAnewAfterClear)
{
    CKrChunkNodes nodes;
    for (uint32_t round = 0; round < 3; ++round)
    {
        SKrChunkTreeNode* last = nullptr;
        for (uint32_t number = 0; number < 50'000; ++number)
        {
            SKrChunkTreeNode& node = nodes.New({number, 0, 0, round});
            ASSERT_EQ(node.next, nullptr);
            node.next = last;
            last = &node;
        }
        EXPECT_EQ(last->chunk.offset, round);
        nodes.Clear();
    }
}
