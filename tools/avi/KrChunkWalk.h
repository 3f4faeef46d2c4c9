// The chunk tree of a file, walked so that hostile files cost no more than their length: no recursion, no
// byte counted to two chunks of one level, a limit on nodes.
#ifndef KR_TOOLS_AVI_KRCHUNKWALK_H
#define KR_TOOLS_AVI_KRCHUNKWALK_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrChunkHeader.h"

#include <cstdint>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;

inline uint64_t HeaderPosition(const SKrRiffChunkInfo& chunk)
{
    return chunk.offset - kChunkHeaderSize;
}

// Position after a chunk's payload, without the padding byte of odd sizes.
inline uint64_t EndPosition(const SKrRiffChunkInfo& chunk)
{
    return chunk.offset + chunk.cksize;
}

// How many more nodes may be read from one file. The reader keeps each node until the file is closed.
class CKrNodeBudget
{
public:
    explicit CKrNodeBudget(uint64_t nodes) : m_most(nodes) {}

    // False when the budget is used up.
    [[nodiscard]] bool Take() { return m_taken++ < m_most; }

    bool Exceeded() const { return m_taken > m_most; }

private:
    const uint64_t m_most;
    uint64_t m_taken = 0;
};

// The top-level segments, in file order.
std::vector<SKrRiffChunkNode*> Segments(const CKrAviFile& file, CKrNodeBudget& budget);

// The sub-chunks of a container that start before `limit`, in file order; none for other chunks. The reader
// bounds them by what the container claims; `limit` is where the containers around it end, so that no chunk
// is visited twice.
std::vector<SKrRiffChunkNode*> SubChunks(const CKrAviFile& file, SKrRiffChunkNode& parent, uint64_t limit,
                                         CKrNodeBudget& budget, CKrProgress& progress);
} // namespace KrTool

#endif
