// The headers of a file: everything before the first data chunk.
#ifndef KR_WRITER_KRHEADERLAYOUT_H
#define KR_WRITER_KRHEADERLAYOUT_H

#include "writer/KrWriterSetup.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Bytes of a header, and the offsets in them of the chunks (of their headers) with fields that are patched
// later; 0 where there is no such chunk.
struct SKrHeaderLayout
{
    std::vector<uint8_t> bytes;
    size_t mainHeader = 0;
    size_t videoHeader = 0;
    size_t videoIndex = 0;
    size_t audioHeader = 0;
    size_t audioIndex = 0;
    size_t extendedHeader = 0;
    size_t movi = 0;
};

// 'RIFF' 'AVI ' at the start of the file up to the type of 'movi', whose end lies on a sector boundary.
SKrHeaderLayout LayOutFirstSegment(const SKrWriterSetup& setup);

// 'RIFF' 'AVIX' at a position, up to the 'JUNK' inside its 'movi' that ends on a sector boundary.
SKrHeaderLayout LayOutNextSegment(const SKrWriterSetup& setup, uint64_t position);

#endif
