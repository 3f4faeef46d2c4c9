// Where the nodes of the chunk tree lie.
#include "reader/KrChunkNodes.h"

#include <gtest/gtest.h>

#include <vector>

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
