#include "format/KrChunkHeader.h"

#include "format/KrBytes.h"

SKrChunkHeader DecodeChunkHeader(std::span<const uint8_t> bytes)
{
    CKrByteReader in(bytes);
    SKrChunkHeader header;
    header.id = in.U32Le();
    header.size = in.U32Le();
    if (bytes.size() >= kListHeaderSize)
        header.firstData = in.U32Le();
    return header;
}
