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
}

bool CKrChunkTree::ReadFirstSegment(CKrFileCursor& cursor)
{
    const auto segment = ReadSegment(cursor, kFccAvi, nullptr);
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
        const auto next = ReadSegment(cursor, kFccAvix, &current->chunk);
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
        const auto first = ReadSubChunk(cursor, parent.chunk, nullptr);
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
        const auto next = ReadSubChunk(cursor, m_parent->chunk, &m_subChunk->chunk);
        if (!next)
            return false;
        m_subChunk->next = m_subChunks->last = &m_nodes.New(*next);
        ++m_subChunks->count;
    }
    m_subChunk = m_subChunk->next;
    ++m_subChunkIndex;
    return true;
}
