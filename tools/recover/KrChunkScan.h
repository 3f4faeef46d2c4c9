// The whole data chunks of a damaged file, found without its indexes and without trust in the sizes of its
// lists: one pass, in time that grows with the file's length.
#ifndef KR_TOOLS_RECOVER_KRCHUNKSCAN_H
#define KR_TOOLS_RECOVER_KRCHUNKSCAN_H

#include "tools/input/KrFileWindow.h"
#include "tools/input/KrStreamChunks.h"
#include "tools/recover/KrChunkMark.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KrTool
{
class CKrProgress;

// A stretch of the file that belongs to no whole chunk.
struct SKrDamage
{
    uint64_t offset = 0;
    uint64_t bytes = 0;
};

// What was found of one stream, in file order.
struct SKrFoundStream
{
    Chunks chunks;
    std::vector<size_t> breaks; // the chunks that follow damage
    uint64_t emptyChunks = 0;
    uint64_t cutChunks = 0; // their headers are there, their data not in full
};

using StreamKey = std::pair<uint32_t, EKrStreamKind>; // its number, and what its chunks hold

struct SKrScanResult
{
    std::map<StreamKey, SKrFoundStream> streams;
    uint64_t otherChunks = 0; // of streams, with neither video nor audio
    uint64_t bytesSkipped = 0;
    uint64_t damageCount = 0;
    std::vector<SKrDamage> damages; // the first kMostDamagesKept
};

constexpr size_t kMostDamagesKept = 100;

class CKrChunkScan
{
public:
    // `streamCount`: streams that the headers describe, 0 when they are lost.
    CKrChunkScan(const std::shared_ptr<IKrFile>& file, const std::string& path, uint64_t length,
                 size_t streamCount, CKrProgress& progress);

    SKrScanResult Run();

private:
    // What must follow a chunk. Any four letters can be an id, but the entries of indexes look like chunks
    // too, and dark pictures are full of zeros.
    enum class EKrFollower
    {
        Known, // the file's end, or the header of a chunk that AVI files have
        KnownOrZeros,
        Any // also a chunk of an id of any letters
    };

    SKrMark MarkAt(uint64_t position);
    [[nodiscard]] bool IsFollower(uint64_t position, EKrFollower wanted);
    std::optional<uint64_t> PositionBehind(uint64_t end, uint32_t size, EKrFollower wanted);
    [[nodiscard]] bool IsOldIndex(const SKrMark& chunk);
    void TakeChunk(const SKrMark& chunk);
    void TakeDoubtful(const SKrMark& chunk);
    void Keep(const SKrMark& chunk);
    void SkipTo(uint64_t position);

    uint64_t Search(uint64_t from);
    std::optional<uint64_t> SearchWindow(uint64_t& position);
    [[nodiscard]] bool IsBehindIndexEntry(uint64_t position, uint32_t size);
    [[nodiscard]] bool IsConfirmed(const SKrMark& mark, uint64_t position);

    const uint64_t m_length;
    const size_t m_streamCount;
    CKrProgress& m_progress;
    CKrFileWindow m_headers;
    CKrFileWindow m_searched;
    uint64_t m_position = 0;
    uint64_t m_searchedFrom = 1; // a search from here to there would find what the last one found
    uint64_t m_found = 0;
    std::map<StreamKey, uint64_t> m_damagesBefore; // each stream's last chunk
    SKrScanResult m_result;
};
} // namespace KrTool

#endif
