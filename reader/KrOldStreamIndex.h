// All 'idx1' chunks of a file (AVI 1.0), for streams of any type.
#ifndef KR_READER_KROLDSTREAMINDEX_H
#define KR_READER_KROLDSTREAMINDEX_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrFileLayout.h"
#include "reader/KrIndexBlock.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class IKrFile;

// How many entries of one stream there are in each piece of 'idx1', so that a load reads only from the piece
// on that holds its first entry. Empty at first; the first load of the stream fills it in.
using KrOldIndexPieces = std::vector<uint32_t>;

// Where the 'idx1' chunks are and from where their offsets count. Does not change once it was read.
class CKrOldStreamIndex
{
public:
    // Finds the bases, and the first entry of each stream. Streams from `streamCount` on are passed over.
    // False when the file cannot be read.
    [[nodiscard]] bool Read(IKrFile& file, uint64_t fileSize, const KrSegments& segments, size_t streamCount);

    // The chunk id of the stream's first entry; 0: it has none.
    [[nodiscard]] uint32_t FirstChunkId(uint32_t stream) const { return m_firstIds[stream]; }

    // The stream's entries from number `first` on. Entries that are not in the file are counted in `dropped`.
    [[nodiscard]] bool Load(IKrFile& file, uint64_t fileSize, uint32_t stream, uint64_t first,
                            KrOldIndexPieces& pieces, CArray<SKrStreamIndexEntry>& out,
                            uint32_t& dropped) const;

private:
    struct SBlock // one 'idx1'
    {
        uint64_t position = 0; // of the first entry
        uint64_t entries = 0;
        uint64_t base = 0; // from where the offsets count
        size_t firstPiece = 0;
        size_t pieces = 0;
    };

    [[nodiscard]] bool FindFirstIds(IKrFile& file, uint64_t fileSize);
    [[nodiscard]] bool CountEntries(CKrIndexBlock& entries, uint32_t stream, KrOldIndexPieces& pieces,
                                    std::span<const uint8_t>& whole) const;

    std::vector<SBlock> m_blocks;
    std::vector<uint32_t> m_firstIds; // of each stream
};

#endif
