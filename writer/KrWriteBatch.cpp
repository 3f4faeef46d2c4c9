#include "writer/KrWriteBatch.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"

#include <algorithm>

void CKrWriteBatch::AddHeader(uint32_t chunkId, uint64_t size)
{
    CKrByteWriter out(m_bytes);
    out.U32Le(chunkId);
    out.U32Le(static_cast<uint32_t>(size));
}

void CKrWriteBatch::MakeRoom(size_t bytes)
{
    if (m_bytes.capacity() == 0)
        m_bytes.reserve(kFull + 2 * kSmallPayload); // so that it hardly ever grows
    if (m_bytes.capacity() - m_bytes.size() < bytes)
        m_bytes.reserve(2 * m_bytes.capacity() + bytes);
}

void CKrWriteBatch::Add(EKrStream stream, uint32_t chunkId, KrByteSpan payload, uint64_t padding)
{
    // First, so that nothing is added by halves when there is no memory.
    const bool isSmall = payload.size() <= kSmallPayload;
    MakeRoom(2 * kChunkHeaderSize + (isSmall ? payload.size() : 0) + static_cast<size_t>(padding));
    m_chunks.push_back({stream, static_cast<uint32_t>(payload.size()), padding});
    AddHeader(chunkId, payload.size());
    if (isSmall)
    {
        m_bytes.insert(m_bytes.end(), payload.begin(), payload.end());
    }
    else
    {
        m_large = payload;
        m_beforeLarge = m_bytes.size();
    }
    if (padding > 0)
    {
        AddHeader(kFccJunk, padding - kChunkHeaderSize);
        m_bytes.resize(m_bytes.size() + static_cast<size_t>(padding - kChunkHeaderSize));
    }
    m_size += kChunkHeaderSize + payload.size() + padding;
    m_frames += stream == EKrStream::Video ? 1 : 0;
}

size_t CKrWriteBatch::Count(EKrStream stream) const
{
    return stream == EKrStream::Video ? m_frames : m_chunks.size() - m_frames;
}

std::span<const KrByteSpan> CKrWriteBatch::Parts()
{
    const KrByteSpan bytes(m_bytes);
    m_parts.clear();
    if (m_large.empty())
        m_parts.push_back(bytes);
    else
        m_parts.assign({bytes.first(m_beforeLarge), m_large, bytes.subspan(m_beforeLarge)});
    return m_parts;
}

void CKrWriteBatch::Clear()
{
    m_chunks.clear();
    m_bytes.clear();
    m_large = {};
    m_size = 0;
    m_frames = 0;
}
