#include "format/KrPrivateChunks.h"

#include "format/KrBytes.h"
#include "format/KrFrameTables.h"
#include "siblings/KrAVUtils/KrAVUtils.h"

namespace
{
uint8_t ByteAt(std::span<const uint8_t> data, size_t at)
{
    return at < data.size() ? data[at] : 0;
}

bool HasBytes(std::span<const uint8_t> data, const SKrFixedBytes& fixed)
{
    for (size_t index = 0; index < fixed.bytes.size(); ++index)
    {
        if (ByteAt(data, fixed.at + index) != fixed.bytes[index])
            return false;
    }
    return true;
}

bool IsReadable(const SKrPrivateChunkKind& kind, std::span<const uint8_t> data)
{
    const auto isWrong = [data](const SKrFixedBytes& fixed)
    {
        return fixed.isChecked && !HasBytes(data, fixed);
    };
    return data.size() >= kind.minimumSize && std::ranges::none_of(kind.fixed, isWrong);
}

uint32_t Be32At(std::span<const uint8_t> data, size_t at)
{
    const uint8_t bytes[] = {ByteAt(data, at), ByteAt(data, at + 1), ByteAt(data, at + 2),
                             ByteAt(data, at + 3)};
    return GetBe32(bytes);
}
} // namespace

SKrPixelAspect PixelAspectToStore(const SKrAviVideoParams& params)
{
    switch (params.aspectMode)
    {
    case kAspectMode4x3:
    case kAspectMode16x9:
    {
        const SKrPixelAspect aspect{params.displayWidth, static_cast<uint32_t>(params.width)};
        const uint32_t divisor = KrComputeGCD(aspect.horizontal, aspect.vertical);
        return divisor == 0 ? aspect : SKrPixelAspect{aspect.horizontal / divisor, aspect.vertical / divisor};
    }
    case kAspectMode648x720:
        return {648, 720};
    case kAspectMode864x720:
        return {864, 720};
    default:
        return {1, 1};
    }
}

std::vector<uint8_t> BuildPrivateChunk(const SKrPrivateChunkKind& kind, uint8_t scanMode,
                                       const SKrPixelAspect& aspect)
{
    std::vector<uint8_t> data(kind.size);
    for (const SKrFixedBytes& fixed : kind.fixed)
        std::ranges::copy(fixed.bytes, &data[fixed.at]);
    if (kind.scanModeAt)
        data[*kind.scanModeAt] = scanMode;
    if (kind.aspectAt)
    {
        PutBe32(&data[*kind.aspectAt], aspect.horizontal);
        PutBe32(&data[*kind.aspectAt + 4], aspect.vertical);
    }
    return data;
}

std::optional<uint8_t> DecodeScanMode(const SKrPrivateChunkKind& kind, std::span<const uint8_t> data)
{
    if (!kind.scanModeAt || !IsReadable(kind, data))
        return std::nullopt;
    return ByteAt(data, *kind.scanModeAt);
}

std::optional<SKrPixelAspect> DecodePixelAspect(const SKrPrivateChunkKind& kind,
                                                std::span<const uint8_t> data)
{
    if (!kind.aspectAt || !IsReadable(kind, data))
        return std::nullopt;
    return SKrPixelAspect{Be32At(data, *kind.aspectAt), Be32At(data, *kind.aspectAt + 4)};
}

EKrScanMode ScanModeOfByte(uint8_t stored)
{
    return stored <= 2 ? static_cast<EKrScanMode>(stored) : EKrScanMode::Unknown;
}
