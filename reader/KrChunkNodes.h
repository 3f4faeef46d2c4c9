// The nodes of a file's chunk tree.
#ifndef KR_READER_KRCHUNKNODES_H
#define KR_READER_KRCHUNKNODES_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrBlockMemory.h"

#include <cstddef>
#include <deque>

// A node as the library keeps it: hosts see the part that it derives from.
struct SKrChunkTreeNode : SKrRiffChunkNode
{
    SKrChunkTreeNode* next; // the one behind it in the same parent; null when that was not read yet
};

// Makes nodes, which stay where they are until Clear: files of a million chunks have a million of them.
class CKrChunkNodes
{
public:
    SKrChunkTreeNode& New(const SKrRiffChunkInfo& chunk);
    void Clear();

private:
    void AddBlock();

    std::deque<CKrBlockMemory> m_blocks;
    SKrChunkTreeNode* m_block = nullptr; // the last one
    size_t m_blockSize = 0;              // nodes that it has room for
    size_t m_used = 0;                   // nodes in it
    size_t m_count = 0;                  // nodes in all blocks
};

#endif
