// The pattern in the sizes of an audio stream's chunks, which a load of the audio index reports.
#ifndef KR_READER_KRAUDIOCHUNKPATTERN_H
#define KR_READER_KRAUDIOCHUNKPATTERN_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <span>

// The period of the chunk sizes; the totals of the four quarters when they have none. At least one entry is
// needed. Sums are 32-bit and wrap.
[[nodiscard]] SKrAudioChunkPattern FindAudioChunkPattern(std::span<const SKrChunkIndexEntry> entries);

#endif
