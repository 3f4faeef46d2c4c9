#include "reader/KrChunkTree.h"

#include "format/KrFourCC.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"
#include "reader/KrSubscript.h"

namespace
{
// The type of a container stands before its first sub-chunk.
constexpr uint64_t kTypeSize = 4;
} // namespace

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
    SKrChunkTreeNode* const segment = ReadSegment(cursor, kFccAvi, nullptr);
    if (segment == nullptr)
        return false;
    m_segments.push_back(segment);
    return true;
}

SKrChunkTreeNode* CKrChunkTree::CurrentSegment() const
{
    return m_segmentIndex == -1 ? nullptr : m_segments[CheckedSubscript(m_segmentIndex, m_segments.size())];
}

bool CKrChunkTree::AdvanceSegment(CKrFileCursor& cursor)
{
    const SKrChunkTreeNode* const current = CurrentSegment();
    if (current == m_segments.back())
    {
        SKrChunkTreeNode* const next = ReadSegment(cursor, kFccAvix, current);
        if (next == nullptr)
            return false;
        m_segments.push_back(next);
    }
    ++m_segmentIndex;
    return true;
}

bool CKrChunkTree::StartSubChunkWalk(CKrFileCursor& cursor, const SKrRiffChunkNode& parent)
{
    auto known = m_parents.find(&parent);
    if (known == m_parents.end())
    {
        cursor.SeekTo(parent.chunk.offset + kTypeSize);
        SKrChunkTreeNode* const first = ReadSubChunk(cursor, parent, nullptr);
        if (first == nullptr)
            return false;
        known = m_parents.emplace(&parent, SSubChunks{first, first, 1}).first;
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
        SKrChunkTreeNode* const next = ReadSubChunk(cursor, *m_parent, m_subChunk);
        if (next == nullptr)
            return false;
        m_subChunk->next = m_subChunks->last = next;
        ++m_subChunks->count;
    }
    m_subChunk = m_subChunk->next;
    ++m_subChunkIndex;
    return true;
}

SKrChunkTreeNode* CKrChunkTree::ReadSegment(CKrFileCursor& cursor, uint32_t formType,
                                            const SKrChunkTreeNode* previous)
{
    if (previous != nullptr)
        SeekBehind(cursor, previous->chunk);
    SKrRiffChunkInfo chunk = {};
    chunk.fccType = formType;
    const EKrLookupStatus status = FindChunk(cursor, chunk, nullptr, EKrLookupMode::RiffOnly, kWalkZeroLimit);
    return status == EKrLookupStatus::Found ? &m_nodes.New(chunk) : nullptr;
}

SKrChunkTreeNode* CKrChunkTree::ReadSubChunk(CKrFileCursor& cursor, const SKrRiffChunkNode& parent,
                                             const SKrChunkTreeNode* previous)
{
    if (previous != nullptr)
        SeekBehind(cursor, previous->chunk);
    SKrRiffChunkInfo chunk = {};
    const EKrLookupStatus status =
        FindChunk(cursor, chunk, &parent.chunk, EKrLookupMode::AnyChunk, kWalkZeroLimit);
    return status == EKrLookupStatus::Found ? &m_nodes.New(chunk) : nullptr;
}
