#include "reader/KrChunkSearch.h"

#include "format/KrChunkHeader.h"
#include "reader/KrBoundsCheck.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"

#include <algorithm>
#include <new>

namespace
{
// Where the scan continues after a chunk: containers are entered.
uint64_t PositionOfNextHeader(const SKrRiffChunkInfo& chunk)
{
    return IsContainer(chunk.ckid) ? chunk.offset + 4 : PositionAfter(chunk);
}
} // namespace

bool CKrChunkSearch::Start(CKrFileCursor& cursor, const CDWordArray& ids, uint64_t startPosition)
{
    m_ids.assign(ids.GetData(), ids.GetData() + ids.GetSize());
    std::ranges::sort(m_ids);
    if (cursor.Size() < kChunkHeaderSize || startPosition > cursor.Size() - kChunkHeaderSize)
        return false;
    cursor.SeekTo(startPosition);
    if (!Scan(cursor))
        return false;
    m_current = 0;
    return true;
}

SKrRiffChunkInfo& CKrChunkSearch::Current()
{
    return m_found[CheckedIndex(m_current, m_found.size())];
}

bool CKrChunkSearch::Advance(CKrFileCursor& cursor)
{
    const SKrRiffChunkInfo& current = Current();
    if (&current == &m_found.back())
    {
        cursor.SeekTo(PositionOfNextHeader(current));
        if (!Scan(cursor))
            return false;
    }
    ++m_current;
    return true;
}

void CKrChunkSearch::End()
{
    m_found.clear();
    m_current = -1;
    m_ids.clear();
}

// Appends the first match at or after the cursor's position.
bool CKrChunkSearch::Scan(CKrFileCursor& cursor)
{
    for (;;)
    {
        SKrRiffChunkInfo chunk = {};
        if (!FindChunk(cursor, chunk, nullptr, EKrLookupMode::AnyChunk, kNoZeroLimit))
            return false;
        if (Matches(chunk))
            return Keep(chunk);
        cursor.SeekTo(PositionOfNextHeader(chunk));
    }
}

// A match that cannot be stored counts as not found. Earlier matches stay as they are.
bool CKrChunkSearch::Keep(const SKrRiffChunkInfo& chunk)
{
    try
    {
        m_found.push_back(chunk);
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
    return true;
}

// Kept: empty chunks are skipped, except empty 'JUNK'.
bool CKrChunkSearch::Matches(const SKrRiffChunkInfo& chunk) const
{
    return (chunk.cksize != 0 || chunk.ckid == kFccJunk) && std::ranges::binary_search(m_ids, chunk.ckid);
}
