// Uncompressed pictures against the geometry of their format.
#include "format/KrAviHeaders.h"
#include "format/KrFourCC.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/verify/KrVerify.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>

namespace KrTool
{
namespace
{
constexpr uint32_t kRgb = 0; // values of the field for the codec
constexpr uint32_t kRgbWithMasks = 3;
constexpr uint32_t kMasksSize = 12;
constexpr uint32_t kColourSize = 4; // in a palette
constexpr uint64_t kLargestRowPadding = 512;

// Bytes of the rows of a picture.
struct SKrRawGeometry
{
    uint64_t row = 0;
    uint64_t unpadded = 0;
    uint64_t rows = 0;

    uint64_t Bytes() const { return row * rows; }
};

// Nothing for formats that are compressed, or whose rows are not laid out in one known way.
std::optional<SKrRawGeometry> GeometryOf(const SKrBitmapHeader& format)
{
    static constexpr std::array kPacked422 = {KrFourCC("UYVY"), KrFourCC("YUY2"), KrFourCC("YUYV"),
                                              KrFourCC("HDYC"), KrFourCC("2vuy"), KrFourCC("YVYU")};
    static constexpr std::array<uint16_t, 6> kRgbBits = {1, 4, 8, 16, 24, 32};
    if (format.width <= 0 || format.height == 0)
        return std::nullopt;
    const auto width = static_cast<uint64_t>(format.width);
    SKrRawGeometry geometry;
    geometry.rows = static_cast<uint64_t>(std::llabs(format.height));
    const bool isRgb = format.compression == kRgb || format.compression == kRgbWithMasks;
    if (isRgb && std::ranges::find(kRgbBits, format.bitCount) != kRgbBits.end())
    {
        geometry.unpadded = (width * format.bitCount + 7) / 8;
        geometry.row = (geometry.unpadded + 3) / 4 * 4;
    }
    else if (format.compression == KrFourCC("v210"))
    {
        geometry.unpadded = (width + 5) / 6 * 16; // 16 bytes hold six pixels
        geometry.row = (geometry.unpadded + 127) / 128 * 128;
    }
    else if (std::ranges::find(kPacked422, format.compression) != kPacked422.end())
    {
        geometry.unpadded = (width + 1) / 2 * 4;
        geometry.row = geometry.unpadded;
    }
    return geometry.row != 0 ? std::optional(geometry) : std::nullopt;
}

std::string RowsText(uint64_t bytes)
{
    return Format("rows of {}", Counted(bytes, "byte"));
}

void CheckColours(const SKrVerifyContext& context, const SKrPlacedChunk& chunk, const SKrBitmapHeader& format)
{
    constexpr uint32_t kFull = SKrBitmapHeader::kEncodedSize;
    uint32_t colours = 0;
    if (format.compression == kRgb && (format.bitCount == 1 || format.bitCount == 4 || format.bitCount == 8))
        colours = format.colorsUsed != 0 ? std::min(format.colorsUsed, 1u << format.bitCount)
                                         : 1u << format.bitCount;
    const uint32_t masks = format.compression == kRgbWithMasks ? kMasksSize : 0;
    const uint32_t needed = kFull + masks + colours * kColourSize;
    if (chunk.size < needed)
        context.results.Add(EKrCheck::StrfPalette, chunk.position, Counted(needed, "byte"),
                            Counted(chunk.size, "byte"));
}

void CheckPayload(const SKrVerifyContext& context, const SKrDataChunk& chunk, const SKrRawGeometry& geometry)
{
    if (chunk.size == geometry.Bytes())
        return;
    const uint64_t row = chunk.size % geometry.rows == 0 ? chunk.size / geometry.rows : 0;
    const bool isOtherRow =
        row == geometry.unpadded || (row > geometry.row && row <= geometry.row + kLargestRowPadding);
    if (isOtherRow)
        context.results.Add(EKrCheck::RawRowLength, chunk.position,
                            [&] {
                                return SKrExpectation{RowsText(geometry.row), RowsText(row)};
                            });
    else
        context.results.Add(
            chunk.size < geometry.Bytes() ? EKrCheck::RawPictureShort : EKrCheck::RawPictureLong,
            chunk.position,
            [&] {
                return SKrExpectation{Counted(geometry.Bytes(), "byte"), Counted(chunk.size, "byte")};
            });
}
} // namespace

void CheckPictures(const SKrVerifyContext& context)
{
    const std::vector<SKrVerifyStream>& streams = context.model.streams;
    std::vector<std::optional<SKrRawGeometry>> geometries(streams.size());
    for (size_t number = 0; number < streams.size(); ++number)
    {
        const std::optional<SKrPlacedChunk>& chunk = streams[number].format;
        if (streams[number].type != kFccVids || !chunk || chunk->size < SKrBitmapHeader::kEncodedSize)
            continue;
        const SKrBitmapHeader format =
            DecodeBitmapHeader(context.window.At(chunk->Data(), SKrBitmapHeader::kEncodedSize));
        geometries[number] = GeometryOf(format);
        if (geometries[number])
            CheckColours(context, *chunk, format);
    }
    for (const SKrDataChunk& chunk : context.model.chunks)
    {
        const bool isPicture = chunk.kind == EKrContent::Video && chunk.size != 0;
        if (isPicture && chunk.stream < streams.size() && geometries[chunk.stream])
            CheckPayload(context, chunk, *geometries[chunk.stream]);
    }
}
} // namespace KrTool
