// Finds where a stream's index starts, while the file is opened.
#ifndef KR_READER_KRINDEXLOCATOR_H
#define KR_READER_KRINDEXLOCATOR_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrStreamState.h"

#include <cstdint>
#include <span>

class CKrFileCursor;

// The header chunks that bound the search for a stream's index.
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
    Old      // 'idx1' after 'movi'
};

// Locates the index of a stream whose data chunks carry one of the given ids, and notes it in `index`.
// Streams whose chunks lie in 'rec ' lists have no 'idx1': only direct sub-chunks of 'movi' are searched.
EKrIndexFound LocateIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers,
                          std::span<const uint32_t> dataChunkIds, SKrLocatedIndex& index);

// Locate the index of the video stream and of an audio stream. Streams are numbered from 0; those from 16 on
// have no data chunk ids, and so no index.
void LocateVideoIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, uint32_t streamNumber,
                      SKrStreamState& state);
void LocateAudioIndex(CKrFileCursor& cursor, const SKrStreamHeaderChunks& headers, uint32_t streamNumber,
                      SKrLocatedIndex& index);

#endif
