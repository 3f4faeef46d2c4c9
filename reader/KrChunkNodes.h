// The nodes of a file's chunk tree.
#ifndef KR_READER_KRCHUNKNODES_H
#define KR_READER_KRCHUNKNODES_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstddef>
#include <memory>
#include <vector>

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
    std::vector<std::unique_ptr<SKrChunkTreeNode[]>> m_blocks;
    size_t m_blockSize = 0; // nodes of the last block
    size_t m_used = 0;      // of them
};

#endif
