#include "reader/KrChunkNodes.h"

#include <algorithm>
#include <memory>

namespace
{
constexpr size_t kFirstBlock = 16;      // nodes: enough for the headers of most files
constexpr size_t kSmallBlocks = 2048;   // blocks grow up to this,
constexpr size_t kLargeBlocks = 65'536; // and are as large as the system's large pages
constexpr size_t kManyBlocks = 24;      // once there are so many
} // namespace

SKrChunkTreeNode& CKrChunkNodes::New(const SKrRiffChunkInfo& chunk)
{
    if (m_used == m_blockSize)
    {
        const size_t small = m_blocks.empty() ? kFirstBlock : std::min(2 * m_blockSize, kSmallBlocks);
        const size_t size = m_blocks.size() < kManyBlocks ? small : kLargeBlocks;
        m_block = AddBlock(size);
        m_blockSize = size;
        m_used = 0;
    }
    return *std::construct_at(m_block + m_used++, SKrChunkTreeNode{{chunk}, nullptr});
}

SKrChunkTreeNode* CKrChunkNodes::AddBlock(size_t nodes)
{
    m_blocks.emplace_back();
    try
    {
        return reinterpret_cast<SKrChunkTreeNode*>(m_blocks.back().Provide(nodes * sizeof(SKrChunkTreeNode)));
    }
    catch (...)
    {
        m_blocks.pop_back();
        throw;
    }
}

void CKrChunkNodes::Clear()
{
    m_blocks.clear();
    m_block = nullptr;
    m_blockSize = m_used = 0;
}
