// Finds where a stream's index starts, while the file is opened.
#ifndef KR_READER_KRINDEXLOCATOR_H
#define KR_READER_KRINDEXLOCATOR_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrStreamState.h"

#include <cstdint>
#include <span>

class CKrFileCursor;

// The header chunks between which a stream's index is looked for.
struct SKrStreamHeaderChunks
{
    const SKrRiffChunkInfo& riff;
    const SKrRiffChunkInfo& hdrl;
    const SKrRiffChunkInfo& strl;
    const SKrRiffChunkInfo& strf; // 'indx' follows it inside 'strl'
};

enum class EKrIndexFound
{
    None,
    OpenDml, // 'indx' in the stream's 'strl'
    Old      // 'idx1' behind 'movi'
};

// Locates the index of a stream whose data chunks carry one of the given ids, and notes it in `index`.
// Streams whose chunks lie in 'rec ' lists have no 'idx1': only direct sub-chunks of 'movi' are looked at.
EKrIndexFound LocateIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers,
                          std::span<const uint32_t> dataChunkIds, SKrLocatedIndex& index);

// The video stream's and an audio stream's, numbered from 0. From stream 16 on there are no data chunk ids,
// and so no index.
void LocateVideoIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, uint32_t streamNumber,
                      SKrStreamState& state);
void LocateAudioIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, uint32_t streamNumber,
                      SKrLocatedIndex& index);

#endif
