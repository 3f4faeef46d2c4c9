// The contents of a file's headers, read through the chunk tree: the segments, every stream whether or not
// the reader's index operations cover it, and the kinds of index.
#ifndef KR_TOOLS_AVI_KRAVIFACTS_H
#define KR_TOOLS_AVI_KRAVIFACTS_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrAviHeaders.h"
#include "format/KrFourCC.h"
#include "tools/avi/KrChunkIds.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;

// One stream, from its 'strl' list. Without a 'strh' the fields of its header are 0.
struct SKrAviStream : SKrStreamHeader
{
    uint32_t number = 0; // the list's place among the stream lists
    bool hasHeader = false;
    std::vector<uint8_t> format;                // 'strf', cut at kLargestFormat
    std::string name;                           // 'strn'
    std::optional<uint64_t> superIndexPosition; // of the 'indx' chunk

    [[nodiscard]] bool IsVideo() const { return type == kFccVids; }
    [[nodiscard]] bool IsAudio() const { return type == kFccAuds; }
    [[nodiscard]] bool IsOfKind(EKrStreamKind kind) const { return kind == Kind(); }
    [[nodiscard]] EKrStreamKind Kind() const
    {
        if (IsVideo())
            return EKrStreamKind::Video;
        return IsAudio() ? EKrStreamKind::Audio : EKrStreamKind::Other;
    }
    void TakeHeader(std::span<const uint8_t> bytes);
};

// How late a stream starts: "stream 1 starts 24000 units (0.500 s) late". The number is the
// one that its chunks have, which is not the header's where other headers are lost.
std::string StartText(const SKrAviStream& stream, uint32_t number);

struct SKrAviFacts
{
    std::vector<SKrRiffChunkInfo> segments;
    bool hasMainHeader = false; // an 'avih' was there
    SKrMainHeader mainHeader;
    std::optional<uint32_t> declaredFramesInAll; // according to the OpenDML header
    std::vector<SKrAviStream> streams;
    std::optional<SKrRiffChunkInfo> movi; // of the first segment
    std::optional<SKrRiffChunkInfo> idx1;
    bool cut = false; // the headers have too many chunks or streams
};

constexpr uint32_t kLargestFormat = 0x10000;

// "AVI 1.0", "AVI with OpenDML", or "bare chunks" of a file without headers.
std::string KindOf(const SKrAviFacts& facts);

SKrAviFacts ReadFacts(const CKrAviFile& file, CKrProgress& progress);

// An audio format as 'strf' holds it, with the extensible format's own tag.
struct SKrAudioFormat : SKrWaveFormat
{
    // Whether each sample frame takes blockAlign bytes.
    bool IsUncompressed() const;
};
SKrAudioFormat AudioFormat(const SKrAviStream& stream);

// Whether a picture of zeros is damage: it is a black one in uncompressed formats of red, green and blue, and
// of gray.
bool IsCodedPicture(uint32_t compression);

// The frames that the headers announce.
uint32_t DeclaredFrames(const SKrAviFacts& facts);

// The first stream of a kind; null when there is none.
const SKrAviStream* FirstStream(const std::vector<SKrAviStream>& streams, EKrStreamKind kind);

// The streams that the reader chooses for its own answers and indexes; null when there is none.
const SKrAviStream* FirstVideoStream(const SKrAviFacts& facts);
const SKrAviStream* FirstUsableAudioStream(const SKrAviFacts& facts);

// A note for files whose sound the reader cannot index; empty for others.
std::string UnindexedSoundText(const SKrAviFacts& facts);
} // namespace KrTool

#endif
