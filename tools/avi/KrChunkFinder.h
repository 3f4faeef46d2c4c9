// Finds chunks in a file, the evidence for them, and where the next one starts.
#ifndef KR_TOOLS_AVI_KRCHUNKFINDER_H
#define KR_TOOLS_AVI_KRCHUNKFINDER_H

#include "tools/avi/KrChunkGuess.h"
#include "tools/avi/KrFileWindow.h"

#include <array>
#include <cstdint>
#include <optional>

namespace KrTool
{
class CKrByteSource;
class CKrProgress;

// Where the chunk after another one is expected. Some programs do not pad odd chunks, and some start
// chunks at odd positions.
enum class EKrPadding
{
    ByPosition, // the even position, else where the data end
    BySize,     // where the data end, or after the padding byte of an odd size
    Either      // at the end by size, else one byte from there
};

// What proves that there is a list.
enum class EKrListProof
{
    Size,      // it ends inside the list around it
    Type,      // its id and its type
    FirstChunk // what follows its type
};

// What a search takes for a chunk. Any four letters can be an id, but the entries of indexes resemble chunks
// too, and dark pictures are full of zeros.
struct SKrSearchRules
{
    GuessSet chunks = 0;    // that are found where one of the followers proves their size
    GuessSet lists = 0;     // that are found
    GuessSet followers = 0; // what can follow a chunk
    EKrPadding padding = EKrPadding::Either;
    EKrListProof listProof = EKrListProof::Type;
    bool zeroByteFollows = false;   // as can a zero byte
    bool acceptsAfterZeros = false; // a run of zeros may precede the follower
    bool doubtsEmptyChunks = false; // a size of 0 is taken for a damaged one
    bool doubtsIndexEntries = false;
    uint64_t closely = 0; // bytes in which all `chunks` are found; after them data chunks, indexes and lists
};

class CKrChunkFinder
{
public:
    CKrChunkFinder(const CKrByteSource& file, const SKrSearchRules& rules, CKrProgress& progress);

    // The guess at a position in a list that ends at `end`, or in the file.
    SKrChunkGuess At(uint64_t position, uint64_t end);
    SKrChunkGuess At(uint64_t position) { return At(position, m_length); }
    bool IsAt(uint64_t position, GuessSet set) { return At(position).IsIn(set); }

    // Where the next chunk starts after data that end at `dataEnd`; nothing without a follower there.
    std::optional<uint64_t> FindFollower(uint64_t dataEnd, uint32_t size, uint64_t end, GuessSet followers);

    // The next position after `from` and before `end` with a confirmed chunk, or `end`. Linear in the bytes
    // searched.
    uint64_t FindNext(uint64_t from, uint64_t end);

    // Zero bytes from a place on.
    uint64_t CountZeros(uint64_t from, uint64_t end);

    // Whether a chunk 'idx1' holds entries, judged by the first and the last one.
    bool IsOldIndex(const SKrChunkGuess& chunk, uint64_t position);

private:
    bool IsConfirmed(uint64_t position, uint64_t end);
    bool IsListProven(const SKrChunkGuess& list, uint64_t position, uint64_t end);
    bool IsChunkProven(const SKrChunkGuess& chunk, uint64_t position, uint64_t end);
    bool IsIndexEntry(const SKrChunkGuess& chunk, uint64_t position);
    [[nodiscard]] std::array<uint64_t, 2> NextPlaces(uint64_t dataEnd, uint32_t size) const;
    uint64_t FindId(uint64_t position, uint64_t end);

    const uint64_t m_length;
    const SKrSearchRules& m_rules;
    CKrProgress& m_progress;
    CKrFileWindow m_headers;
    CKrFileWindow m_searched;    // separate, so that header reads do not evict the bytes of a search
    uint64_t m_searchedFrom = 1; // a search by ids in this range would repeat the last result
    uint64_t m_found = 0;
};
} // namespace KrTool

#endif
