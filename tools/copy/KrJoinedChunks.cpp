#include "tools/copy/KrJoinedChunks.h"

#include <algorithm>
#include <utility>

namespace KrTool
{
CKrJoinedChunks::CKrJoinedChunks(std::shared_ptr<const CKrByteSource> file, Chunks chunks)
    : m_file(std::move(file)), m_chunks(std::move(chunks))
{
}

SKrSampleBytes CKrJoinedChunks::Next(uint32_t length)
{
    Chunks ranges;
    uint32_t left = length;
    while (left > 0 && m_chunk < m_chunks.size())
    {
        const SKrChunkIndexEntry& chunk = m_chunks[m_chunk];
        const uint32_t taken = std::min(left, chunk.size - m_inChunk);
        if (taken > 0)
            ranges.push_back({chunk.position + m_inChunk, taken, 0});
        left -= taken;
        m_inChunk += taken;
        if (m_inChunk == chunk.size)
        {
            ++m_chunk;
            m_inChunk = 0;
        }
    }
    return {length, [file = m_file, ranges](uint8_t* buffer)
            {
                for (const SKrChunkIndexEntry& range : ranges)
                {
                    file->Fill(range.position, {buffer, range.size});
                    buffer += range.size;
                }
            }};
}
} // namespace KrTool
