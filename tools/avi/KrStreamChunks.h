// The data chunks of one stream: from the index that the reader loads, or, where there is none, found one
// by one with the reader's chunk search.
#ifndef KR_TOOLS_AVI_KRSTREAMCHUNKS_H
#define KR_TOOLS_AVI_KRSTREAMCHUNKS_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "tools/avi/KrChunkIds.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;
class CKrReport;
struct SKrAviFacts;

using Chunks = std::vector<SKrChunkIndexEntry>;

// Loads the index of the reader's video or audio stream; nothing when the reader cannot. `pattern` is for
// audio and may be null.
std::optional<Chunks> LoadIndex(const CKrAviFile& file, EKrStreamKind kind,
                                SKrAudioChunkPattern* pattern = nullptr);

// The stream that an index entry points at, by the id of the chunk there; nothing when that is no data chunk
// of this kind.
std::optional<uint32_t> StreamOfEntry(const CKrAviFile& file, const SKrChunkIndexEntry& entry,
                                      EKrStreamKind kind);

// The stream of an index, according to its first entry, else to the headers. Nothing for an empty index.
std::optional<uint32_t> StreamOfIndex(const CKrAviFile& file, const SKrAviFacts& facts, const Chunks& index,
                                      EKrStreamKind kind);

struct SKrFoundChunks
{
    Chunks chunks;
    bool cut = false; // there were more chunks than are kept
};

// Searches the whole file for chunks by id. The reader skips empty ones.
SKrFoundChunks SearchChunks(const CKrAviFile& file, const std::vector<uint32_t>& ids, CKrProgress& progress);

struct SKrStreamChunks
{
    uint32_t stream = 0;
    bool fromIndex = false;
    Chunks chunks;
};

// The number that a user gave, in a type that stream numbers have; one that is too large stays too large.
std::optional<uint32_t> StreamNumber(const std::optional<uint64_t>& wanted);

// The source of a stream's chunks, for reports.
const char* SourceName(const SKrStreamChunks& stream);

// The first stream of a kind: the reader's own choice, else one that it does not cover.
std::optional<uint32_t> DefaultStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind);

// The chunks of the stream that the user named, or of the reader's own choice. Defects are reported. Throws
// CKrToolError when the file has no such stream.
SKrStreamChunks ChunksOfStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                               std::optional<uint32_t> wanted, CKrReport& report, CKrProgress& progress);

// False for chunks larger in total than the file: copying them could fill any disk.
bool IsPlausible(const CKrAviFile& file, const Chunks& index);
uint64_t TotalBytes(const Chunks& chunks);

// Chunks that extend past the end of the file.
uint64_t CountCutChunks(const CKrAviFile& file, const Chunks& chunks);
} // namespace KrTool

#endif
