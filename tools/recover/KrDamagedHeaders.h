// What is left of a damaged file's headers: found by their ids, wherever the lists around them end.
#ifndef KR_TOOLS_RECOVER_KRDAMAGEDHEADERS_H
#define KR_TOOLS_RECOVER_KRDAMAGEDHEADERS_H

#include "platform/KrPlatform.h"
#include "tools/input/KrAviFacts.h"
#include "tools/input/KrStreamChunks.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
inline constexpr size_t kBitmapHeaderSize = 40;
inline constexpr size_t kWaveFormatSize = 18;

struct SKrLeftHeaders
{
    uint32_t microSecPerFrame = 0; // the next three are of 'avih'
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t framesInAll = 0; // by the OpenDML header
    std::vector<SKrStreamHeader> streams;
};

class CKrDamagedHeaders
{
public:
    CKrDamagedHeaders(IKrFile& file, const std::string& path, uint64_t length);

    [[nodiscard]] const SKrLeftHeaders& Headers() const { return m_headers; }

    // The header of a stream of a kind. Where the headers before it are lost its number tells nothing, and
    // the only header of that kind is taken. Null when there is none.
    [[nodiscard]] const SKrStreamHeader* HeaderOf(EKrStreamKind kind, uint32_t number) const;

    // The first stream of a kind.
    [[nodiscard]] const SKrStreamHeader* First(EKrStreamKind kind) const;

private:
    void ReadAll();
    void ReadTag(uint32_t tag, size_t data);
    void ReadMainHeader(size_t data);
    void ReadStreamHeader(size_t data);
    void ReadFormat(size_t data);
    SKrStreamHeader& CurrentStream(bool isTaken);
    [[nodiscard]] size_t NextTag(size_t from) const;

    std::vector<uint8_t> m_bytes; // up to the first list of data chunks
    SKrLeftHeaders m_headers;
    bool m_hasMainHeader = false;
    bool m_startsStream = true; // what comes next belongs to another stream than what came before
};
} // namespace KrTool

#endif
