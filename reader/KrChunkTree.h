// The file as a tree of chunks, read as walks reach it.
#ifndef KR_READER_KRCHUNKTREE_H
#define KR_READER_KRCHUNKTREE_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstdint>
#include <deque>
#include <vector>

class CKrFileCursor;

// A node as the library keeps it: hosts see the part that it derives from.
struct SKrChunkTreeNode : SKrRiffChunkNode
{
    std::vector<SKrChunkTreeNode*> children; // those read so far, in file order
};

// The nodes of one open file and the two walks over them: one over the top-level segments, one over the
// sub-chunks of one node. A node is read once and kept until Clear. Guarded by the reader's lock.
class CKrChunkTree
{
public:
    // Forgets all nodes and ends both walks.
    void Clear();

    bool HasSegments() const { return !m_segments.empty(); }
    [[nodiscard]] bool ReadFirstSegment(CKrFileCursor& cursor);
    void StartSegmentWalk() { m_segmentIndex = 0; }

    // The current segment, or null when no walk is under way.
    SKrChunkTreeNode* CurrentSegment() const;

    // Moves on to the segment behind the current one; false, without moving, when that is the last.
    [[nodiscard]] bool AdvanceSegment(CKrFileCursor& cursor);

    // Starts the walk over a node's sub-chunks; false, with the walk before it unchanged, when it has none.
    [[nodiscard]] bool StartSubChunkWalk(CKrFileCursor& cursor, SKrChunkTreeNode& parent);
    SKrChunkTreeNode* CurrentSubChunk() const;
    [[nodiscard]] bool AdvanceSubChunk(CKrFileCursor& cursor);

private:
    SKrChunkTreeNode* ReadSegment(CKrFileCursor& cursor, uint32_t formType, const SKrChunkTreeNode* previous);
    SKrChunkTreeNode* ReadSubChunk(CKrFileCursor& cursor, const SKrChunkTreeNode& parent,
                                   const SKrChunkTreeNode* previous);
    SKrChunkTreeNode* NewNode(const SKrRiffChunkInfo& chunk);

    std::deque<SKrChunkTreeNode> m_nodes; // all of them; a deque keeps them where they are
    std::vector<SKrChunkTreeNode*> m_segments;
    int32_t m_segmentIndex = -1;
    SKrChunkTreeNode* m_parent = nullptr;
    int32_t m_subChunkIndex = -1;
};

#endif
