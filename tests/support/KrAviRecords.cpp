#include "tests/support/KrAviRecords.h"

#include "tests/support/KrByteWriter.h"

#include <stdexcept>

namespace KrTest
{
namespace
{
// The 48 bytes that begin both forms of 'strh'.
CKrTestByteWriter StreamHeaderHead(const SKrTestStreamHeader& header)
{
    CKrTestByteWriter out;
    out.FourCc(header.type).FourCc(header.handler).U32(header.flags);
    out.U16(header.priority).U16(header.language).U32(header.initialFrames);
    out.U32(header.scale).U32(header.rate).U32(header.start).U32(header.length.value_or(0));
    out.U32(header.suggestedBufferSize).U32(header.quality).U32(header.sampleSize);
    return out;
}

KrBytes CutOrExtended(KrBytes bytes, size_t size)
{
    bytes.resize(size);
    return bytes;
}
} // namespace

KrBytes ToBytes(const SKrTestMainHeader& header)
{
    CKrTestByteWriter out;
    out.U32(header.microSecPerFrame).U32(header.maxBytesPerSec).U32(header.paddingGranularity);
    out.U32(header.flags).U32(header.totalFrames.value_or(0)).U32(header.initialFrames);
    out.U32(header.streams.value_or(0)).U32(header.suggestedBufferSize);
    out.U32(header.width).U32(header.height).Fill(16, 0);
    return out.Bytes();
}

KrBytes ToBytes(const SKrTestStreamHeader& header)
{
    CKrTestByteWriter out = StreamHeaderHead(header);
    for (const int32_t side : {header.left, header.top, header.right, header.bottom})
        out.U16(static_cast<uint16_t>(side));
    return out.Bytes();
}

KrBytes ToBytes64(const SKrTestStreamHeader& header)
{
    CKrTestByteWriter out = StreamHeaderHead(header);
    for (const int32_t side : {header.left, header.top, header.right, header.bottom})
        out.U32(static_cast<uint32_t>(side));
    return out.Bytes();
}

KrBytes ToBytes(const SKrTestBitmapInfo& format)
{
    CKrTestByteWriter out;
    out.U32(format.headerSize).U32(static_cast<uint32_t>(format.width));
    out.U32(static_cast<uint32_t>(format.height)).U16(format.planes).U16(format.bitCount);
    out.FourCc(format.compression).U32(format.sizeImage);
    out.U32(static_cast<uint32_t>(format.xPelsPerMeter)).U32(static_cast<uint32_t>(format.yPelsPerMeter));
    out.U32(format.colorsUsed).U32(format.colorsImportant).Raw(format.extra);
    return out.Bytes();
}

KrBytes ToBytes(const SKrTestWaveFormat& format, size_t size)
{
    if (size != 16 && size != 18 && size != 40)
        throw std::invalid_argument("no such audio format structure");
    const bool extensible = size == 40;
    CKrTestByteWriter out;
    out.U16(extensible ? 0xFFFE : format.formatTag).U16(format.channels).U32(format.samplesPerSec);
    out.U32(format.avgBytesPerSec).U16(format.blockAlign).U16(format.bitsPerSample);
    if (size >= 18)
        out.U16(extensible ? 22 : format.cbSize);
    if (extensible)
    {
        static constexpr uint8_t kGuidTail[] = {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
        out.U16(format.bitsPerSample).U32(format.channelMask);
        out.U32(format.formatTag).U16(0).U16(0x0010).Raw(kGuidTail);
    }
    out.Raw(format.extra);
    return out.Bytes();
}

SKrTestWaveFormat PcmFormat(uint16_t channels, uint32_t samplesPerSec, uint16_t bitsPerSample)
{
    SKrTestWaveFormat format;
    format.channels = channels;
    format.samplesPerSec = samplesPerSec;
    format.bitsPerSample = bitsPerSample;
    format.blockAlign = static_cast<uint16_t>(channels * ((bitsPerSample + 7) / 8));
    format.avgBytesPerSec = samplesPerSec * format.blockAlign;
    return format;
}

KrBytes ToBytes(const SKrTestSuperIndex& index)
{
    CKrTestByteWriter out;
    out.U16(index.longsPerEntry).U8(index.subType).U8(index.type);
    out.U32(index.entriesInUse.value_or(static_cast<uint32_t>(index.entries.size())));
    out.FourCc(index.chunkId);
    for (const uint32_t word : index.reserved)
        out.U32(word);
    for (const SKrTestSuperEntry& entry : index.entries)
        out.U64(entry.position).U32(entry.size).U32(entry.duration);
    out.Fill(index.emptySlots * 16, 0);
    return out.Bytes();
}

KrBytes ToBytes(const SKrTestStdIndex& index)
{
    const bool wide = index.subType == 0x10;
    CKrTestByteWriter out;
    out.U16(index.longsPerEntry.value_or(wide ? 6 : 2)).U8(index.subType).U8(index.type);
    out.U32(index.entriesInUse.value_or(static_cast<uint32_t>(index.entries.size())));
    out.FourCc(index.chunkId).U64(index.baseOffset).U32(index.reserved);
    for (const SKrTestStdEntry& entry : index.entries)
    {
        if (wide)
            out.U64(entry.offset).U32(entry.size).Fill(12, 0xEE);
        else
            out.U32(static_cast<uint32_t>(entry.offset)).U32(entry.size | (entry.keyFrame ? 0 : 0x80000000u));
    }
    return out.Bytes();
}

KrBytes ToBytes(const std::vector<SKrTestIdx1Entry>& entries)
{
    CKrTestByteWriter out;
    for (const SKrTestIdx1Entry& entry : entries)
        out.FourCc(entry.chunkId).U32(entry.flags).U32(entry.offset).U32(entry.size);
    return out.Bytes();
}

KrBytes ToBytes(const SKrTestKrlA& chunk)
{
    CKrTestByteWriter out;
    out.Raw(chunk.signature).U8(chunk.byte16).Raw(chunk.mark).U8(chunk.scanMode);
    out.U32Be(chunk.horizontal).U32Be(chunk.vertical);
    return CutOrExtended(out.Bytes(), chunk.size);
}

KrBytes ToBytes(const SKrTestPrmA& chunk)
{
    CKrTestByteWriter out;
    out.FourCc(chunk.atom).U32Be(chunk.atomLength).U32Be(chunk.version);
    out.U32Be(chunk.horizontal).U32Be(chunk.vertical);
    return CutOrExtended(out.Bytes(), chunk.size);
}

KrBytes ToBytes(const SKrTestCtsI& chunk)
{
    CKrTestByteWriter out;
    out.Raw(chunk.version).Fill(8, 0x00).Fill(12, 0xFF).U8(chunk.scanMode);
    return CutOrExtended(out.Bytes(), chunk.size);
}
} // namespace KrTest
