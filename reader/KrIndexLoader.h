// Reads a located index into the caller's array.
#ifndef KR_READER_KRINDEXLOADER_H
#define KR_READER_KRINDEXLOADER_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrBlockMemory.h"
#include "reader/KrStreamState.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

class IKrFile;

// Loads one index of an open file. Counts from the file never size anything beyond what the file can
// hold. The entries of each index chunk are read at once.
class CKrIndexLoader
{
public:
    using Entries = CArray<SKrChunkIndexEntry>;

    CKrIndexLoader(IKrFile& file, uint64_t fileSize, SKrStreamState& state)
        : m_file(file), m_fileSize(fileSize), m_state(state)
    {
    }

    // After a failure the array holds whatever it held at that moment. An entry for which there is no room,
    // since a read failed while entries were counted and not later, throws CInvalidArgException.
    [[nodiscard]] bool LoadVideo(Entries& out);

    // Loads slot 0, the first kept audio stream.
    [[nodiscard]] bool LoadAudio(Entries& out, SKrAudioChunkPattern& pattern);

private:
    struct SSuperIndex
    {
        uint8_t subType = 0;
        std::vector<uint64_t> positions; // of the standard indexes that lie inside the file
        uint64_t totalEntries = 0;       // that they announce
    };

    [[nodiscard]] bool ReadSuperIndex(uint64_t position, SSuperIndex& super);
    uint64_t CountEntries(const std::vector<uint64_t>& positions);
    // Sink takes each entry when it stands in the array: Begin(entries announced), Accept(entries, number).
    template <class Sink>
    [[nodiscard]] bool Load(const SKrLocatedIndex& index, std::span<const uint32_t> ids, Entries& out,
                            Sink&& sink);
    template <class Sink>
    [[nodiscard]] bool LoadOpenDml(const SKrLocatedIndex& index, Entries& out, Sink& sink);
    template <class Sink>
    [[nodiscard]] bool TakeStdIndex(uint64_t position, uint8_t superSubType, Entries& out, Sink& sink);
    template <class Layout, class Sink>
    [[nodiscard]] bool TakeStdEntries(uint64_t position, uint32_t count, uint64_t base, Entries& out,
                                      Sink& sink);
    template <class Sink>
    [[nodiscard]] bool LoadOld(const SKrLocatedIndex& index, std::span<const uint32_t> ids, Entries& out,
                               Sink& sink);
    template <class Sink>
    void TakeOldEntries(const SKrLocatedIndex& index, std::span<const uint8_t> bytes,
                        std::span<const uint32_t> ids, Entries& out, Sink& sink);
    template <class Sink>
    void Append(const SKrChunkIndexEntry& entry, Entries& out, Sink& sink);

    uint64_t FileHoldsFrom(uint64_t position) const;
    [[nodiscard]] std::optional<std::span<const uint8_t>> ReadBlock(uint64_t position, uint64_t count);

    IKrFile& m_file;
    const uint64_t m_fileSize;
    SKrStreamState& m_state;
    uint64_t m_produced = 0; // entries of the load under way
    CKrBlockMemory m_block;  // what ReadBlock read last
};

#endif
