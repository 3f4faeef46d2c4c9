// Index records: 'idx1' of AVI 1.0, the super index and standard indexes of OpenDML 1.02.
#ifndef KR_FORMAT_KRAVIINDEXES_H
#define KR_FORMAT_KRAVIINDEXES_H

#include "format/KrBytes.h"

#include <cstddef>
#include <cstdint>

// In `flags` of an 'idx1' entry
inline constexpr uint32_t kAviifKeyFrame = 0x10;
inline constexpr uint32_t kAviifNoTime = 0x100; // the chunk takes no time of its stream: a palette change

// One entry of 'idx1'.
struct SKrOldIndexEntry
{
    static constexpr size_t kEncodedSize = 16;

    uint32_t chunkId = 0;
    uint32_t flags = 0;
    uint32_t offset = 0; // of the chunk's header: from the file start, or from the type of 'movi'
    uint32_t size = 0;   // payload bytes
};

inline SKrOldIndexEntry DecodeOldIndexEntry(const uint8_t* from)
{
    return {GetLe32(from), GetLe32(from + 4), GetLe32(from + 8), GetLe32(from + 12)};
}

inline void EncodeOldIndexEntry(uint8_t* to, const SKrOldIndexEntry& entry)
{
    PutLe32(to, entry.chunkId);
    PutLe32(to + 4, entry.flags);
    PutLe32(to + 8, entry.offset);
    PutLe32(to + 12, entry.size);
}

inline void Encode(CKrByteWriter& out, const SKrOldIndexEntry& entry)
{
    EncodeOldIndexEntry(out.Space(SKrOldIndexEntry::kEncodedSize), entry);
}

// Sub-types of both OpenDML indexes: with the 64-bit one, positions of entries count from the file start in
// a super index, and a standard index has entries of 24 bytes. The latter are outside OpenDML and accepted.
inline constexpr uint8_t kIndexSubTypeDefault = 0;
inline constexpr uint8_t kIndexSubTypeFields =
    1; // entries name both fields of a frame: OpenDML's field index
inline constexpr uint8_t kIndexSubType64Bit = 0x10;
inline constexpr uint8_t kIndexOfIndexes = 0;
inline constexpr uint8_t kIndexOfChunks = 1;

// Head of a super index with its chunk header; the entries follow it.
struct SKrSuperIndexHead
{
    static constexpr size_t kEncodedSize = 32;

    uint32_t chunkId = 0; // 'indx'
    uint32_t chunkSize = 0;
    uint16_t longsPerEntry = 4; // 32-bit words per entry
    uint8_t indexSubType = kIndexSubTypeDefault;
    uint8_t indexType = kIndexOfIndexes;
    uint32_t entriesInUse = 0;
    uint32_t streamChunkId = 0;
    uint32_t reserved[3] = {};
};

[[nodiscard]] bool Decode(CKrByteReader& in, SKrSuperIndexHead& head);
void Encode(CKrByteWriter& out, const SKrSuperIndexHead& head);

// One entry of a super index.
struct SKrSuperIndexEntry
{
    static constexpr size_t kEncodedSize = 16;

    uint64_t position = 0; // of the standard index's chunk header
    uint32_t size = 0;     // of the standard index with its chunk header
    uint32_t duration = 0;
};

inline SKrSuperIndexEntry DecodeSuperIndexEntry(const uint8_t* from)
{
    return {GetLe64(from), GetLe32(from + 8), GetLe32(from + 12)};
}

void Encode(CKrByteWriter& out, const SKrSuperIndexEntry& entry);

// Head of a standard index with its chunk header; the entries follow it.
struct SKrStdIndexHead
{
    static constexpr size_t kEncodedSize = 32;

    uint32_t chunkId = 0; // 'ix##'
    uint32_t chunkSize = 0;
    uint16_t longsPerEntry = 2;
    uint8_t indexSubType = kIndexSubTypeDefault;
    uint8_t indexType = kIndexOfChunks;
    uint32_t entriesInUse = 0;
    uint32_t streamChunkId = 0;
    uint64_t baseOffset = 0; // file position from which the entries' offsets count
    // one reserved 32-bit word ends it: written as 0, ignored when read
};

[[nodiscard]] bool Decode(CKrByteReader& in, SKrStdIndexHead& head);
void Encode(CKrByteWriter& out, const SKrStdIndexHead& head);

// One entry of a standard index: a chunk's payload.
struct SKrStdIndexEntry
{
    static constexpr size_t kEncodedSize = 8;
    static constexpr uint32_t kNotKeyFrame = 0x80000000; // in `size`

    uint32_t offset = 0; // from the base offset
    uint32_t size = 0;
};

inline SKrStdIndexEntry DecodeStdIndexEntry(const uint8_t* from)
{
    return {GetLe32(from), GetLe32(from + 4)};
}

inline void EncodeStdIndexEntry(uint8_t* to, const SKrStdIndexEntry& entry)
{
    PutLe32(to, entry.offset);
    PutLe32(to + 4, entry.size);
}

inline void Encode(CKrByteWriter& out, const SKrStdIndexEntry& entry)
{
    EncodeStdIndexEntry(out.Space(SKrStdIndexEntry::kEncodedSize), entry);
}

// Bytes of an entry of a field index: those of a standard index, and the offset of the second field.
inline constexpr size_t kFieldIndexEntrySize = 12;

// One entry of a standard index of the 64-bit sub-type; twelve bytes that are ignored end it.
struct SKrWideIndexEntry
{
    static constexpr size_t kEncodedSize = 24;

    uint64_t offset = 0;
    uint32_t size = 0;
};

inline SKrWideIndexEntry DecodeWideIndexEntry(const uint8_t* from)
{
    return {GetLe64(from), GetLe32(from + 8)};
}

#endif
