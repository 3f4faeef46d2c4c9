#include "format/KrAviHeaders.h"

#include "format/KrBytes.h"

#include <algorithm>

bool Decode(CKrByteReader& in, SKrMainHeader& header)
{
    header.microSecPerFrame = in.U32Le();
    header.maxBytesPerSec = in.U32Le();
    header.paddingGranularity = in.U32Le();
    header.flags = in.U32Le();
    header.totalFrames = in.U32Le();
    header.initialFrames = in.U32Le();
    header.streams = in.U32Le();
    header.suggestedBufferSize = in.U32Le();
    header.width = in.U32Le();
    header.height = in.U32Le();
    for (int reserved = 0; reserved < 4; ++reserved)
        in.U32Le();
    return in.Ok();
}

void Encode(CKrByteWriter& out, const SKrMainHeader& header)
{
    out.U32Le(header.microSecPerFrame);
    out.U32Le(header.maxBytesPerSec);
    out.U32Le(header.paddingGranularity);
    out.U32Le(header.flags);
    out.U32Le(header.totalFrames);
    out.U32Le(header.initialFrames);
    out.U32Le(header.streams);
    out.U32Le(header.suggestedBufferSize);
    out.U32Le(header.width);
    out.U32Le(header.height);
    for (int reserved = 0; reserved < 4; ++reserved)
        out.U32Le(0);
}

bool DecodeStreamHeader(std::span<const uint8_t> bytes, SKrStreamHeader& header)
{
    const bool wide = bytes.size() >= SKrStreamHeader::kWideEncodedSize;
    CKrByteReader in(bytes);
    header.type = in.U32Le();
    header.handler = in.U32Le();
    header.flags = in.U32Le();
    header.priority = in.U16Le();
    header.language = in.U16Le();
    header.initialFrames = in.U32Le();
    header.scale = in.U32Le();
    header.rate = in.U32Le();
    header.start = in.U32Le();
    header.length = in.U32Le();
    header.suggestedBufferSize = in.U32Le();
    header.quality = in.U32Le();
    header.sampleSize = in.U32Le();
    for (int16_t& edge : header.frame)
        edge = static_cast<int16_t>(wide ? in.U32Le() : in.U16Le());
    return in.Ok();
}

void Encode(CKrByteWriter& out, const SKrStreamHeader& header)
{
    out.U32Le(header.type);
    out.U32Le(header.handler);
    out.U32Le(header.flags);
    out.U16Le(header.priority);
    out.U16Le(header.language);
    out.U32Le(header.initialFrames);
    out.U32Le(header.scale);
    out.U32Le(header.rate);
    out.U32Le(header.start);
    out.U32Le(header.length);
    out.U32Le(header.suggestedBufferSize);
    out.U32Le(header.quality);
    out.U32Le(header.sampleSize);
    for (const int16_t edge : header.frame)
        out.U16Le(static_cast<uint16_t>(edge));
}

SKrBitmapHeader DecodeBitmapHeader(std::span<const uint8_t> bytes)
{
    CKrByteReader in(bytes);
    SKrBitmapHeader header;
    header.size = in.U32Le();
    header.width = static_cast<int32_t>(in.U32Le());
    header.height = static_cast<int32_t>(in.U32Le());
    header.planes = in.U16Le();
    header.bitCount = in.U16Le();
    header.compression = in.U32Le();
    header.sizeImage = in.U32Le();
    header.xPelsPerMeter = static_cast<int32_t>(in.U32Le());
    header.yPelsPerMeter = static_cast<int32_t>(in.U32Le());
    header.colorsUsed = in.U32Le();
    header.colorsImportant = in.U32Le();
    return header;
}

void Encode(CKrByteWriter& out, const SKrBitmapHeader& header)
{
    out.U32Le(header.size);
    out.U32Le(static_cast<uint32_t>(header.width));
    out.U32Le(static_cast<uint32_t>(header.height));
    out.U16Le(header.planes);
    out.U16Le(header.bitCount);
    out.U32Le(header.compression);
    out.U32Le(header.sizeImage);
    out.U32Le(static_cast<uint32_t>(header.xPelsPerMeter));
    out.U32Le(static_cast<uint32_t>(header.yPelsPerMeter));
    out.U32Le(header.colorsUsed);
    out.U32Le(header.colorsImportant);
}

SKrWaveFormat DecodeWaveFormat(std::span<const uint8_t> bytes)
{
    CKrByteReader in(bytes);
    SKrWaveFormat format;
    format.formatTag = in.U16Le();
    format.channels = in.U16Le();
    format.samplesPerSec = in.U32Le();
    format.avgBytesPerSec = in.U32Le();
    format.blockAlign = in.U16Le();
    format.bitsPerSample = in.U16Le();
    format.extraSize = in.U16Le();
    return format;
}

SKrWaveFormat DecodeResolvedWaveFormat(std::span<const uint8_t> bytes)
{
    constexpr size_t kSubFormatAt = 24; // after the structure: valid bits and channel mask come first
    SKrWaveFormat format = DecodeWaveFormat(bytes);
    if (format.formatTag == kFormatTagExtensible)
        format.formatTag = CKrByteReader(bytes.subspan(std::min(bytes.size(), kSubFormatAt))).U16Le();
    return format;
}

void Encode(CKrByteWriter& out, const SKrWaveFormat& format)
{
    out.U16Le(format.formatTag);
    out.U16Le(format.channels);
    out.U32Le(format.samplesPerSec);
    out.U32Le(format.avgBytesPerSec);
    out.U16Le(format.blockAlign);
    out.U16Le(format.bitsPerSample);
    out.U16Le(format.extraSize);
}
