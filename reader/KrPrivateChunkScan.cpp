#include "reader/KrPrivateChunkScan.h"

#include "format/KrChunkHeader.h"
#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"
#include "reader/KrRawRead.h"

#include <algorithm>
#include <iterator>

namespace
{
// Index of an id among the kinds, or their number.
size_t PlaceOf(uint32_t ckid)
{
    const auto* const kind = std::ranges::find(kPrivateChunkKinds, ckid, &SKrPrivateChunkKind::id);
    return static_cast<size_t>(kind - std::begin(kPrivateChunkKinds));
}
} // namespace

const SKrRiffChunkInfo* CKrPrivateChunkScan::Find(uint32_t ckid)
{
    if (!FindCandidates())
        return nullptr;
    for (std::optional<SCandidate>* const candidate : {&m_first, &m_last})
    {
        // A segment without sub-chunks ends the search: the other one is not searched.
        if (!candidate->has_value() || (!(*candidate)->lastRead && !ReadNext(**candidate)))
            return nullptr;
        if (const SKrRiffChunkInfo* const found = FindIn(**candidate, ckid))
            return found;
    }
    return nullptr;
}

// The first segment and the last one. Each call checks whether the last is still the last: a read that failed
// before may succeed now.
bool CKrPrivateChunkScan::FindCandidates()
{
    if (!m_first)
    {
        m_cursor.SeekTo(0);
        if (!m_file.Seek(0))
            return false;
        const auto segment = ReadSegment(m_cursor, kFccAvi, nullptr);
        if (!segment)
            return false;
        m_first = SCandidate{*segment};
    }
    while (const auto next = ReadSegment(m_cursor, kFccAvix, m_last ? &m_last->segment : &m_first->segment))
        m_last = SCandidate{*next};
    return true;
}

// A walk reads one sub-chunk ahead of the one that it reports, and so does this search.
const SKrRiffChunkInfo* CKrPrivateChunkScan::FindIn(SCandidate& candidate, uint32_t ckid)
{
    const std::optional<SKrRiffChunkInfo>& found = candidate.found[PlaceOf(ckid)];
    for (bool more = true; more;)
    {
        const bool isFound = found.has_value();
        if (!isFound || found->offset == candidate.lastRead->offset)
            more = ReadNext(candidate);
        if (isFound)
            return &*found;
    }
    return nullptr;
}

bool CKrPrivateChunkScan::ReadNext(SCandidate& candidate)
{
    const auto next =
        ReadSubChunk(m_cursor, candidate.segment, candidate.lastRead ? &*candidate.lastRead : nullptr);
    if (!next)
        return false;
    candidate.lastRead = next;
    const size_t place = PlaceOf(next->ckid);
    if (place < candidate.found.size() && !candidate.found[place])
        candidate.found[place] = next;
    return true;
}

uint32_t CKrPrivateChunkScan::ReadData(const SKrRiffChunkInfo& chunk, uint8_t* buffer)
{
    return RawRead(m_file, chunk.offset, buffer, chunk.cksize);
}

uint64_t CKrPrivateChunkScan::FileLength()
{
    return m_cursor.Size();
}
