#include "tools/avi/KrChunkWalk.h"

#include "tools/avi/KrAviFile.h"
#include "tools/command/KrProgress.h"

namespace KrTool
{
std::vector<SKrRiffChunkNode*> Segments(const CKrAviFile& file, CKrNodeBudget& budget)
{
    std::vector<SKrRiffChunkNode*> segments;
    IKrRiffReader& reader = file.Reader();
    if (reader.FindFirstRiffSegment() == 0)
        return segments;
    int more = 1;
    while (more != 0)
    {
        SKrRiffChunkInfo chunk{};
        SKrRiffChunkNode* node = nullptr;
        more = reader.FindNextRiffSegment(&chunk.fccType, &chunk.cksize, &chunk.offset,
                                          &node); // 0 with the last one, too
        if (node == nullptr || !budget.Take())
            break;
        segments.push_back(node);
    }
    return segments;
}

std::vector<SKrRiffChunkNode*> SubChunks(const CKrAviFile& file, SKrRiffChunkNode& parent, uint64_t limit,
                                         CKrNodeBudget& budget, CKrProgress& progress)
{
    std::vector<SKrRiffChunkNode*> children;
    IKrRiffReader& reader = file.Reader();
    if (reader.FindFirstSubChunk(&parent) == 0)
        return children;
    int more = 1;
    while (more != 0)
    {
        SKrRiffChunkInfo chunk{};
        SKrRiffChunkNode* child = nullptr;
        // 0 with the last one, too
        more = reader.FindNextSubChunk(&chunk.ckid, &chunk.fccType, &chunk.cksize, &chunk.offset, &child);
        if (child == nullptr || HeaderPosition(child->chunk) >= limit || !budget.Take())
            break;
        children.push_back(child);
        progress.Advance(HeaderPosition(child->chunk));
    }
    return children;
}
} // namespace KrTool
