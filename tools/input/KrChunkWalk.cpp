#include "tools/input/KrChunkWalk.h"

#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"
#include "tools/input/KrAviFile.h"

namespace KrTool
{
bool IsContainer(const SKrRiffChunkInfo& chunk)
{
    return chunk.ckid == FourCc('R', 'I', 'F', 'F') || chunk.ckid == FourCc('L', 'I', 'S', 'T');
}

std::vector<SKrRiffChunkNode*> Segments(const CKrAviFile& file, CKrNodeBudget& budget)
{
    std::vector<SKrRiffChunkNode*> segments;
    IKrRiffReader& reader = file.Reader();
    if (reader.FindFirstRiffSegment() == 0)
        return segments;
    int more = 1;
    while (more != 0)
    {
        uint32_t form = 0;
        uint32_t size = 0;
        uint64_t offset = 0;
        SKrRiffChunkNode* node = nullptr;
        more = reader.FindNextRiffSegment(&form, &size, &offset, &node); // 0 with the last one, too
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
        uint32_t id = 0;
        uint32_t type = 0;
        uint32_t size = 0;
        uint64_t offset = 0;
        SKrRiffChunkNode* child = nullptr;
        more = reader.FindNextSubChunk(&id, &type, &size, &offset, &child); // 0 with the last one, too
        if (child == nullptr || HeaderPosition(child->chunk) >= limit || !budget.Take())
            break;
        children.push_back(child);
        progress.Advance(HeaderPosition(child->chunk));
    }
    return children;
}
} // namespace KrTool
