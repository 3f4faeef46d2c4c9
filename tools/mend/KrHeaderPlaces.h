// Where the fields of a file's headers are, without a look at its data.
#ifndef KR_TOOLS_MEND_KRHEADERPLACES_H
#define KR_TOOLS_MEND_KRHEADERPLACES_H

#include "format/KrAviHeaders.h"
#include "tools/verify/KrVerifyModel.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrByteSource;

// A chunk of headers with its bytes.
struct SKrHeaderChunk : SKrPlacedChunk
{
    std::vector<uint8_t> bytes;

    [[nodiscard]] bool Has(size_t place, size_t count) const
    {
        return place <= bytes.size() && bytes.size() - place >= count;
    }
};

struct SKrHeaderStream
{
    std::optional<SKrHeaderChunk> header; // 'strh'
    std::optional<SKrHeaderChunk> format; // 'strf'
    std::optional<SKrHeaderChunk> shape;  // 'vprp'
    SKrStreamHeader fields;
};

// Consecutive bytes of the file that texts about it can take: an 'INFO' list, filler, or both.
struct SKrTextSpace
{
    uint64_t position = 0;
    uint64_t end = 0;
    bool hasList = false;
    std::vector<SKrHeaderChunk> texts; // of the list
};

struct SKrHeaderPlaces
{
    std::optional<SKrHeaderChunk> mainHeader;
    std::vector<SKrHeaderStream> streams;
    std::vector<SKrHeaderChunk> privateChunks; // where readers look for them
    std::optional<SKrTextSpace> texts;
};

// Throws CKrToolError when the file is not an AVI file, or its headers cannot be walked.
[[nodiscard]] SKrHeaderPlaces FindHeaderPlaces(const CKrByteSource& file);
} // namespace KrTool

#endif
