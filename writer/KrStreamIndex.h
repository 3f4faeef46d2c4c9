// The OpenDML index of one stream: the standard index that is being filled, and its entry in the super index.
#ifndef KR_WRITER_KRSTREAMINDEX_H
#define KR_WRITER_KRSTREAMINDEX_H

#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "writer/KrPatches.h"
#include "writer/KrWriterSetup.h"

#include <cstdint>
#include <memory>
#include <vector>

// Entries wait in memory until Flush copies them into the mapped standard index. All positions are absolute.
class CKrStreamIndex
{
public:
    CKrStreamIndex(EKrStream stream, uint32_t chunkId, CKrPatches& patches);

    // Bytes of an empty standard index.
    [[nodiscard]] const std::vector<uint8_t>& EmptyStdIndex() const { return m_empty; }

    // Takes the place of the super index's chunk in the mapped header, none when that could not be mapped,
    // and writes its fields.
    void SetSuperIndex(SKrPatchPlace chunk);

    // Makes the standard index that was written at `position` the current one, and enters it in the super
    // index while that has room. `view` is null when it could not be mapped: its entries then stay pending.
    void StartStdIndex(uint64_t position, std::shared_ptr<IKrMappedView> view);

    // Whether there is a current standard index in memory.
    [[nodiscard]] bool HasStdIndex() const { return m_view != nullptr; }

    // Whether there has been a standard index that the super index had no room for.
    [[nodiscard]] bool IsSuperIndexFull() const { return m_superIndexFull; }

    // Drops the current standard index and what did not fit into it.
    void EndStdIndex();

    // Whether 32-bit offsets reach a payload whose chunk header is at this position.
    [[nodiscard]] bool Reaches(uint64_t position) const;

    // Records a chunk, unless the standard index is full or does not reach it. Returns whether the super
    // index leads to it.
    bool Record(uint64_t position, uint32_t length);

    [[nodiscard]] size_t Pending() const { return m_pending.size(); }
    [[nodiscard]] bool IsFull(size_t further = 0) const
    {
        return Pending() + m_copied + further >= kStdIndexCapacity;
    }

    // Adds audio sample frames to the duration of the current super index entry.
    void AddDuration(uint32_t samples);

    // Copies pending entries into the mapped standard index. Video adds its frames to the duration.
    void Flush();

    // Releases everything that is mapped.
    void Unmap();

private:
    struct SKrPending
    {
        uint32_t offset = 0;
        uint32_t size = 0;
    };

    const EKrStream m_stream;
    const uint32_t m_chunkId;
    std::vector<uint8_t> m_empty;
    CKrPatches& m_patches;
    SKrPatchPlace m_superIndex;    // its chunk header
    SKrPatchPlace m_durationPlace; // of the current super index entry
    uint32_t m_duration = 0;
    uint32_t m_superEntries = 0;
    bool m_superIndexFull = false;
    std::shared_ptr<IKrMappedView> m_view;
    uint32_t m_copied = 0;
    uint64_t m_reachable = 0;       // entries that the super index leads to
    std::vector<uint8_t> m_encoded; // entries of one flush
    uint64_t m_base = 0;            // position of the first chunk; 0: none yet
    std::vector<SKrPending> m_pending;
};

#endif
