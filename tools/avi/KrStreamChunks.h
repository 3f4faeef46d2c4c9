// The chunks of one stream: from its index or, where it has none, found by scanning the file.
#ifndef KR_TOOLS_AVI_KRSTREAMCHUNKS_H
#define KR_TOOLS_AVI_KRSTREAMCHUNKS_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "tools/avi/KrChunkIds.h"
#include "tools/avi/KrStreamIndex.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrByteSource;
class CKrProgress;
class CKrReport;
struct SKrAviFacts;

struct SKrFoundChunks
{
    Chunks chunks;
    bool cut = false;  // there were more chunks than are kept
    uint64_t lost = 0; // chunks whose data are not all there
};

// Scans the whole file for the chunks of a stream, empty ones included. `streamCount`: streams that the
// headers describe; `kind`: nothing for chunks of any content.
SKrFoundChunks ScanForChunks(const CKrByteSource& file, size_t streamCount, uint32_t stream,
                             std::optional<EKrStreamKind> kind, CKrProgress& progress);

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

// The stream that the user named, or the default one. Throws CKrToolError when the file has no such stream.
uint32_t ChooseStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                      std::optional<uint32_t> wanted);

// Throws CKrToolError when the headers describe other streams than this one.
void CheckStreamNumber(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t wanted);

// The chunks of the stream that ChooseStream gives. Defects are reported; an index with wrong entries, or
// without chunks that the header announces and the file has, is not used.
SKrStreamChunks ChunksOfStream(const CKrAviFile& file, const SKrAviFacts& facts, EKrStreamKind kind,
                               std::optional<uint32_t> wanted, CKrReport& report, CKrProgress& progress);

// False for chunks larger in total than the file: copying them could fill any disk.
bool IsPlausible(const CKrByteSource& file, const Chunks& index);
uint64_t TotalBytes(const Chunks& chunks);

// Chunks that extend past the end of the file.
uint64_t CountCutChunks(const CKrByteSource& file, const Chunks& chunks);
} // namespace KrTool

#endif
