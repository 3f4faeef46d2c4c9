// Uncompressed pictures of AVI files as planes of Y, Cb and Cr.
#ifndef KR_TOOLS_OUTPUT_KRPLANARPICTURE_H
#define KR_TOOLS_OUTPUT_KRPLANARPICTURE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
class CKrPlanarPicture
{
public:
    virtual ~CKrPlanarPicture() = default;

    // For the picture format of a stream ('strf'); null for frames that are not uncompressed, or in a layout
    // that is not known.
    static std::unique_ptr<CKrPlanarPicture> ForFormat(std::span<const uint8_t> format);

    uint32_t Width() const { return m_width; }
    uint32_t Height() const { return m_height; }

    // The colour space as YUV4MPEG2 names it: "420jpeg".
    virtual const char* Space() const = 0;

    // The planes of a frame, one after the other. A frame that is too short is continued by zeros.
    virtual std::vector<uint8_t> Planes(std::span<const uint8_t> frame) const = 0;

protected:
    CKrPlanarPicture(uint32_t width, uint32_t height) : m_width(width), m_height(height) {}
    uint64_t Pixels() const { return uint64_t{m_width} * m_height; }

    const uint32_t m_width;
    const uint32_t m_height;
};
} // namespace KrTool

#endif
