// An OpenDML super index: where the standard indexes of a stream are.
#ifndef KR_READER_KRSUPERINDEX_H
#define KR_READER_KRSUPERINDEX_H

#include "format/KrAviIndexes.h"
#include "reader/KrIndexBlock.h"

#include <cstdint>
#include <span>

class IKrFile;

enum class EKrStdIndex
{
    Found,
    None, // no more
    Unread
};

// Iterates over the entries of a super index. The first one that points past the end of the file ends it.
class CKrSuperIndex
{
public:
    CKrSuperIndex(IKrFile& file, uint64_t fileSize, size_t sliceSize)
        : m_file(file), m_fileSize(fileSize), m_block(file, fileSize, sliceSize)
    {
    }

    // Reads the head; false when it cannot be used.
    [[nodiscard]] bool Open(uint64_t position);
    uint8_t SubType() const { return m_subType; }

    // The position of the next standard index, from the first one on.
    [[nodiscard]] EKrStdIndex Next(uint64_t& position);

    // Returns to the first one. Entries that fitted one read are not read again.
    void Rewind();

private:
    IKrFile& m_file;
    const uint64_t m_fileSize;
    CKrIndexBlock m_block;
    uint8_t m_subType = kIndexSubTypeDefault;
    std::span<const uint8_t> m_slice;
    size_t m_at = 0; // of the next entry in the slice
};

#endif
