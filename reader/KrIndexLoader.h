// Reads a located index into the caller's array.
#ifndef KR_READER_KRINDEXLOADER_H
#define KR_READER_KRINDEXLOADER_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrLimits.h"
#include "reader/KrIndexBlock.h"
#include "reader/KrStreamState.h"

#include <cstdint>
#include <span>

class CKrSuperIndex;
class IKrFile;

// Loads one index of an open file. Counts from the file never size anything beyond what the file can
// hold. The entries of each index chunk are read at once, or in slices when they are very many.
class CKrIndexLoader
{
public:
    using Entries = CArray<SKrChunkIndexEntry>;

    CKrIndexLoader(IKrFile& file, uint64_t fileSize, SKrStreamState& state,
                   size_t sliceSize = kLargestIndexSlice)
        : m_file(file), m_fileSize(fileSize), m_state(state), m_sliceSize(sliceSize),
          m_block(file, fileSize, sliceSize)
    {
    }

    // Entries that an OpenDML index announces but does not have are harmless. A load that would produce more
    // entries than the file can hold chunks fails, as does one that runs out of memory. After a failure the
    // array holds whatever it held at that moment. When a read that failed during the count succeeds during
    // the load, an entry past the counted total throws CInvalidArgException.
    [[nodiscard]] bool LoadVideo(Entries& out);

    // Loads slot 0, the first kept audio stream.
    [[nodiscard]] bool LoadAudio(Entries& out, SKrAudioChunkPattern& pattern);

private:
    [[nodiscard]] bool Load(const SKrLocatedIndex& index, std::span<const uint32_t> ids, Entries& out);
    [[nodiscard]] bool LoadOpenDml(const SKrLocatedIndex& index, Entries& out);
    [[nodiscard]] bool CountEntries(CKrSuperIndex& super);
    [[nodiscard]] bool TakeStdIndex(uint64_t position, uint8_t superSubType, Entries& out);
    template <class Layout>
    [[nodiscard]] bool TakeStdEntries(uint64_t position, uint32_t count, uint64_t base, Entries& out);
    template <class Layout>
    [[nodiscard]] size_t Take(std::span<const uint8_t> slice, uint64_t base, Entries& out);
    [[nodiscard]] bool RefuseEntry(Entries& out) const;
    void PassOver(size_t bytes);
    [[nodiscard]] bool LoadOld(const SKrLocatedIndex& index, std::span<const uint32_t> ids, Entries& out);
    [[nodiscard]] bool TakeOldEntries(const SKrLocatedIndex& index, std::span<const uint8_t> bytes,
                                      std::span<const uint32_t> ids, Entries& out);
    std::span<const SKrChunkIndexEntry> Produced(Entries& out) const;

    IKrFile& m_file;
    const uint64_t m_fileSize;
    SKrStreamState& m_state;
    const size_t m_sliceSize;
    CKrIndexBlock m_block; // entries, of 'idx1' or of the standard index under way

    // Of the load under way:
    uint64_t m_announced = 0;  // entries that the index claims
    uint64_t m_produced = 0;   // entries in the array
    uint64_t m_passedOver = 0; // bytes of entries beyond the end of the file
    uint32_t m_oldBase = 0;    // from where the offsets in 'idx1' count
};

#endif
