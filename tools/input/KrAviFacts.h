// What a file's headers say, read through the chunk tree: the segments, every stream whether or not the
// reader's index operations cover it, and the kinds of index.
#ifndef KR_TOOLS_INPUT_KRAVIFACTS_H
#define KR_TOOLS_INPUT_KRAVIFACTS_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;

constexpr uint32_t kNoFrameRate = UINT32_MAX;

// One stream, from its 'strl' list. `number` is the list's place among the stream lists.
struct SKrStreamHeader
{
    uint32_t number = 0;
    bool hasHeader = false; // a 'strh' was there; without it the fields below are 0
    uint32_t type = 0;      // 'vids', 'auds', ...
    uint32_t handler = 0;
    uint32_t flags = 0;
    uint32_t scale = 0;
    uint32_t rate = 0;                          // rate / scale: units per second
    uint32_t start = 0;                         // units before the stream starts
    uint32_t length = 0;                        // units
    uint32_t sampleSize = 0;                    // bytes of a unit; 0: each chunk is a unit
    std::vector<uint8_t> format;                // 'strf', cut at kLargestFormat
    std::string name;                           // 'strn'
    std::optional<uint64_t> superIndexPosition; // of the 'indx' chunk

    bool IsVideo() const;
    bool IsAudio() const;
};

// That a stream starts late, and how late: "stream 1 starts 24000 units (0.500 s) late". The number is the
// one that its chunks have, which is not the header's where other headers are lost.
std::string StartText(const SKrStreamHeader& stream, uint32_t number);

struct SKrAviFacts
{
    std::vector<SKrRiffChunkInfo> segments;
    bool hasMainHeader = false; // an 'avih' was there
    uint32_t mainFlags = 0;
    uint32_t declaredFrames = 0;                 // by 'avih': frames of the file, or of its first segment
    uint32_t declaredStreams = 0;                // by 'avih'
    std::optional<uint32_t> declaredFramesInAll; // by the OpenDML header
    std::vector<SKrStreamHeader> streams;
    std::optional<SKrRiffChunkInfo> movi; // of the first segment
    std::optional<SKrRiffChunkInfo> idx1;
    bool cut = false; // the headers have more chunks or streams than are looked at
};

constexpr uint32_t kLargestFormat = 0x10000;
constexpr size_t kMostStreams = 256;

// "AVI 1.0", "AVI with OpenDML", or "bare chunks" of a file without headers.
std::string KindOf(const SKrAviFacts& facts);

SKrAviFacts ReadFacts(const CKrAviFile& file, CKrProgress& progress);

// An audio format as 'strf' holds it.
struct SKrAudioFormat
{
    uint16_t tag = 0; // the extensible format's own tag is resolved
    uint16_t channels = 0;
    uint32_t samplesPerSec = 0;
    uint32_t avgBytesPerSec = 0;
    uint16_t blockAlign = 0;
    uint16_t bitsPerSample = 0;
    bool extensible = false;

    // Whether each sample frame takes blockAlign bytes.
    bool IsUncompressed() const;
};
SKrAudioFormat AudioFormat(const SKrStreamHeader& stream);

// The streams that the reader chooses for its own answers and indexes; null when there is none.
const SKrStreamHeader* FirstVideoStream(const SKrAviFacts& facts);
const SKrStreamHeader* FirstUsableAudioStream(const SKrAviFacts& facts);

// For users of a file that has sound, but none that the reader indexes; empty for others.
std::string UnindexedSoundText(const SKrAviFacts& facts);
} // namespace KrTool

#endif
