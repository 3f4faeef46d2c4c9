#include "reader/KrChunkNodes.h"

#include <algorithm>

namespace
{
constexpr size_t kFirstBlock = 16; // nodes: enough for the headers of most files
constexpr size_t kLargestBlock = 2048;
} // namespace

SKrChunkTreeNode& CKrChunkNodes::New(const SKrRiffChunkInfo& chunk)
{
    if (m_used == m_blockSize)
    {
        const size_t size = m_blocks.empty() ? kFirstBlock : std::min(2 * m_blockSize, kLargestBlock);
        m_blocks.push_back(std::make_unique_for_overwrite<SKrChunkTreeNode[]>(size));
        m_blockSize = size;
        m_used = 0;
    }
    SKrChunkTreeNode& node = m_blocks.back()[m_used++];
    node.chunk = chunk;
    node.next = nullptr;
    return node;
}

void CKrChunkNodes::Clear()
{
    m_blocks.clear();
    m_blockSize = m_used = 0;
}
