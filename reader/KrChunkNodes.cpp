#include "reader/KrChunkNodes.h"

#include <algorithm>
#include <memory>
#include <type_traits>

namespace
{
constexpr size_t kFirstBlock = 16;      // nodes: enough for the headers of most files
constexpr size_t kSmallBlocks = 2048;   // blocks grow up to this,
constexpr size_t kLargeBlocks = 65'536; // and then have the size of large pages
constexpr size_t kManyNodes = 32'768;   // from this many nodes on

static_assert(sizeof(SKrChunkTreeNode) * kLargeBlocks == size_t{2} << 20);
static_assert(std::is_trivially_destructible_v<SKrChunkTreeNode>, "Clear gives back their memory alone");
} // namespace

SKrChunkTreeNode& CKrChunkNodes::New(const SKrRiffChunkInfo& chunk)
{
    if (m_used == m_blockSize)
        AddBlock();
    ++m_count;
    return *std::construct_at(m_block + m_used++, SKrChunkTreeNode{{chunk}, nullptr});
}

void CKrChunkNodes::AddBlock()
{
    const size_t size =
        m_count < kManyNodes ? std::clamp(2 * m_blockSize, kFirstBlock, kSmallBlocks) : kLargeBlocks;
    m_blocks.emplace_back(); // when out of memory, it stays empty and harmless
    m_block = reinterpret_cast<SKrChunkTreeNode*>(m_blocks.back().Provide(size * sizeof(SKrChunkTreeNode)));
    m_blockSize = size;
    m_used = 0;
}

void CKrChunkNodes::Clear()
{
    m_blocks.clear();
    m_block = nullptr;
    m_blockSize = m_used = m_count = 0;
}
