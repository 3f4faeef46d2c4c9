// The ids of chunks that belong to streams: '00dc', '01wb', 'ix00'.
#ifndef KR_TOOLS_AVI_KRCHUNKIDS_H
#define KR_TOOLS_AVI_KRCHUNKIDS_H

#include <cstddef>
#include <cstdint>
#include <optional>

namespace KrTool
{
inline constexpr size_t kMostStreams = 256; // as many as two hexadecimal digits can name

enum class EKrStreamKind
{
    Video,
    Audio,
    Other
};

// The name of a stream's kind in messages.
const char* KindName(EKrStreamKind kind);

// The content of a chunk according to the last two characters of its id.
enum class EKrContent : uint8_t
{
    Video, // 'dc', 'db'
    Audio, // 'wb'
    Text,  // 'tx', 'sb'
    Other  // palette changes and the like, which indexes may leave out
};
std::optional<EKrContent> ContentOf(uint32_t id);
bool IsOfKind(EKrContent content, EKrStreamKind kind);

// The number in the first two characters of an id, as hexadecimal digits.
std::optional<uint32_t> StreamDigits(uint32_t id);

struct SKrDataTag
{
    uint32_t stream = 0;
    EKrContent content = EKrContent::Other;

    // Of video and audio.
    [[nodiscard]] EKrStreamKind Kind() const
    {
        return content == EKrContent::Audio ? EKrStreamKind::Audio : EKrStreamKind::Video;
    }
};

// The meaning of a data chunk's id. Hexadecimal numbers are below 100. A number that `streamCount` excludes
// as hexadecimal is read as decimal.
std::optional<SKrDataTag> DataTagOf(uint32_t id, size_t streamCount);

// "ix00" and the like, and the id that a video chunk of the same stream has.
bool IsStandardIndexId(uint32_t id);
uint32_t DataIdOfIndex(uint32_t indexId);

} // namespace KrTool

#endif
