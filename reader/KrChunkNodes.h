// The nodes of a file's chunk tree.
#ifndef KR_READER_KRCHUNKNODES_H
#define KR_READER_KRCHUNKNODES_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrBlockMemory.h"

#include <cstddef>
#include <deque>

// A node as the library keeps it; hosts see its base.
struct SKrChunkTreeNode : SKrRiffChunkNode
{
    SKrChunkTreeNode* next; // the next sub-chunk of the same parent; null until it is read
};

// Creates nodes, whose addresses stay valid until Clear: a file of a million chunks has a million of them.
class CKrChunkNodes
{
public:
    SKrChunkTreeNode& New(const SKrRiffChunkInfo& chunk);
    void Clear();

private:
    void AddBlock();

    std::deque<CKrBlockMemory> m_blocks;
    SKrChunkTreeNode* m_block = nullptr; // the last one
    size_t m_blockSize = 0;              // its capacity in nodes
    size_t m_used = 0;                   // nodes in it
    size_t m_count = 0;                  // nodes in all blocks
};

#endif
