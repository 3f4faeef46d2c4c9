// Finds which stream data chunks a file holds.
#ifndef KR_READER_KRSTREAMCHUNKDETECTION_H
#define KR_READER_KRSTREAMCHUNKDETECTION_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstdint>

class CKrFileCursor;

// Whether an id is that of a stream data chunk: stream number '00' to '09' and then 'd' or 'w'.
// Kept: streams 10 to 15, '0a' to '0f', are not recognised, as the indexes of such files show no audio id.
bool IsStreamDataChunkId(uint32_t id);

struct SKrDetectedChunks
{
    uint32_t firstVideoId = 0; // 0 when none was seen
    uint32_t firstAudioId = 0;
};

// Reads chunk headers from the cursor's position on, inside `movi` where it is given, until a chunk of
// each of `streamCount` streams was seen; when that is 0, until 15 stream chunks were. False when there is
// not a single chunk.
[[nodiscard]] bool DetectStreamChunkIds(CKrFileCursor& cursor, const SKrRiffChunkInfo* movi,
                                        uint32_t streamCount, SKrDetectedChunks& detected);

#endif
