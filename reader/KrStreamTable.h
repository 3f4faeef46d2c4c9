// What is known of all streams of the open file, for operations that take no lock.
#ifndef KR_READER_KRSTREAMTABLE_H
#define KR_READER_KRSTREAMTABLE_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "reader/KrFileLayout.h"
#include "reader/KrOldStreamIndex.h"
#include "reader/KrStreamState.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

inline constexpr uint32_t kHasSuperIndex = 1; // in SKrStreamProperties::flags
inline constexpr uint32_t kHasOldEntries = 2;

// Reads nothing before it is asked: an open costs no call for it. Whoever asks first reads the file, without
// a lock, and leaves the result for the others; each answer comes from one file throughout. A read that fails
// leaves nothing behind.
class CKrStreamTable
{
public:
    // Once the file is parsed: nobody meets one that is half open.
    void Attach(std::shared_ptr<IKrFile> file, uint64_t size, const SKrDeclarations& declarations);
    void Detach();

    // A file that grows: what is known of it now. Chunk ids and 'idx1' are looked for again where there may
    // be more.
    void Update(uint64_t size, std::shared_ptr<const KrStreamLists> streams, const KrSegments& segments);

    [[nodiscard]] uint32_t Count();
    [[nodiscard]] bool Properties(uint32_t stream, SKrStreamProperties& properties);
    [[nodiscard]] uint32_t ReadFormat(uint32_t stream, void* buffer, uint32_t size);

    // For the loads. Null when the file cannot be read, or none is open.
    [[nodiscard]] std::shared_ptr<const KrStreamLists> Streams();
    [[nodiscard]] std::shared_ptr<const CKrOldStreamIndex> OldIndex();

    // The first chunk id of each stream, 0 for none. Empty when the file cannot be read.
    [[nodiscard]] std::vector<uint32_t> ChunkIds();

    void SetDropped(uint32_t stream, uint32_t entries);

private:
    // All that belongs to one open file. Replaced as a whole; what is pointed to never changes.
    struct SState
    {
        std::shared_ptr<IKrFile> file;
        uint64_t size = 0;
        SKrDeclarations declarations;
        std::shared_ptr<const KrStreamLists> streams;          // null: not read yet
        std::shared_ptr<const KrSegments> segments;            // of a file that grows
        std::shared_ptr<const CKrOldStreamIndex> oldIndex;     // the same
        std::shared_ptr<const std::vector<uint32_t>> chunkIds; // the same; the first one of each stream
        std::vector<uint32_t> dropped;                         // entries, by the last load of each stream
    };

    [[nodiscard]] SState State();
    template <class Part>
    void Keep(const SState& state, std::shared_ptr<const Part> SState::*part);
    [[nodiscard]] bool ReadStreams(SState& state);
    [[nodiscard]] bool ReadOldIndex(SState& state);
    [[nodiscard]] bool ReadChunkIds(SState& state);

    CKrMutex m_lock; // held for copies only; no lock follows
    SState m_state;  // under m_lock
};

#endif
