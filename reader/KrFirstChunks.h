// The ids of the streams' data chunks.
#ifndef KR_READER_KRFIRSTCHUNKS_H
#define KR_READER_KRFIRSTCHUNKS_H

#include "reader/KrFileLayout.h"

#include <cstdint>
#include <vector>

class CKrOldStreamIndex;
class IKrFile;

// The id of each stream's first data chunk, 0 for a stream without any: the one that its index leads to, else
// the first one of the stream among the first chunks of 'movi'. Reads no more than a few blocks of each
// index, and a fixed number of chunk headers, whatever the length of the file.
[[nodiscard]] std::vector<uint32_t> FindFirstChunkIds(IKrFile& file, uint64_t fileSize,
                                                      const KrStreamLists& streams,
                                                      const CKrOldStreamIndex& oldIndex);

#endif
