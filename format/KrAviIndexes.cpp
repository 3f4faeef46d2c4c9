#include "format/KrAviIndexes.h"

#include "format/KrBytes.h"

bool Decode(CKrByteReader& in, SKrSuperIndexHead& head)
{
    head.chunkId = in.U32Le();
    head.chunkSize = in.U32Le();
    head.longsPerEntry = in.U16Le();
    head.indexSubType = in.U8();
    head.indexType = in.U8();
    head.entriesInUse = in.U32Le();
    head.streamChunkId = in.U32Le();
    for (uint32_t& word : head.reserved)
        word = in.U32Le();
    return in.Ok();
}

void Encode(CKrByteWriter& out, const SKrSuperIndexHead& head)
{
    out.U32Le(head.chunkId);
    out.U32Le(head.chunkSize);
    out.U16Le(head.longsPerEntry);
    out.U8(head.indexSubType);
    out.U8(head.indexType);
    out.U32Le(head.entriesInUse);
    out.U32Le(head.streamChunkId);
    for (const uint32_t word : head.reserved)
        out.U32Le(word);
}

void Encode(CKrByteWriter& out, const SKrSuperIndexEntry& entry)
{
    out.U64Le(entry.position);
    out.U32Le(entry.size);
    out.U32Le(entry.duration);
}

bool Decode(CKrByteReader& in, SKrStdIndexHead& head)
{
    head.chunkId = in.U32Le();
    head.chunkSize = in.U32Le();
    head.longsPerEntry = in.U16Le();
    head.indexSubType = in.U8();
    head.indexType = in.U8();
    head.entriesInUse = in.U32Le();
    head.streamChunkId = in.U32Le();
    head.baseOffset = in.U64Le();
    in.U32Le();
    return in.Ok();
}

void Encode(CKrByteWriter& out, const SKrStdIndexHead& head)
{
    out.U32Le(head.chunkId);
    out.U32Le(head.chunkSize);
    out.U16Le(head.longsPerEntry);
    out.U8(head.indexSubType);
    out.U8(head.indexType);
    out.U32Le(head.entriesInUse);
    out.U32Le(head.streamChunkId);
    out.U64Le(head.baseOffset);
    out.U32Le(0);
}
