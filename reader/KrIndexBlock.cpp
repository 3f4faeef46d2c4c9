#include "reader/KrIndexBlock.h"

#include "platform/KrPlatform.h"

#include <algorithm>

void CKrIndexBlock::Start(uint64_t position, uint64_t count, size_t entrySize)
{
    m_entrySize = entrySize;
    m_position = position;
    m_size = std::min(count * entrySize, m_fileSize - std::min(m_fileSize, position));
    Restart();
}

void CKrIndexBlock::Restart()
{
    m_done = 0;
    m_begun = false;
}

void CKrIndexBlock::MakeSlicesSmaller(size_t sliceSize)
{
    m_sliceSize = std::min(m_sliceSize, sliceSize);
}

std::optional<std::span<const uint8_t>> CKrIndexBlock::Next()
{
    const uint64_t left = m_size - m_done;
    if (m_begun && left == 0)
        return std::span<const uint8_t>();
    const size_t size =
        left <= m_sliceSize ? static_cast<size_t>(left) : m_sliceSize - m_sliceSize % m_entrySize;
    uint8_t* const bytes = m_memory.Provide(size);
    const SKrTransfer read = m_file.ReadAt(m_position + m_done, bytes, size);
    if (read.Failed())
        return std::nullopt;
    m_begun = true;
    m_done = read.bytes < size ? m_size : m_done + size; // a file that has become shorter ends the block
    return std::span<const uint8_t>(bytes, read.bytes - read.bytes % m_entrySize);
}
