// The file as a tree of chunks, read as walks reach it.
#ifndef KR_READER_KRCHUNKTREE_H
#define KR_READER_KRCHUNKTREE_H

#include "reader/KrBoundsCheck.h"
#include "reader/KrChunkNodes.h"
#include "reader/KrFileLayout.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

class CKrFileCursor;

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

    // For a file that grows, whose segments are known from elsewhere: walks find these, and the sizes that
    // they have there. Nodes that are known already get the sizes too, where they are.
    void UseSegments(const KrSegments& segments);

    // The current segment, or null when no walk is under way.
    SKrChunkTreeNode* CurrentSegment() const;

    // Moves to the next segment; false, without moving, when the current one is the last.
    [[nodiscard]] bool AdvanceSegment(CKrFileCursor& cursor);

    // Starts the walk over a node's sub-chunks; false, with the previous walk unchanged, when it has none.
    [[nodiscard]] bool StartSubChunkWalk(CKrFileCursor& cursor, const SKrRiffChunkNode& parent);
    SKrChunkTreeNode* CurrentSubChunk() const
    {
        if (m_subChunkIndex == -1)
            return nullptr;
        // Kept: the index is checked as if the sub-chunks were an array.
        static_cast<void>(CheckedIndex(m_subChunkIndex, m_subChunks->count));
        return m_subChunk;
    }
    [[nodiscard]] bool AdvanceSubChunk(CKrFileCursor& cursor);

private:
    // The sub-chunks of one node that were read so far, in file order.
    struct SSubChunks
    {
        SKrChunkTreeNode* first = nullptr;
        SKrChunkTreeNode* last = nullptr;
        size_t count = 0;
    };

    [[nodiscard]] std::optional<SKrRiffChunkInfo> NextSegment(CKrFileCursor& cursor) const;
    [[nodiscard]] std::optional<SKrRiffChunkInfo> NextSubChunk(CKrFileCursor& cursor,
                                                               const SKrRiffChunkInfo* previous,
                                                               const SKrRiffChunkInfo& parent) const;

    CKrChunkNodes m_nodes; // all of them
    KrSegments m_known;    // of a file that grows, else empty
    std::vector<SKrChunkTreeNode*> m_segments;
    int32_t m_segmentIndex = -1;
    std::unordered_map<const SKrRiffChunkNode*, SSubChunks> m_parents; // the nodes that have sub-chunks
    const SKrRiffChunkNode* m_parent = nullptr;
    SSubChunks* m_subChunks = nullptr; // of the parent
    SKrChunkTreeNode* m_subChunk = nullptr;
    int32_t m_subChunkIndex = -1; // its place among them; -1: no walk
};

#endif
