// All 'idx1' chunks of a file (AVI 1.0), for streams of any type.
#ifndef KR_READER_KROLDSTREAMINDEX_H
#define KR_READER_KROLDSTREAMINDEX_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrFileLayout.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class IKrFile;

// Knows how many entries of each stream there are in each piece of 'idx1', so that a load reads only from the
// piece on that holds its first entry. Does not change once it was read.
class CKrOldStreamIndex
{
public:
    // Reads all entries once and tries where their offsets count from. Streams from `streamCount` on are
    // passed over. False when the file cannot be read.
    [[nodiscard]] bool Read(IKrFile& file, uint64_t fileSize, const KrSegments& segments, size_t streamCount);

    [[nodiscard]] uint64_t Entries(uint32_t stream) const { return m_streams[stream].entries; }

    // The chunk id of the stream's first entry; 0: it has none.
    [[nodiscard]] uint32_t FirstChunkId(uint32_t stream) const { return m_streams[stream].firstChunkId; }

    // The stream's entries from number `first` on. Entries that are not in the file are counted in `dropped`.
    [[nodiscard]] bool Load(IKrFile& file, uint64_t fileSize, uint32_t stream, uint64_t first,
                            CArray<SKrStreamIndexEntry>& out, uint32_t& dropped) const;

private:
    struct SStream
    {
        uint64_t entries = 0;
        uint32_t firstChunkId = 0;
    };

    struct SBlock // one 'idx1'
    {
        uint64_t position = 0; // of the first entry
        uint64_t entries = 0;
        uint64_t base = 0; // from where the offsets count
        size_t firstPiece = 0;
    };

    [[nodiscard]] bool CountEntries(IKrFile& file, uint64_t fileSize, const SBlock& block);
    [[nodiscard]] uint64_t Count(size_t piece, uint32_t stream) const;

    std::vector<SBlock> m_blocks;
    std::vector<SStream> m_streams;
    std::vector<uint32_t> m_counts; // of each piece, for each stream
};

#endif
