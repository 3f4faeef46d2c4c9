#include "tools/avi/KrCodecNames.h"

#include "format/KrFourCC.h"

#include <algorithm>
#include <iterator>

namespace KrTool
{
namespace
{
constexpr char kDv[] = "DV";

struct SKrPictureCodec
{
    char fourCc[5]; // in capitals
    std::string_view name;
};

constexpr SKrPictureCodec kPictureCodecs[] = {
    {"MJPG", "Motion JPEG"},
    {"AVRN", "Motion JPEG"},
    {"DMB1", "Motion JPEG"},
    {"LJPG", "lossless JPEG"},
    {"MJLS", "JPEG-LS"},
    {"MJ2C", "JPEG 2000"},
    {"MPNG", "PNG"},
    {"PNG1", "PNG"},
    {"DVSD", kDv},
    {"DVSL", kDv},
    {"DVC ", kDv},
    {"DVCS", kDv},
    {"CDVC", kDv},
    {"DVIS", kDv},
    {"DVPN", kDv},
    {"DVPP", kDv},
    {"PDVC", kDv},
    {"IAVS", kDv},
    {"DV25", "DVCPRO"},
    {"DVCP", "DVCPRO"},
    {"DV50", "DVCPRO 50"},
    {"DVHD", "DV HD"},
    {"DVH1", "DVCPRO HD"},
    {"CDVH", "DV HD"},
    {"XVID", "MPEG-4 (Xvid)"},
    {"DIVX", "MPEG-4 (DivX)"},
    {"DX50", "MPEG-4 (DivX 5)"},
    {"FMP4", "MPEG-4"},
    {"MP4V", "MPEG-4"},
    {"MP4S", "MPEG-4"},
    {"M4S2", "MPEG-4"},
    {"3IV2", "MPEG-4"},
    {"MPG4", "Microsoft MPEG-4 v1"},
    {"MP41", "Microsoft MPEG-4 v1"},
    {"MP42", "Microsoft MPEG-4 v2"},
    {"DIV2", "Microsoft MPEG-4 v2"},
    {"MP43", "Microsoft MPEG-4 v3"},
    {"DIV3", "Microsoft MPEG-4 v3"},
    {"DIV4", "Microsoft MPEG-4 v3"},
    {"WMV1", "Windows Media Video 7"},
    {"WMV2", "Windows Media Video 8"},
    {"WMV3", "Windows Media Video 9"},
    {"WVC1", "VC-1"},
    {"H264", "H.264"},
    {"X264", "H.264"},
    {"AVC1", "H.264"},
    {"DAVC", "H.264"},
    {"HEVC", "H.265"},
    {"H265", "H.265"},
    {"HEV1", "H.265"},
    {"HVC1", "H.265"},
    {"H261", "H.261"},
    {"H263", "H.263"},
    {"I263", "H.263"},
    {"U263", "H.263"},
    {"X263", "H.263"},
    {"FLV1", "Sorenson H.263"},
    {"MPG1", "MPEG-1"},
    {"MPEG", "MPEG-1"},
    {"PIM1", "MPEG-1"},
    {"MPG2", "MPEG-2"},
    {"MMES", "MPEG-2"},
    {"EM2V", "MPEG-2"},
    {"VP60", "VP6"},
    {"VP61", "VP6"},
    {"VP62", "VP6"},
    {"VP6F", "VP6"},
    {"VP80", "VP8"},
    {"VP90", "VP9"},
    {"AV01", "AV1"},
    {"THEO", "Theora"},
    {"HFYU", "Huffyuv"},
    {"FFVH", "Huffyuv (ffmpeg)"},
    {"FFV1", "FFV1"},
    {"ULRG", "Ut Video RGB"},
    {"ULRA", "Ut Video RGBA"},
    {"ULY0", "Ut Video 4:2:0"},
    {"ULY2", "Ut Video 4:2:2"},
    {"ULY4", "Ut Video 4:4:4"},
    {"ULH0", "Ut Video 4:2:0"},
    {"ULH2", "Ut Video 4:2:2"},
    {"ULH4", "Ut Video 4:4:4"},
    {"LAGS", "Lagarith"},
    {"MAGY", "MagicYUV"},
    {"M8RG", "MagicYUV"},
    {"M8RA", "MagicYUV"},
    {"M8Y0", "MagicYUV"},
    {"M8Y2", "MagicYUV"},
    {"M8Y4", "MagicYUV"},
    {"M8G0", "MagicYUV"},
    {"CSCD", "CamStudio"},
    {"TSCC", "TechSmith screen"},
    {"ZLIB", "zlib"},
    {"MSZH", "MSZH"},
    {"ZMBV", "Zip Motion Blocks"},
    {"FSV1", "Flash screen video"},
    {"SNOW", "Snow"},
    {"SVQ1", "Sorenson Video 1"},
    {"SVQ3", "Sorenson Video 3"},
    {"ASV1", "ASUS V1"},
    {"ASV2", "ASUS V2"},
    {"AMV ", "AMV"},
    {"CVID", "Cinepak"},
    {"IV31", "Indeo 3"},
    {"IV32", "Indeo 3"},
    {"IV41", "Indeo 4"},
    {"IV50", "Indeo 5"},
    {"CRAM", "Microsoft Video 1"},
    {"MSVC", "Microsoft Video 1"},
    {"WHAM", "Microsoft Video 1"},
    {"MRLE", "Microsoft RLE"},
    {"CLJR", "Cirrus Logic AccuPak"},
    {"AVDN", "DNxHD"},
    {"APCH", "ProRes 422 HQ"},
    {"APCN", "ProRes 422"},
    {"APCS", "ProRes 422 LT"},
    {"APCO", "ProRes 422 Proxy"},
    {"AP4H", "ProRes 4444"},
    {"AP4X", "ProRes 4444 XQ"},
    {"CFHD", "CineForm"},
    {"HAP1", "Hap"},
    {"HAP5", "Hap Alpha"},
    {"HAPY", "Hap Q"},
    {"SHQ0", "SpeedHQ"},
    {"SHQ2", "SpeedHQ"},
    {"SHQ4", "SpeedHQ"},
    {"TGA ", "Targa"},
    {"DIB ", "uncompressed RGB"},
    {"RGB ", "uncompressed RGB"},
    {"RAW ", "uncompressed RGB"},
    {"I420", "uncompressed 4:2:0"},
    {"IYUV", "uncompressed 4:2:0"},
    {"YV12", "uncompressed 4:2:0"},
    {"NV12", "uncompressed 4:2:0"},
    {"NV21", "uncompressed 4:2:0"},
    {"YUY2", "uncompressed 4:2:2"},
    {"YUYV", "uncompressed 4:2:2"},
    {"YUNV", "uncompressed 4:2:2"},
    {"UYVY", "uncompressed 4:2:2"},
    {"UYNV", "uncompressed 4:2:2"},
    {"HDYC", "uncompressed 4:2:2"},
    {"Y422", "uncompressed 4:2:2"},
    {"YVYU", "uncompressed 4:2:2"},
    {"YV16", "uncompressed 4:2:2"},
    {"V210", "uncompressed 4:2:2, 10 bits"},
    {"V308", "uncompressed 4:4:4"},
    {"YV24", "uncompressed 4:4:4"},
    {"V410", "uncompressed 4:4:4, 10 bits"},
    {"AYUV", "uncompressed 4:4:4 with alpha"},
    {"R210", "uncompressed RGB, 10 bits"},
    {"Y41P", "uncompressed 4:1:1"},
    {"YUV9", "uncompressed 4:1:0"},
    {"YVU9", "uncompressed 4:1:0"},
    {"Y800", "uncompressed grey"},
    {"Y8  ", "uncompressed grey"},
    {"GREY", "uncompressed grey"},
};

// Values of the compression that are numbers.
constexpr std::string_view kNumberedCodecs[] = {"uncompressed RGB", "RLE, 8 bits", "RLE, 4 bits",
                                                "uncompressed RGB"};

struct SKrSoundCodec
{
    uint16_t tag;
    std::string_view name;
};

constexpr SKrSoundCodec kSoundCodecs[] = {
    {0x0001, "PCM"},
    {0x0002, "ADPCM (Microsoft)"},
    {0x0003, "PCM (floating point)"},
    {0x0006, "A-law"},
    {0x0007, "mu-law"},
    {0x000A, "Windows Media Voice"},
    {0x0011, "ADPCM (IMA)"},
    {0x0020, "ADPCM (Yamaha)"},
    {0x0022, "TrueSpeech"},
    {0x0031, "GSM 6.10"},
    {0x0040, "G.721"},
    {0x0042, "G.723.1"},
    {0x0045, "G.726"},
    {0x0050, "MPEG layer 2"},
    {0x0055, "MP3"},
    {0x0061, "ADPCM (DK4)"},
    {0x0062, "ADPCM (DK3)"},
    {0x0064, "G.726"},
    {0x0075, "RT29"},
    {0x0092, "AC-3"},
    {0x00FF, "AAC"},
    {0x0160, "Windows Media Audio 1"},
    {0x0161, "Windows Media Audio 2"},
    {0x0162, "Windows Media Audio Pro"},
    {0x0163, "Windows Media Audio lossless"},
    {0x0401, "Indeo audio"},
    {0x1600, "AAC (ADTS)"},
    {0x1602, "AAC (LATM)"},
    {0x2000, "AC-3"},
    {0x2001, "DTS"},
    {0x4143, "AAC"},
    {0x5346, "ADPCM (Flash)"},
    {0x566F, "Vorbis"},
    {0x674F, "Vorbis"},
    {0x6750, "Vorbis"},
    {0x6751, "Vorbis"},
    {0x676F, "Vorbis"},
    {0x6770, "Vorbis"},
    {0x6771, "Vorbis"},
    {0x704F, "Opus"},
    {0x706D, "AAC"},
    {0x77A1, "True Audio"},
    {0x87AF, "E-AC-3"},
    {0xA106, "AAC"},
    {0xA109, "Speex"},
    {0xF1AC, "FLAC"},
};

constexpr uint32_t InCapitals(uint32_t fourCc)
{
    uint32_t text = 0;
    for (unsigned shift = 0; shift < 32; shift += 8)
    {
        const uint32_t character = fourCc >> shift & 0xFF;
        const bool isSmall = character >= 'a' && character <= 'z';
        text |= (isSmall ? character - ('a' - 'A') : character) << shift;
    }
    return text;
}
} // namespace

std::string_view PictureCodecName(uint32_t compression)
{
    if (compression < std::size(kNumberedCodecs))
        return kNumberedCodecs[compression];
    const uint32_t wanted = InCapitals(compression);
    const auto* const found =
        std::ranges::find(kPictureCodecs, wanted, [](auto& codec) { return KrFourCC(codec.fourCc); });
    return found != std::end(kPictureCodecs) ? found->name : std::string_view();
}

std::string_view SoundCodecName(uint16_t formatTag)
{
    const auto* const found = std::ranges::find(kSoundCodecs, formatTag, &SKrSoundCodec::tag);
    return found != std::end(kSoundCodecs) ? found->name : std::string_view();
}

bool NeedsItsChunks(uint16_t formatTag)
{
    static constexpr std::string_view kOfPackets[] = {"AAC", "Vorbis", "Opus", "Speex", "True Audio"};
    return std::ranges::find(kOfPackets, SoundCodecName(formatTag)) != std::end(kOfPackets);
}

bool IsDv(uint32_t fourCc)
{
    const std::string_view name = PictureCodecName(fourCc);
    return name == kDv || name.starts_with("DVCPRO") || name == "DV HD";
}
} // namespace KrTool
