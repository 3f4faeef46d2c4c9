// A search for chunks by id through the whole file.
#ifndef KR_READER_KRCHUNKSEARCH_H
#define KR_READER_KRCHUNKSEARCH_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"

#include <cstdint>
#include <deque>
#include <vector>

class CKrFileCursor;

// One search at a time: matches come in file order, a container before what it holds. Guarded by the
// reader's lock.
class CKrChunkSearch
{
public:
    // Starts a search for the given ids at a file position; false when there is no match.
    [[nodiscard]] bool Start(CKrFileCursor& cursor, const CDWordArray& ids, uint64_t startPosition);

    // The match to report next. Throws std::out_of_range when no search is under way.
    SKrRiffChunkInfo& Current();

    // Moves to the next match, which is searched for if the current one is the last found so far; false,
    // without moving, when there is none.
    [[nodiscard]] bool Advance(CKrFileCursor& cursor);

    // Ends the search and frees its records.
    void End();

private:
    [[nodiscard]] bool Scan(CKrFileCursor& cursor);
    bool Matches(const SKrRiffChunkInfo& chunk) const;
    [[nodiscard]] bool Keep(const SKrRiffChunkInfo& chunk);

    std::vector<uint32_t> m_ids;          // sorted
    std::deque<SKrRiffChunkInfo> m_found; // hosts hold pointers to these
    int32_t m_current = -1;
};

#endif
