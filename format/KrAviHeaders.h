// Header records of AVI 1.0: the contents of 'avih', 'strh' and 'strf'.
#ifndef KR_FORMAT_KRAVIHEADERS_H
#define KR_FORMAT_KRAVIHEADERS_H

#include "format/KrLimits.h"

#include <cstddef>
#include <cstdint>
#include <span>

class CKrByteReader;
class CKrByteWriter;

inline constexpr uint32_t kAvifHasIndex = 0x10;
inline constexpr uint32_t kAvifMustUseIndex = 0x20;

// 'avih'
struct SKrMainHeader
{
    static constexpr size_t kEncodedSize = 56;

    uint32_t microSecPerFrame = 0;
    uint32_t maxBytesPerSec = 0;
    uint32_t paddingGranularity = 0;
    uint32_t flags = 0;
    uint32_t totalFrames = 0;
    uint32_t initialFrames = 0;
    uint32_t streams = 0;
    uint32_t suggestedBufferSize = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    // four reserved 32-bit words end it: written as 0, ignored when read
};

[[nodiscard]] bool Decode(CKrByteReader& in, SKrMainHeader& header);
void Encode(CKrByteWriter& out, const SKrMainHeader& header);

// 'strh'
struct SKrStreamHeader
{
    static constexpr size_t kEncodedSize = 56;
    static constexpr size_t kWideEncodedSize = 64; // a variant in the field: rcFrame in 32-bit values

    uint32_t type = 0; // 'vids', 'auds', ...
    uint32_t handler = 0;
    uint32_t flags = 0;
    uint16_t priority = 0;
    uint16_t language = 0;
    uint32_t initialFrames = 0;
    uint32_t scale = 0;
    uint32_t rate = 0;
    uint32_t start = 0;
    uint32_t length = 0;
    uint32_t suggestedBufferSize = 0;
    uint32_t quality = 0;
    uint32_t sampleSize = 0;
    int16_t frame[4] = {}; // left, top, right, bottom
};

// Decodes either variant, told apart by the number of bytes: the wide one keeps the low halves of rcFrame.
[[nodiscard]] bool DecodeStreamHeader(std::span<const uint8_t> bytes, SKrStreamHeader& header);
void Encode(CKrByteWriter& out, const SKrStreamHeader& header);

// 'strf' of a video stream: BITMAPINFOHEADER
struct SKrBitmapHeader
{
    static constexpr size_t kEncodedSize = 40;

    uint32_t size = 40;
    int32_t width = 0;
    int32_t height = 0;
    uint16_t planes = 1;
    uint16_t bitCount = 0;
    uint32_t compression = 0;
    uint32_t sizeImage = 0;
    int32_t xPelsPerMeter = 0;
    int32_t yPelsPerMeter = 0;
    uint32_t colorsUsed = 0;
    uint32_t colorsImportant = 0;
};

// Missing bytes read as zeros: some writers store a shorter structure.
SKrBitmapHeader DecodeBitmapHeader(std::span<const uint8_t> bytes);
void Encode(CKrByteWriter& out, const SKrBitmapHeader& header);

// 'strf' of an audio stream: WAVEFORMATEX, without the bytes that may follow it
struct SKrWaveFormat
{
    static constexpr size_t kEncodedSize = 18;

    uint16_t formatTag = 0;
    uint16_t channels = 0;
    uint32_t samplesPerSec = 0;
    uint32_t avgBytesPerSec = 0;
    uint16_t blockAlign = 0;
    uint16_t bitsPerSample = 0;
    uint16_t extraSize = 0; // bytes after the structure
};

// Values of SKrWaveFormat::formatTag
inline constexpr uint16_t kFormatTagPcm = 1;
inline constexpr uint16_t kFormatTagFloat = 3;
inline constexpr uint16_t kFormatTagALaw = 6;
inline constexpr uint16_t kFormatTagMuLaw = 7;
inline constexpr uint16_t kFormatTagExtensible = 0xFFFE; // the tag stands in the sub-format

inline constexpr size_t kShortestWaveFormat = 14; // of older writers: ends in front of bitsPerSample
inline constexpr size_t kPcmWaveFormatSize = 16;  // likewise, in front of extraSize

// Missing bytes read as zeros: the 14- and 16-byte structures of older writers are accepted.
SKrWaveFormat DecodeWaveFormat(std::span<const uint8_t> bytes);

// The same with the tag of the sub-format in place of kFormatTagExtensible.
SKrWaveFormat DecodeResolvedWaveFormat(std::span<const uint8_t> bytes);
void Encode(CKrByteWriter& out, const SKrWaveFormat& format);

#endif
