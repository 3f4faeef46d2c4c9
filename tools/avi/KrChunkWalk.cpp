#include "tools/avi/KrChunkWalk.h"

#include "tools/avi/KrAviFile.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrText.h"

#include <array>
#include <optional>

namespace KrTool
{
namespace
{
// The chunk with its header at a position or, if that is odd and no filler starts there, one byte later;
// nothing if neither can be a chunk.
std::optional<SKrRiffChunkInfo> ChunkAt(const CKrAviFile& file, uint64_t position, uint64_t limit)
{
    std::array<uint8_t, kListHeaderSize + 1> bytes{};
    const size_t came = file.ReadAt(position, bytes.data(), bytes.size());
    const size_t skipped = position % 2 != 0 && GetLe32(bytes.data()) != kFccJunk ? 1 : 0;
    const uint64_t start = position + skipped;
    const SKrChunkHeader header = DecodeChunkHeader(std::span(bytes).subspan(skipped, kListHeaderSize));
    if (came < skipped + kChunkHeaderSize || start >= limit || !IsPrintableFourCc(header.id))
        return std::nullopt;
    SKrRiffChunkInfo chunk{};
    chunk.ckid = header.id;
    chunk.cksize = header.size;
    chunk.offset = start + kChunkHeaderSize;
    chunk.fccType = IsContainer(header.id) ? header.firstData : 0;
    return chunk;
}

bool HasFillerAfter(const CKrAviFile& file, const SKrRiffChunkInfo& chunk, uint64_t limit)
{
    if (EndPosition(chunk) % 2 == 0)
        return false;
    const std::optional<SKrRiffChunkInfo> next = ChunkAt(file, EndPosition(chunk), limit);
    return next && HeaderPosition(*next) == EndPosition(chunk);
}

// The chunks from a position on, in order.
void AddFrom(const CKrAviFile& file, uint64_t position, uint64_t limit, CKrNodeBudget& budget,
             CKrProgress& progress, OwnNodes& nodes)
{
    while (position < limit)
    {
        const std::optional<SKrRiffChunkInfo> chunk = ChunkAt(file, position, limit);
        if (!chunk || !budget.Take())
            return;
        nodes.push_back({*chunk});
        position = EndPosition(*chunk);
        progress.Advance(position);
    }
}
} // namespace

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
                                         CKrNodeBudget& budget, CKrProgress& progress, OwnNodes* others)
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
        if (others != nullptr && HasFillerAfter(file, child->chunk, limit))
        {
            AddFrom(file, EndPosition(child->chunk), limit, budget, progress, *others);
            for (SKrRiffChunkNode& node : *others)
                children.push_back(&node);
            break;
        }
    }
    return children;
}
} // namespace KrTool
