// Reads the heads of index chunks.
#ifndef KR_READER_KRINDEXHEADS_H
#define KR_READER_KRINDEXHEADS_H

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "platform/KrPlatform.h"

#include <cstdint>
#include <optional>

// `Head` is one of the heads in format/KrAviIndexes.h. Nothing when the read fails or the file ends inside
// it.
template <class Head>
[[nodiscard]] std::optional<Head> ReadHead(IKrFile& file, uint64_t position)
{
    uint8_t bytes[Head::kEncodedSize];
    const SKrTransfer read = file.ReadAt(position, bytes, sizeof bytes);
    CKrByteReader in({bytes, read.Failed() ? 0 : read.bytes});
    Head head;
    return Decode(in, head) ? std::optional(head) : std::nullopt;
}

#endif
