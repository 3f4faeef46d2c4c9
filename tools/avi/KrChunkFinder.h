// Whether a chunk stands at a place of a file, what proves that it does, and where the next one stands.
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

// Where the chunk behind another one is looked for. Some programs do not pad odd chunks, and some start
// chunks at odd positions.
enum class EKrPadding
{
    ByPosition, // the even position, else where the data end
    BySize,     // where the data end, or behind the padding byte of an odd size
    Either      // where the size says, else one byte from there
};

// What proves that there is a list.
enum class EKrListProof
{
    Size,      // it ends inside the list around it
    Type,      // its id and its type
    FirstChunk // what follows its type
};

// What a search takes for a chunk. Any four letters can be an id, but the entries of indexes look like chunks
// too, and dark pictures are full of zeros.
struct SKrSearchRules
{
    GuessSet chunks = 0;    // that are found where one of the followers proves their size
    GuessSet lists = 0;     // that are found
    GuessSet followers = 0; // what can follow a chunk
    EKrPadding padding = EKrPadding::Either;
    EKrListProof listProof = EKrListProof::Type;
    bool zeroByteFollows = false;   // a zero byte, too
    bool stopsBehindZeros = false;  // at a place of `followers` that ends a run of zeros
    bool doubtsEmptyChunks = false; // a size of 0 is taken for a damaged one
    bool doubtsIndexEntries = false;
    uint64_t closely = 0; // bytes in which all `chunks` are found; behind them data chunks, indexes and lists
};

class CKrChunkFinder
{
public:
    CKrChunkFinder(const CKrByteSource& file, const SKrSearchRules& rules, CKrProgress& progress);

    // Looks at a place in a list that ends at `end`, or in the file.
    SKrChunkGuess At(uint64_t position, uint64_t end);
    SKrChunkGuess At(uint64_t position) { return At(position, m_length); }
    bool IsAt(uint64_t position, GuessSet set) { return At(position).IsIn(set); }

    // Where the next chunk starts, behind one whose data end at `behind`; nothing where none of the followers
    // stands.
    std::optional<uint64_t> FindFollower(uint64_t behind, uint32_t size, uint64_t end, GuessSet followers);

    // The next place behind `from` and before `end` where a chunk stands for certain, or `end`. In time that
    // grows with the bytes passed over.
    uint64_t FindNext(uint64_t from, uint64_t end);

    // Zero bytes from a place on.
    uint64_t CountZeros(uint64_t from, uint64_t end);

    // Whether the bytes of a chunk 'idx1' are entries, by what the first and the last one look like.
    bool IsOldIndex(const SKrChunkGuess& chunk, uint64_t position);

private:
    bool IsConfirmed(uint64_t position, uint64_t end);
    bool IsListProven(const SKrChunkGuess& list, uint64_t position, uint64_t end);
    bool IsChunkProven(const SKrChunkGuess& chunk, uint64_t position, uint64_t end);
    bool IsIndexEntry(const SKrChunkGuess& chunk, uint64_t position);
    [[nodiscard]] std::array<uint64_t, 2> NextPlaces(uint64_t behind, uint32_t size) const;
    uint64_t FindId(uint64_t position, uint64_t end);

    const uint64_t m_length;
    const SKrSearchRules& m_rules;
    CKrProgress& m_progress;
    CKrFileWindow m_headers;
    CKrFileWindow m_searched;    // of its own, so that looks at headers do not drive a search's bytes out
    uint64_t m_searchedFrom = 1; // a search by ids from here to there would find what the last one found
    uint64_t m_found = 0;
};
} // namespace KrTool

#endif
