#include "tools/output/KrPlanarPicture.h"

#include "format/KrAviHeaders.h"
#include "format/KrBytes.h"
#include "format/KrFourCC.h"
#include "tools/output/KrRecordingOptions.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace KrTool
{
namespace
{
using Bytes = std::vector<uint8_t>;

constexpr uint32_t HalfOf(uint32_t size)
{
    return (size + 1) / 2;
}

// A frame as whole as its layout.
Bytes Whole(std::span<const uint8_t> frame, size_t size)
{
    Bytes whole(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(std::min(frame.size(), size)));
    whole.resize(size);
    return whole;
}

// Y, then Cb and Cr at half the size or none. Some programs end rows at multiples of four bytes.
class CKrPlanes420 final : public CKrPlanarPicture
{
public:
    enum class EKrChroma
    {
        None,
        CbCr,
        CrCb,
        Pairs // Cb and Cr by turns
    };

    CKrPlanes420(uint32_t width, uint32_t height, EKrChroma chroma)
        : CKrPlanarPicture(width, height), m_chroma(chroma)
    {
    }

    const char* Space() const override { return m_chroma == EKrChroma::None ? "mono" : "420jpeg"; }

    Bytes Planes(std::span<const uint8_t> frame) const override
    {
        const bool isPadded = frame.size() == SizeOf(4) && SizeOf(4) != SizeOf(1);
        const uint32_t unit = isPadded ? 4 : 1;
        const Bytes whole = Whole(frame, SizeOf(unit));
        const uint32_t stride = Padded(m_width, unit);
        const uint32_t chromaStride = Padded(HalfOf(m_width), unit);
        Bytes planes;
        AddPlane(whole, 0, stride, m_width, m_height, planes);
        const size_t first = size_t{stride} * m_height;
        const size_t second = first + size_t{chromaStride} * HalfOf(m_height);
        if (m_chroma == EKrChroma::Pairs)
            AddPairs(whole, first, planes);
        else if (m_chroma != EKrChroma::None)
            for (const size_t at :
                 m_chroma == EKrChroma::CbCr ? std::array{first, second} : std::array{second, first})
                AddPlane(whole, at, chromaStride, HalfOf(m_width), HalfOf(m_height), planes);
        return planes;
    }

private:
    static uint32_t Padded(uint32_t width, uint32_t unit) { return (width + unit - 1) / unit * unit; }

    size_t SizeOf(uint32_t unit) const
    {
        const size_t luma = size_t{Padded(m_width, unit)} * m_height;
        if (m_chroma == EKrChroma::None)
            return luma;
        return luma + size_t{2} * Padded(HalfOf(m_width), unit) * HalfOf(m_height);
    }

    static void AddPlane(const Bytes& from, size_t at, size_t stride, size_t width, size_t height,
                         Bytes& planes)
    {
        for (size_t row = 0; row < height; ++row)
        {
            const auto start = from.begin() + static_cast<ptrdiff_t>(at + row * stride);
            planes.insert(planes.end(), start, start + static_cast<ptrdiff_t>(width));
        }
    }

    void AddPairs(const Bytes& from, size_t at, Bytes& planes) const
    {
        const size_t pairs = size_t{HalfOf(m_width)} * HalfOf(m_height);
        for (const size_t which : {size_t{0}, size_t{1}})
        {
            for (size_t pair = 0; pair < pairs; ++pair)
                planes.push_back(from[std::min(at + pair * 2 + which, from.size() - 1)]);
        }
    }

    const EKrChroma m_chroma;
};

// Four bytes for two pixels, in an order of its own.
class CKrPacked422 final : public CKrPlanarPicture
{
public:
    using Order = std::array<uint8_t, 4>; // the places of Y, the second Y, Cb and Cr

    CKrPacked422(uint32_t width, uint32_t height, Order order)
        : CKrPlanarPicture(width, height), m_order(order)
    {
    }

    const char* Space() const override { return "422"; }

    Bytes Planes(std::span<const uint8_t> frame) const override
    {
        const size_t stride = size_t{HalfOf(m_width)} * 4;
        const Bytes whole = Whole(frame, stride * m_height);
        Bytes planes;
        for (size_t row = 0; row < m_height; ++row)
        {
            for (size_t column = 0; column < m_width; ++column)
                planes.push_back(whole[row * stride + column / 2 * 4 + m_order[column % 2]]);
        }
        for (const size_t plane : {size_t{2}, size_t{3}})
        {
            for (size_t pair = 0; pair < size_t{HalfOf(m_width)} * m_height; ++pair)
                planes.push_back(whole[pair * 4 + m_order[plane]]);
        }
        return planes;
    }

private:
    const Order m_order;
};

// v210: six pixels of ten bits in sixteen bytes, rows in multiples of 128 bytes.
class CKrPackedTenBits final : public CKrPlanarPicture
{
public:
    CKrPackedTenBits(uint32_t width, uint32_t height) : CKrPlanarPicture(width, height) {}

    const char* Space() const override { return "422p10"; }

    Bytes Planes(std::span<const uint8_t> frame) const override
    {
        const size_t stride = (size_t{m_width} + 47) / 48 * 128;
        const Bytes whole = Whole(frame, stride * m_height);
        Bytes luma;
        std::array<Bytes, 2> chroma;
        for (size_t row = 0; row < m_height; ++row)
        {
            // Samples come as Cb Y Cr Y; three of them in each 32 bits.
            for (size_t sample = 0; sample < size_t{HalfOf(m_width)} * 4; ++sample)
            {
                const uint32_t word = GetLe32(&whole[row * stride + sample / 3 * 4]);
                const auto value = static_cast<uint16_t>(word >> (10 * (sample % 3)) & 0x3FF);
                const bool isLuma = sample % 2 == 1;
                if (isLuma && sample / 2 >= m_width)
                    continue;
                Bytes& plane = isLuma ? luma : chroma[sample % 4 / 2];
                plane.push_back(static_cast<uint8_t>(value));
                plane.push_back(static_cast<uint8_t>(value >> 8));
            }
        }
        for (const Bytes& plane : chroma)
            luma.insert(luma.end(), plane.begin(), plane.end());
        return luma;
    }
};

// Rows of Windows bitmaps: 8 bits with a palette, 15 bits, 24 or 32. The colours become those of BT.601, with
// the range of video.
class CKrBitmapPicture final : public CKrPlanarPicture
{
public:
    CKrBitmapPicture(uint32_t width, uint32_t height, uint32_t bits, bool isTopDown, Bytes palette)
        : CKrPlanarPicture(width, height), m_bits(bits), m_isTopDown(isTopDown), m_palette(std::move(palette))
    {
    }

    const char* Space() const override { return "444"; }

    Bytes Planes(std::span<const uint8_t> frame) const override
    {
        const size_t stride = (size_t{m_width} * m_bits + 31) / 32 * 4;
        const Bytes whole = Whole(frame, stride * m_height);
        const auto pixels = static_cast<size_t>(Pixels());
        Bytes planes(pixels * 3);
        for (size_t row = 0; row < m_height; ++row)
        {
            const uint8_t* const from = &whole[(m_isTopDown ? row : m_height - 1 - row) * stride];
            for (size_t column = 0; column < m_width; ++column)
            {
                const size_t to = row * m_width + column;
                const auto [red, green, blue] = ColourAt(from, column);
                planes[to] = Level(66 * red + 129 * green + 25 * blue, 16);
                planes[pixels + to] = Level(-38 * red - 74 * green + 112 * blue, 128);
                planes[2 * pixels + to] = Level(112 * red - 94 * green - 18 * blue, 128);
            }
        }
        return planes;
    }

private:
    struct SKrColour
    {
        int red, green, blue;
    };

    static uint8_t Level(int scaled, int offset)
    {
        return static_cast<uint8_t>(((scaled + 128) >> 8) + offset);
    }

    SKrColour ColourAt(const uint8_t* row, size_t column) const
    {
        if (m_bits == 8)
            return Bgr(&m_palette[size_t{row[column]} * 4]);
        if (m_bits != 16)
            return Bgr(row + column * (m_bits / 8));
        const int pixel = GetLe16(row + column * 2);
        const auto widened = [pixel](int shift)
        {
            const int part = pixel >> shift & 31;
            return part << 3 | part >> 2;
        };
        return {widened(10), widened(5), widened(0)};
    }

    static SKrColour Bgr(const uint8_t* bytes) { return {bytes[2], bytes[1], bytes[0]}; }

    const uint32_t m_bits;
    const bool m_isTopDown;
    const Bytes m_palette; // 256 colours of four bytes
};

std::unique_ptr<CKrPlanarPicture> ForBitmap(const SKrBitmapHeader& bitmap, uint32_t width, uint32_t height,
                                            std::span<const uint8_t> format)
{
    const uint32_t bits = bitmap.bitCount;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return nullptr;
    constexpr size_t kPaletteBytes = 256 * 4;
    const auto colours = format.subspan(std::min<size_t>(format.size(), SKrBitmapHeader::kEncodedSize));
    return std::make_unique<CKrBitmapPicture>(width, height, bits, bitmap.height < 0,
                                              Whole(colours, kPaletteBytes));
}

std::unique_ptr<CKrPlanarPicture> ForFourCc(uint32_t fourCc, uint32_t width, uint32_t height)
{
    using enum CKrPlanes420::EKrChroma;
    switch (fourCc)
    {
    case KrFourCC("I420"):
    case KrFourCC("IYUV"):
        return std::make_unique<CKrPlanes420>(width, height, CbCr);
    case KrFourCC("YV12"):
        return std::make_unique<CKrPlanes420>(width, height, CrCb);
    case KrFourCC("NV12"):
        return std::make_unique<CKrPlanes420>(width, height, Pairs);
    case KrFourCC("Y800"):
    case KrFourCC("Y8  "):
    case KrFourCC("GREY"):
        return std::make_unique<CKrPlanes420>(width, height, None);
    case KrFourCC("YUY2"):
    case KrFourCC("YUYV"):
    case KrFourCC("YUNV"):
        return std::make_unique<CKrPacked422>(width, height, CKrPacked422::Order{0, 2, 1, 3});
    case KrFourCC("UYVY"):
    case KrFourCC("UYNV"):
    case KrFourCC("HDYC"):
    case KrFourCC("Y422"):
        return std::make_unique<CKrPacked422>(width, height, CKrPacked422::Order{1, 3, 0, 2});
    case KrFourCC("v210"):
        return std::make_unique<CKrPackedTenBits>(width, height);
    default:
        return nullptr;
    }
}
} // namespace

std::unique_ptr<CKrPlanarPicture> CKrPlanarPicture::ForFormat(std::span<const uint8_t> format)
{
    const SKrBitmapHeader bitmap = DecodeBitmapHeader(format);
    const auto width = static_cast<uint32_t>(std::max(bitmap.width, 0));
    const uint32_t height =
        bitmap.height < 0 ? 0 - static_cast<uint32_t>(bitmap.height) : static_cast<uint32_t>(bitmap.height);
    if (width == 0 || height == 0 || width > kMostPixels || height > kMostPixels)
        return nullptr;
    const bool isBitmap = bitmap.compression == 0 || bitmap.compression == kFccDib ||
                          bitmap.compression == KrFourCC("RGB ") || bitmap.compression == KrFourCC("RAW ");
    return isBitmap ? ForBitmap(bitmap, width, height, format) : ForFourCc(bitmap.compression, width, height);
}
} // namespace KrTool
