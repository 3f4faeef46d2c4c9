// The remaining headers of a damaged file, found by their ids regardless of list sizes.
#ifndef KR_TOOLS_RECOVER_KRDAMAGEDHEADERS_H
#define KR_TOOLS_RECOVER_KRDAMAGEDHEADERS_H

#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrStreamChunks.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KrTool
{
class CKrByteSource;

class CKrDamagedHeaders
{
public:
    explicit CKrDamagedHeaders(const CKrByteSource& file);

    // Without the segments and lists.
    [[nodiscard]] const SKrAviFacts& Headers() const { return m_headers; }

    // The header of a stream of a kind. If headers before it are lost its number means nothing, and the
    // only header of that kind is used. Null without one.
    [[nodiscard]] const SKrAviStream* HeaderOf(EKrStreamKind kind, uint32_t number) const;

private:
    void ReadTag(uint32_t tag, size_t data);
    void ReadStreamHeader(size_t data);
    void ReadFormat(size_t data);
    SKrAviStream& CurrentStream(bool isTaken);
    [[nodiscard]] size_t NextTag(size_t from) const;
    [[nodiscard]] std::span<const uint8_t> From(size_t data) const;

    std::vector<uint8_t> m_bytes; // up to the first list of data chunks
    SKrAviFacts m_headers;
    bool m_startsStream = true; // the next header belongs to a new stream
};
} // namespace KrTool

#endif
