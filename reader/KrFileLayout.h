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
    bool isUnfinished = false;     // the size of the container in the file reads as 0 or as all ones: it is
    bool isMoviUnfinished = false; // being written, and the size given here is what the file has of it
    SKrRiffChunkInfo riff = {};
    SKrRiffChunkInfo movi = {};
    SKrRiffChunkInfo idx1 = {};
};

using KrSegments = std::vector<SKrSegment>;

// A size as it stands in the file, of a container that is still being written.
constexpr bool IsUnfinishedSize(uint32_t storedSize)
{
    return storedSize == 0 || storedSize == 0xFFFFFFFF;
}

// A container that is still being written reaches to the end of the file, as far as 32 bits can say. Answers
// whether it is one.
bool ExtendIfUnfinished(SKrRiffChunkInfo& container, uint64_t fileSize);

// A 'RIFF' of this form type exactly where the cursor stands, without its parts.
[[nodiscard]] std::optional<SKrSegment> ReadSegmentAt(CKrFileCursor& cursor, uint32_t formType);

// 'RIFF' 'AVI ' at the start of the file, and its 'LIST' 'hdrl'.
[[nodiscard]] std::optional<SKrSegment> ReadFirstRiff(CKrFileCursor& cursor);
[[nodiscard]] std::optional<SKrRiffChunkInfo> FindHeaderList(CKrFileCursor& cursor,
                                                             const SKrRiffChunkInfo& riff);

// 'avih', wherever it is in 'hdrl'.
[[nodiscard]] std::optional<SKrMainHeader> ReadMainHeader(CKrFileCursor& cursor,
                                                          const SKrRiffChunkInfo& hdrl);

// The 'strl' lists of 'hdrl', in file order, no more than kStreamLimit of them. A list without a usable
// 'strh' still counts: its header holds zeros.
[[nodiscard]] KrStreamLists ReadStreamLists(CKrFileCursor& cursor, const SKrRiffChunkInfo& hdrl);

// 'RIFF' 'AVI ' and each 'AVIX' that follows.
[[nodiscard]] KrSegments ReadSegments(CKrFileCursor& cursor);

// Fills in 'movi' and 'idx1' of a segment.
void ReadSegmentParts(CKrFileCursor& cursor, SKrSegment& segment);

#endif
