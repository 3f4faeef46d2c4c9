// Reads a block of index entries.
#ifndef KR_READER_KRINDEXBLOCK_H
#define KR_READER_KRINDEXBLOCK_H

#include "reader/KrBlockMemory.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

class IKrFile;

// Reads one block of entries after another. A block up to the size of a slice is read at once, a larger one
// slice by slice: whatever count a file claims, no more memory than a slice is needed.
class CKrIndexBlock
{
public:
    // A slice holds at least one entry.
    CKrIndexBlock(IKrFile& file, uint64_t fileSize, size_t sliceSize)
        : m_file(file), m_fileSize(fileSize), m_sliceSize(sliceSize)
    {
    }

    // Starts with the entries at a position, as many as the file holds.
    void Start(uint64_t position, uint64_t count, size_t entrySize);

    // Returns to the first entry of the block, which is then read again.
    void Restart();

    bool IsOneSlice() const { return m_size <= m_sliceSize; }
    void MakeSlicesSmaller(size_t sliceSize);

    // The next whole entries, none at the end of the block, nothing after a failed read. The bytes stay valid
    // until the next read. The first slice is always read, even if it is empty.
    [[nodiscard]] std::optional<std::span<const uint8_t>> Next();

private:
    IKrFile& m_file;
    const uint64_t m_fileSize;
    size_t m_sliceSize;
    size_t m_entrySize = 1;
    uint64_t m_position = 0;
    uint64_t m_size = 0;
    uint64_t m_done = 0; // bytes of the block that were read
    bool m_begun = false;
    CKrBlockMemory m_memory;
};

#endif
