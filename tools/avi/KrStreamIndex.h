// Indexes as the reader loads them: of each stream, and of the two streams that it chooses itself.
#ifndef KR_TOOLS_AVI_KRSTREAMINDEX_H
#define KR_TOOLS_AVI_KRSTREAMINDEX_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "tools/avi/KrChunkIds.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrAviFile;

using Chunks = std::vector<SKrChunkIndexEntry>;

inline constexpr uint32_t kKeyFrame = 1; // of SKrStreamIndexEntry::flags

struct SKrStreamIndex
{
    std::vector<SKrStreamIndexEntry> entries; // empty chunks among them
    uint32_t outside = 0; // entries that were left out: their data are not all in the file
};

// The index of any stream from an entry on; nothing when the stream has none.
std::optional<SKrStreamIndex> LoadStreamIndex(const CKrAviFile& file, uint32_t stream, uint64_t first = 0);

Chunks ChunksOfIndex(const SKrStreamIndex& index);

// What the reader records of a stream; nothing when there is no such stream.
std::optional<SKrStreamProperties> StreamProperties(const CKrAviFile& file, uint32_t stream);

// The index that hosts get for the reader's video or audio stream; nothing when they get none. `pattern` is
// for audio and may be null.
std::optional<Chunks> LoadIndex(const CKrAviFile& file, EKrStreamKind kind,
                                SKrAudioChunkPattern* pattern = nullptr);
} // namespace KrTool

#endif
