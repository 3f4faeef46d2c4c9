// The primitive that every search of the reader for a chunk uses.
#ifndef KR_READER_KRCHUNKLOOKUP_H
#define KR_READER_KRCHUNKLOOKUP_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrLimits.h"

#include <cstdint>
#include <optional>

class CKrFileCursor;

enum class EKrLookupMode
{
    AnyChunk = 16,
    RiffOnly = 32,
    ListOnly = 64
};

// For lookups that do not give up at a number of consecutive empty headers (id or size 0), as they do with
// kWalkZeroLimit.
inline constexpr int kNoZeroLimit = 0;

// Looks for a chunk from the cursor's position on. `record` holds the wanted id and type (0: any) on entry
// and the chunk on return; it is untouched when none is found. With `parent`, headers count only while they
// start inside that chunk. Afterwards the cursor is after the 12 header bytes of a container, which is at its
// first sub-chunk, or at the data of any other chunk.
//
// Chunks that do not match are skipped to the next even position. Zero bytes between chunks are stepped
// over one at a time, so that a chunk after any number of them is found.
//
// Kept: only AnyChunk resynchronises at the first non-zero byte. The two other modes read a header that
// starts with up to three of the zeros and skip it by a size made of its shifted bytes, so that zeros before
// a wanted list or segment lose it. An unwanted chunk of size 0 is stepped over by one byte.
[[nodiscard]] bool FindChunk(CKrFileCursor& cursor, SKrRiffChunkInfo& record, const SKrRiffChunkInfo* parent,
                             EKrLookupMode mode, int zeroLimit);

// Moves the cursor to where the next chunk starts.
void SeekPast(CKrFileCursor& cursor, const SKrRiffChunkInfo& chunk);

// The steps of the walks, which give up at kWalkZeroLimit. A segment of a form type: the first one from the
// cursor's position on, or from where the previous one ends.
[[nodiscard]] std::optional<SKrRiffChunkInfo> ReadSegment(CKrFileCursor& cursor, uint32_t formType,
                                                          const SKrRiffChunkInfo* previous);

// A sub-chunk of a container: the first one, or the one after the previous one.
[[nodiscard]] std::optional<SKrRiffChunkInfo>
ReadSubChunk(CKrFileCursor& cursor, const SKrRiffChunkInfo& parent, const SKrRiffChunkInfo* previous);

#endif
