// Whether a file that nobody writes any more was finished.
#ifndef KR_READER_KRRECORDINGEND_H
#define KR_READER_KRRECORDINGEND_H

#include "reader/KrFileLayout.h"

#include <cstdint>
#include <vector>

class IKrFile;

// True when the last segment ends where the file ends and its 'movi' holds nothing but chunks that an index
// names, fillers and indexes. `named` are the payload positions of all chunks that the indexes name there, in
// ascending order. A file that cannot be read is not complete.
[[nodiscard]] bool IsRecordingComplete(IKrFile& file, uint64_t fileSize, const SKrSegment& last,
                                       const std::vector<uint64_t>& named);

#endif
