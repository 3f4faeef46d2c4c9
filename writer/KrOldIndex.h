// The 'idx1' of the first segment while that is written.
#ifndef KR_WRITER_KROLDINDEX_H
#define KR_WRITER_KROLDINDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

class CKrFileTail;

// Has entries from the start of the first segment until it is written.
class CKrOldIndex
{
public:
    explicit CKrOldIndex(uint32_t bytesPerSector) : m_bytesPerSector(bytesPerSector) {}

    // Opens with the entry that marks offsets as absolute ones; `position` is that of the first byte in
    // 'movi'.
    void Begin(uint64_t position);

    // Before chunks are written, so that nothing can fail between them and their entries.
    void MakeRoom(size_t chunks);
    void Add(uint32_t chunkId, uint64_t position, uint32_t size);

    [[nodiscard]] bool IsEmpty() const { return m_entries.empty(); }

    // Bytes that the segment still needs for it, up to a sector boundary, with that many further entries.
    [[nodiscard]] uint64_t Reserved(size_t further = 0) const;

    // Writes the chunk where the segment of this length ends, and forgets the entries. Returns its size with
    // its header, 0 when it could not be written.
    [[nodiscard]] uint64_t Write(CKrFileTail& tail, uint64_t segmentLength);

private:
    void AddEntry(uint32_t id, uint32_t flags, uint64_t position, uint32_t size);

    const uint32_t m_bytesPerSector;
    std::vector<uint8_t> m_entries; // encoded
};

#endif
