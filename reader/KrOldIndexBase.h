// From where the offsets in an 'idx1' count.
#ifndef KR_READER_KROLDINDEXBASE_H
#define KR_READER_KROLDINDEXBASE_H

#include <cstdint>

class IKrFile;
struct SKrSegment;

// AVI writers do not agree: offsets count from the start of the file, from the list type of 'movi', or from
// the first chunk in it. The entries themselves decide: the first, the last and up to 64 between them are
// held against the chunk headers that each base would lead to. Where none meets a chunk of its own id, the
// offset of the first entry decides between the first two. `entries` is the number of entries in the file.
// False when the file cannot be read.
[[nodiscard]] bool FindOldIndexBase(IKrFile& file, uint64_t fileSize, const SKrSegment& segment,
                                    uint64_t entries, uint64_t& base);

#endif
