// The index chunks that a stream's 'indx' leads to (OpenDML 1.02).
#ifndef KR_READER_KRINDEXDIRECTORY_H
#define KR_READER_KRINDEXDIRECTORY_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrAviIndexes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

class IKrFile;

// One standard or field index.
struct SKrIndexChunk
{
    uint64_t position = 0; // of its chunk header
    uint64_t base = 0;     // from where the offsets count
    uint64_t first = 0;    // number of its first entry among those of the stream
    uint32_t count = 0;    // entries
    uint32_t capacity = 0; // entries that its chunk has room for
    uint32_t entrySize = 0;
};

// Which entries each index chunk holds, so that a load reads only the chunks that it needs. Counts come from
// the file: all entries together take no more bytes than the file has.
class CKrIndexDirectory
{
public:
    // Reads the heads of all index chunks from 'indx' on, through super indexes of super indexes; no more
    // than `mostChunks` of those that have entries. False when the file cannot be read, when 'indx' is not an
    // index, and when the chunks claim more than there can be.
    [[nodiscard]] bool Read(IKrFile& file, uint64_t fileSize, uint64_t indx, size_t mostChunks = SIZE_MAX);

    [[nodiscard]] const std::vector<SKrIndexChunk>& Chunks() const { return m_chunks; }
    [[nodiscard]] uint64_t Entries() const { return m_entries; }

    // Whether 'indx' names any index chunk, be it an empty one.
    [[nodiscard]] bool HasChunks() const { return m_chunksSeen != 0; }

    // Adds an index chunk after the others, or more entries to the last one: an index that grows. False, with
    // nothing taken, when all of them together would claim more than a file of this size holds.
    [[nodiscard]] bool Take(const SKrIndexChunk& chunk, uint64_t fileSize);

    // All entries of one of Chunks().
    [[nodiscard]] static bool ReadEntries(IKrFile& file, const SKrIndexChunk& chunk,
                                          std::vector<SKrStreamIndexEntry>& entries);

    // The entries from number `first` on. Those that are not in the file are counted in `dropped`.
    [[nodiscard]] bool Load(IKrFile& file, uint64_t fileSize, uint64_t first,
                            CArray<SKrStreamIndexEntry>& out, uint32_t& dropped) const;

private:
    struct SWalk; // the reading under way

    [[nodiscard]] static bool ReadChunk(SWalk& walk, uint64_t position, uint8_t parentSubType, int depth);
    [[nodiscard]] static bool TakeChunk(SWalk& walk, const SKrStdIndexHead& head, uint64_t position,
                                        uint8_t parentSubType, int depth);
    [[nodiscard]] static bool ReadSuperIndex(SWalk& walk, const SKrStdIndexHead& head, uint64_t position,
                                             int depth);

    std::vector<SKrIndexChunk> m_chunks; // those that have entries
    uint64_t m_entries = 0;
    uint64_t m_entryBytes = 0;
    uint64_t m_chunksSeen = 0;
};

// A chunk as an entry of an index chunk gives it.
[[nodiscard]] SKrStreamIndexEntry DecodeIndexEntry(const SKrIndexChunk& chunk, const uint8_t* from);

// What the head of a standard or field index says; nothing for a head of any other kind.
[[nodiscard]] std::optional<SKrIndexChunk> DescribeIndexChunk(const SKrStdIndexHead& head, uint64_t position,
                                                              uint8_t parentSubType);

#endif
