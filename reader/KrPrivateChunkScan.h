// Finds the private information chunks of a file while it is opened.
#ifndef KR_READER_KRPRIVATECHUNKSCAN_H
#define KR_READER_KRPRIVATECHUNKSCAN_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrPrivateValues.h"

#include <array>
#include <cstdint>
#include <iterator>
#include <optional>

class CKrFileCursor;
class IKrFile;

// Finds what the walks over segments and their sub-chunks would find, with the same reads in the same order,
// but keeps no nodes: a file may consist of nothing but tiny chunks. Each search continues where the previous
// one ended. Guarded by the reader's lock.
class CKrPrivateChunkScan final : public IKrPrivateChunks
{
public:
    CKrPrivateChunkScan(CKrFileCursor& cursor, IKrFile& file) : m_cursor(cursor), m_file(file) {}

    // A chunk of kPrivateChunkKinds, as a sub-chunk of the first segment, else of the last one.
    [[nodiscard]] const SKrRiffChunkInfo* Find(uint32_t ckid) override;
    [[nodiscard]] uint32_t ReadData(const SKrRiffChunkInfo& chunk, uint8_t* buffer) override;
    [[nodiscard]] uint64_t FileLength() override;

private:
    // A segment, and what is known of its sub-chunks.
    struct SCandidate
    {
        SKrRiffChunkInfo segment;
        std::optional<SKrRiffChunkInfo> lastRead = {};
        std::array<std::optional<SKrRiffChunkInfo>, std::size(kPrivateChunkKinds)> found =
            {}; // first of each
    };

    [[nodiscard]] bool FindCandidates();
    const SKrRiffChunkInfo* FindIn(SCandidate& candidate, uint32_t ckid);
    [[nodiscard]] bool ReadNext(SCandidate& candidate);

    CKrFileCursor& m_cursor;
    IKrFile& m_file;
    std::optional<SCandidate> m_first;
    std::optional<SCandidate> m_last; // empty while the file has one segment
};

#endif
