#include "reader/KrChunkTree.h"

#include "format/KrFourCC.h"
#include "reader/KrBoundsCheck.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"

void CKrChunkTree::Clear()
{
    m_segments.clear();
    m_segmentIndex = -1;
    m_parent = nullptr;
    m_subChunks = nullptr;
    m_subChunk = nullptr;
    m_subChunkIndex = -1;
    m_parents.clear();
    m_nodes.Clear();
    m_known.clear();
}

void CKrChunkTree::UseSegments(const KrSegments& segments)
{
    m_known = segments;
    for (size_t number = 0; number < m_segments.size() && number < m_known.size(); ++number)
    {
        SKrChunkTreeNode& segment = *m_segments[number];
        segment.chunk.cksize = m_known[number].riff.cksize;
        const auto children = m_parents.find(&segment);
        if (children == m_parents.end())
            continue;
        for (SKrChunkTreeNode* child = children->second.first; child != nullptr; child = child->next)
        {
            if (child->chunk.offset == m_known[number].movi.offset)
                child->chunk.cksize = m_known[number].movi.cksize;
        }
    }
}

// After the last one that is known to the tree.
std::optional<SKrRiffChunkInfo> CKrChunkTree::NextSegment(CKrFileCursor& cursor) const
{
    if (m_known.empty())
        return m_segments.empty() ? ReadSegment(cursor, kFccAvi, nullptr)
                                  : ReadSegment(cursor, kFccAvix, &m_segments.back()->chunk);
    return m_segments.size() < m_known.size() ? std::optional(m_known[m_segments.size()].riff) : std::nullopt;
}

std::optional<SKrRiffChunkInfo> CKrChunkTree::NextSubChunk(CKrFileCursor& cursor,
                                                           const SKrRiffChunkInfo* previous,
                                                           const SKrRiffChunkInfo& parent) const
{
    auto chunk = ReadSubChunk(cursor, parent, previous);
    for (const SKrSegment& segment : m_known)
    {
        if (chunk && chunk->offset == segment.movi.offset)
            chunk->cksize = segment.movi.cksize;
    }
    return chunk;
}

bool CKrChunkTree::ReadFirstSegment(CKrFileCursor& cursor)
{
    const auto segment = NextSegment(cursor);
    if (!segment)
        return false;
    m_segments.push_back(&m_nodes.New(*segment));
    return true;
}

SKrChunkTreeNode* CKrChunkTree::CurrentSegment() const
{
    return m_segmentIndex == -1 ? nullptr : m_segments[CheckedIndex(m_segmentIndex, m_segments.size())];
}

bool CKrChunkTree::AdvanceSegment(CKrFileCursor& cursor)
{
    const SKrChunkTreeNode* const current = CurrentSegment();
    if (current == m_segments.back())
    {
        const auto next = NextSegment(cursor);
        if (!next)
            return false;
        m_segments.push_back(&m_nodes.New(*next));
    }
    ++m_segmentIndex;
    return true;
}

bool CKrChunkTree::StartSubChunkWalk(CKrFileCursor& cursor, const SKrRiffChunkNode& parent)
{
    auto known = m_parents.find(&parent);
    if (known == m_parents.end())
    {
        const auto first = NextSubChunk(cursor, nullptr, parent.chunk);
        if (!first)
            return false;
        SKrChunkTreeNode* const node = &m_nodes.New(*first);
        known = m_parents.emplace(&parent, SSubChunks{node, node, 1}).first;
    }
    m_parent = &parent;
    m_subChunks = &known->second;
    m_subChunk = known->second.first;
    m_subChunkIndex = 0;
    return true;
}

bool CKrChunkTree::AdvanceSubChunk(CKrFileCursor& cursor)
{
    if (m_subChunk == m_subChunks->last)
    {
        const auto next = NextSubChunk(cursor, &m_subChunk->chunk, m_parent->chunk);
        if (!next)
            return false;
        m_subChunk->next = m_subChunks->last = &m_nodes.New(*next);
        ++m_subChunks->count;
    }
    m_subChunk = m_subChunk->next;
    ++m_subChunkIndex;
    return true;
}
