// The read that raw reads of hosts and the search for private chunks share.
#ifndef KR_READER_KRRAWREAD_H
#define KR_READER_KRRAWREAD_H

#include "platform/KrPlatform.h"

#include <cstdint>

// Returns the number of bytes read; 0 on failure.
// Kept: a position whose low half is all ones is refused, as it cannot be told from a failed seek.
[[nodiscard]] inline uint32_t RawRead(IKrFile& file, uint64_t position, void* buffer, uint32_t count)
{
    if (static_cast<uint32_t>(position) == UINT32_MAX || !KrPlatform::IsFilePosition(position))
        return 0;
    const SKrTransfer read = file.ReadAt(position, buffer, count);
    return read.Failed() ? 0 : static_cast<uint32_t>(read.bytes);
}

#endif
