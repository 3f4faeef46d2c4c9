// A file to be carried whole: its headers, and all chunks of all its streams. What is wrong with it is
// reported, and entries of its indexes that lead to no chunk are never followed.
#ifndef KR_TOOLS_COPIER_KRCARRIEDSOURCE_H
#define KR_TOOLS_COPIER_KRCARRIEDSOURCE_H

#include "tools/copier/KrCarriedChunk.h"
#include "tools/copier/KrCarriedHeader.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace KrTool
{
class CKrByteSource;
class CKrProgress;
class CKrReport;

struct SKrCarriedSource
{
    std::shared_ptr<const CKrByteSource> file;
    SKrCarriedHeader header;
    CarriedChunks chunks;
    bool isWhole = true; // its headers' counts are those of the chunks
};

// Throws CKrToolError for a file that cannot be read, or without headers.
[[nodiscard]] SKrCarriedSource OpenCarriedSource(const std::string& path, CKrReport& report,
                                                 CKrProgress& progress);

// The first stream of a type ('vids', 'auds'); nothing without one.
[[nodiscard]] std::optional<uint32_t> FirstStreamOfType(const SKrCarriedHeader& header, uint32_t type);

// A stream's chunks that take time: all but palette changes.
[[nodiscard]] uint64_t CountUnits(const CarriedChunks& chunks, uint32_t stream);

// Sets the key-frame flags of chunks that no index names: those of sound, and of frames that say so
// themselves; for other codecs where all frames with an index entry are key frames.
void SetUnknownKeys(const CKrByteSource& file, const SKrCarriedHeader& header, CarriedChunks& chunks,
                    const std::vector<bool>& isKnown);
} // namespace KrTool

#endif
