// A stream's 'indx' in a file that is still being written.
#ifndef KR_READER_KRGROWINGINDEX_H
#define KR_READER_KRGROWINGINDEX_H

#include "reader/KrIndexDirectory.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class IKrFile;

// Takes new entries into a directory in their order, and only when they are complete. A count that falls,
// that its chunk has no room for, or that names bytes outside the file is left for the next time: another
// process is writing it at this moment. Entries that were taken once stay.
class CKrGrowingIndex
{
public:
    // Whether 'indx' is a super index of standard indexes. `indx` is its payload, here and below, as it is
    // now. False also when the file cannot be read.
    [[nodiscard]] static bool CanFollow(IKrFile& file, std::span<const uint8_t> indx);

    // Forgets the heads that were read before.
    void ForgetHeads();

    // Reads the head of the index chunk that is being filled, and those of new ones. False when the file
    // cannot be read.
    [[nodiscard]] bool ReadHeads(IKrFile& file, std::span<const uint8_t> indx);

    // Looks at what the heads name, in a file of this size. False when the file cannot be read.
    [[nodiscard]] bool Check(IKrFile& file, uint64_t fileSize);

    // Takes what was found to be complete; answers whether there was anything.
    bool TakeInto(CKrIndexDirectory& directory, uint64_t fileSize);

private:
    [[nodiscard]] uint32_t ChunksIn(std::span<const uint8_t> indx) const;
    [[nodiscard]] bool ReadHeadAt(IKrFile& file, uint64_t position, uint8_t superSubType);
    [[nodiscard]] uint32_t Known(const SKrIndexChunk& chunk) const;
    [[nodiscard]] bool CheckEntries(IKrFile& file, uint64_t fileSize, const SKrIndexChunk& chunk,
                                    bool& areComplete) const;

    uint32_t m_chunks = 0;       // of those that 'indx' names, how many were taken
    uint64_t m_lastPosition = 0; // of the last of them; 0: none yet
    uint32_t m_lastCount = 0;    // entries of it that were taken
    bool m_lastIsFull = false;
    std::vector<SKrIndexChunk> m_heads; // that were read; the first may be the last one again
    size_t m_complete = 0;              // of these
};

#endif
