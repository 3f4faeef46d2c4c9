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
    m_subChunkIndex = -1;
    m_nodes.clear();
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

bool CKrChunkTree::StartSubChunkWalk(CKrFileCursor& cursor, SKrChunkTreeNode& parent)
{
    if (parent.children.empty())
    {
        cursor.SeekTo(parent.chunk.offset + kTypeSize);
        SKrChunkTreeNode* const first = ReadSubChunk(cursor, parent, nullptr);
        if (first == nullptr)
            return false;
        parent.children.push_back(first);
    }
    m_parent = &parent;
    m_subChunkIndex = 0;
    return true;
}

SKrChunkTreeNode* CKrChunkTree::CurrentSubChunk() const
{
    if (m_parent == nullptr || m_subChunkIndex == -1)
        return nullptr;
    return m_parent->children[CheckedSubscript(m_subChunkIndex, m_parent->children.size())];
}

bool CKrChunkTree::AdvanceSubChunk(CKrFileCursor& cursor)
{
    const SKrChunkTreeNode* const current = CurrentSubChunk();
    if (current == m_parent->children.back())
    {
        SKrChunkTreeNode* const next = ReadSubChunk(cursor, *m_parent, current);
        if (next == nullptr)
            return false;
        m_parent->children.push_back(next);
    }
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
    return status == EKrLookupStatus::Found ? NewNode(chunk) : nullptr;
}

SKrChunkTreeNode* CKrChunkTree::ReadSubChunk(CKrFileCursor& cursor, const SKrChunkTreeNode& parent,
                                             const SKrChunkTreeNode* previous)
{
    if (previous != nullptr)
        SeekBehind(cursor, previous->chunk);
    SKrRiffChunkInfo chunk = {};
    const EKrLookupStatus status =
        FindChunk(cursor, chunk, &parent.chunk, EKrLookupMode::AnyChunk, kWalkZeroLimit);
    return status == EKrLookupStatus::Found ? NewNode(chunk) : nullptr;
}

SKrChunkTreeNode* CKrChunkTree::NewNode(const SKrRiffChunkInfo& chunk)
{
    SKrChunkTreeNode& node = m_nodes.emplace_back();
    node.chunk = chunk;
    return &node;
}
