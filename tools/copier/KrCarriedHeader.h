// All that a file's headers and the chunks outside of 'movi' hold, as bytes: what a copy carries unchanged,
// whether or not kravi knows its meaning.
#ifndef KR_TOOLS_COPIER_KRCARRIEDHEADER_H
#define KR_TOOLS_COPIER_KRCARRIEDHEADER_H

#include "format/KrAviHeaders.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrByteSource;

// A chunk with its bytes; those of a list begin with its type.
struct SKrCarriedBytes
{
    uint32_t id = 0;
    std::vector<uint8_t> data;
};

// One 'strl' list.
struct SKrCarriedStream
{
    std::vector<uint8_t> header;         // 'strh', of any of its sizes
    std::vector<SKrCarriedBytes> chunks; // the others in order, without indexes and fillers
    size_t indexPlace = 0;               // how many of them precede the super index

    // The fields of the header; missing bytes read as zeros.
    [[nodiscard]] SKrStreamHeader Fields() const;
    [[nodiscard]] const std::vector<uint8_t>& Format() const; // 'strf'

    void SetLength(uint32_t units);
    void SetStart(uint32_t units);
    void SetRate(uint32_t rate, uint32_t scale);

private:
    void Set(size_t place, uint32_t value);
};

struct SKrCarriedHeader
{
    std::vector<uint8_t> mainHeader;           // 'avih'
    std::vector<SKrCarriedStream> streams;     // one more than files can number where there are more
    uint64_t streamCount = 0;                  // of all
    std::vector<SKrCarriedBytes> headerChunks; // the others of 'hdrl'
    std::vector<SKrCarriedBytes> openDml;      // the others of 'odml'
    std::optional<uint32_t> totalFrames;       // of 'dmlh'
    std::vector<SKrCarriedBytes> beforeData;   // of the segments, before 'movi' and after it
    std::vector<SKrCarriedBytes> afterData;
    uint64_t dataPosition = 0; // of the first chunk in 'movi'; 0: there is no 'movi'
    uint64_t bytesLeftOut = 0; // of what is no whole chunk, or too large to be carried in memory
};

// Reads the headers of a file, as far as they are whole. Nothing without a 'hdrl' list.
[[nodiscard]] std::optional<SKrCarriedHeader> ReadCarriedHeader(const CKrByteSource& file);
} // namespace KrTool

#endif
