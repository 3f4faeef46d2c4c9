#include "riffutils/KrPrivateChunkQuery.h"

namespace
{
// The two segments that are searched: the first and the last.
struct SCandidates
{
    SKrRiffChunkNode* first = nullptr;
    SKrRiffChunkNode* last = nullptr; // null when the file has one segment
};

SCandidates FindCandidates(IKrRiffReader& reader)
{
    SCandidates candidates;
    if (reader.FindFirstRiffSegment() == 0)
        return candidates;
    SKrRiffChunkNode** place = &candidates.first;
    for (bool more = true; more; place = &candidates.last)
    {
        uint32_t formType = 0;
        uint32_t size = 0;
        uint64_t dataOffset = 0;
        SKrRiffChunkNode* node = nullptr;
        more = reader.FindNextRiffSegment(&formType, &size, &dataOffset, &node) != 0;
        *place = node;
    }
    return candidates;
}

// The first direct sub-chunk with the given id, or null. The caller has started the walk.
const SKrRiffChunkNode* FindChild(IKrRiffReader& reader, uint32_t wanted)
{
    for (bool more = true; more;)
    {
        uint32_t ckid = 0;
        uint32_t type = 0;
        uint32_t size = 0;
        uint64_t dataOffset = 0;
        SKrRiffChunkNode* node = nullptr;
        more = reader.FindNextSubChunk(&ckid, &type, &size, &dataOffset, &node) != 0;
        if (ckid == wanted && node != nullptr)
            return node;
    }
    return nullptr;
}
} // namespace

const SKrRiffChunkInfo* CKrPrivateChunkQuery::Find(uint32_t ckid)
{
    const SCandidates candidates = FindCandidates(m_reader);
    for (SKrRiffChunkNode* const segment : {candidates.first, candidates.last})
    {
        if (segment == nullptr || m_reader.FindFirstSubChunk(segment) == 0)
            return nullptr;
        if (const SKrRiffChunkNode* const found = FindChild(m_reader, ckid))
            return &found->chunk;
    }
    return nullptr;
}

uint32_t CKrPrivateChunkQuery::ReadData(const SKrRiffChunkInfo& chunk, uint8_t* buffer)
{
    return m_reader.ReadChunkData(&chunk, buffer, chunk.cksize);
}

uint64_t CKrPrivateChunkQuery::FileLength()
{
    return m_reader.GetFileLength();
}
