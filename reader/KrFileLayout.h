// Where the parts of an AVI file are that the operations on all streams need: the 'strl' lists, and the
// segments with their indexes.
#ifndef KR_READER_KRFILELAYOUT_H
#define KR_READER_KRFILELAYOUT_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrAviHeaders.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

class CKrFileCursor;

// One 'strl' list. Positions are those of payloads; 0 for a chunk that is not there.
struct SKrStreamList
{
    SKrStreamHeader header;
    uint64_t headerPosition = 0; // of 'strh'
    uint64_t formatPosition = 0; // of 'strf'
    uint32_t formatSize = 0;     // bytes of it that the file holds
    uint64_t indexPosition = 0;  // of the header of 'indx'
    uint32_t indexSize = 0;      // payload bytes of it that the file holds
};

using KrStreamLists = std::vector<SKrStreamList>;

// One 'RIFF'. A record whose offset is 0 stands for a chunk that is not there.
struct SKrSegment
{
    SKrRiffChunkInfo riff = {};
    SKrRiffChunkInfo movi = {};
    SKrRiffChunkInfo idx1 = {};
};

using KrSegments = std::vector<SKrSegment>;

// The size of a container that is still being written reads as 0 or as all ones: it reaches to the end of the
// file, as far as 32 bits can say.
void ExtendIfUnfinished(SKrRiffChunkInfo& container, uint64_t fileSize);

// 'RIFF' 'AVI ' at the start of the file, and its 'LIST' 'hdrl'.
[[nodiscard]] std::optional<SKrRiffChunkInfo> ReadFirstRiff(CKrFileCursor& cursor);
[[nodiscard]] std::optional<SKrRiffChunkInfo> FindHeaderList(CKrFileCursor& cursor,
                                                             const SKrRiffChunkInfo& riff);

// The 'strl' lists of 'hdrl', in file order, no more than kStreamLimit of them. A list without a usable
// 'strh' still counts: its header holds zeros.
[[nodiscard]] KrStreamLists ReadStreamLists(CKrFileCursor& cursor, const SKrRiffChunkInfo& hdrl);

// 'RIFF' 'AVI ' and each 'AVIX' that follows.
[[nodiscard]] KrSegments ReadSegments(CKrFileCursor& cursor);

// Fills in 'movi' and 'idx1' of a segment.
void ReadSegmentParts(CKrFileCursor& cursor, SKrSegment& segment);

#endif
