// What lies between two chunks that an index names: lists, fillers, index chunks, and chunks that it leaves
// out.
#ifndef KR_TOOLS_COPIER_KRCHUNKGAP_H
#define KR_TOOLS_COPIER_KRCHUNKGAP_H

#include "tools/copier/KrCarriedChunk.h"

#include <cstddef>
#include <cstdint>

struct SKrChunkHeader;

namespace KrTool
{
class CKrByteSource;
class CKrFileWindow;

struct SKrGapContent
{
    CarriedChunks chunks;       // of streams
    uint64_t unknownChunks = 0; // of neither a stream nor a kind that AVI files have
    uint64_t lostBytes = 0;     // from the first place on that cannot be read as a chunk
    uint64_t lostFrom = 0;
};

class CKrChunkGap
{
public:
    CKrChunkGap(const CKrByteSource& file, CKrFileWindow& window, size_t streamCount)
        : m_file(file), m_window(window), m_streamCount(streamCount)
    {
    }

    // Reads from `from`, where a chunk's data end, padded or not, to the header of the next one.
    [[nodiscard]] SKrGapContent Walk(uint64_t from, uint64_t to);

private:
    [[nodiscard]] bool IsChunkAt(uint64_t position, uint64_t to);
    [[nodiscard]] uint64_t NextAt(uint64_t end, uint64_t to);
    [[nodiscard]] uint64_t PassZeros(uint64_t position, uint64_t to);
    void Take(const SKrChunkHeader& chunk, uint64_t position, SKrGapContent& content) const;

    const CKrByteSource& m_file;
    CKrFileWindow& m_window;
    const size_t m_streamCount;
};
} // namespace KrTool

#endif
