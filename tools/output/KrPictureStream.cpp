#include "tools/output/KrPictureStream.h"

#include "format/KrAviHeaders.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrAviFile.h"
#include "tools/avi/KrCodecNames.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <string_view>

namespace KrTool
{
namespace
{
[[noreturn]] void RefusePictures(const CKrAviFile& file, const SKrAviStream& stream)
{
    const uint32_t compression = DecodeBitmapHeader(stream.format).compression;
    const std::string name(PictureCodecName(compression));
    throw CKrToolError(
        file.Path(),
        Format("--y4m takes uncompressed pictures, in 8 to 32 bits or a YUV layout that kravi knows; stream "
               "{} is {}",
               stream.number, name.empty() ? "'" + FourCcText(compression) + "'" : name));
}

// What the file declares of the order of fields.
char Interlacing(EKrScanMode mode)
{
    switch (mode)
    {
    case EKrScanMode::UpperFieldFirst:
        return 't';
    case EKrScanMode::LowerFieldFirst:
        return 'b';
    case EKrScanMode::Progressive:
        return 'p';
    default:
        return '?';
    }
}
} // namespace

CKrPictureStream::CKrPictureStream(const CKrAviFile& file, const SKrAviStream& stream)
    : m_file(file), m_picture(CKrPlanarPicture::ForFormat(stream.format))
{
    if (m_picture == nullptr)
        RefusePictures(file, stream);
    const uint64_t pixels = uint64_t{m_picture->Width()} * m_picture->Height();
    if (pixels > file.Length())
        throw CKrToolError(file.Path(),
                           Format("it is too short for pictures of {} x {}, as its headers have them",
                                  m_picture->Width(), m_picture->Height()));
    if (stream.rate == 0 || stream.scale == 0)
        throw CKrToolError(file.Path(), "its headers have no frame rate, which --y4m needs");
    auto mode = EKrScanMode::Unknown;
    static_cast<void>(KrRiffUtils::GetAviScanMode(&file.Reader(), mode));
    int horizontal = 0;
    int vertical = 0;
    if (KrRiffUtils::GetAviPixelAspectRatio(&file.Reader(), horizontal, vertical) == 0)
        horizontal = vertical = 0; // unknown
    m_header = Format("YUV4MPEG2 W{} H{} F{}:{} I{} A{}:{} C{}\n", m_picture->Width(), m_picture->Height(),
                      stream.rate, stream.scale, Interlacing(mode), horizontal, vertical, m_picture->Space());
}

void CKrPictureStream::Put(std::span<const uint8_t> bytes)
{
    m_output->Write(bytes.data(), bytes.size());
    m_bytes += bytes.size();
}

void CKrPictureStream::Open(const std::string& target, bool replace)
{
    m_output = std::make_unique<CKrOutputFile>(target, replace);
    Put({reinterpret_cast<const uint8_t*>(m_header.data()), m_header.size()});
}

bool CKrPictureStream::Write(const SKrChunkIndexEntry& frame)
{
    constexpr std::string_view kFrame = "FRAME\n";
    const uint64_t there = m_file.Length() - std::min<uint64_t>(m_file.Length(), frame.position);
    const uint64_t most = uint64_t{m_picture->Width() + 128} * 4 * (m_picture->Height() + 1); // in any layout
    m_frame.resize(static_cast<size_t>(std::min({uint64_t{frame.size}, there, most})));
    m_file.Fill(frame.position, m_frame);
    if (!m_frame.empty() || m_planes.empty())
        m_planes = m_picture->Planes(m_frame);
    Put({reinterpret_cast<const uint8_t*>(kFrame.data()), kFrame.size()});
    Put(m_planes);
    return frame.size <= there;
}

uint64_t CKrPictureStream::Finish()
{
    m_output->Commit();
    return m_bytes;
}
} // namespace KrTool
