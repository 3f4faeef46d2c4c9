#include "tools/avi/KrOtherFormats.h"

#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "tools/avi/KrChunkGuess.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace KrTool
{
namespace
{
using namespace std::string_view_literals;

struct SKrSignature
{
    size_t place;
    std::string_view bytes;
    const char* name;
};
constexpr auto kSignatures = std::to_array<SKrSignature>({{4, "ftyp"sv, "MP4 or QuickTime"},
                                                          {4, "moov"sv, "QuickTime"},
                                                          {4, "mdat"sv, "QuickTime"},
                                                          {4, "wide"sv, "QuickTime"},
                                                          {0, "\x1A\x45\xDF\xA3"sv, "Matroska or WebM"},
                                                          {0, "\x30\x26\xB2\x75\x8E\x66"sv, "Windows Media"},
                                                          {0, "\x06\x0E\x2B\x34\x02\x05"sv, "MXF"},
                                                          {0, "\0\0\x01\xBA"sv, "an MPEG program stream"},
                                                          {0, "OggS"sv, "Ogg"},
                                                          {0, "FLV\x01"sv, "Flash video"},
                                                          {0, "RF64"sv, "RF64, a large WAVE file"},
                                                          {0, "\xFF\xD8\xFF"sv, "JPEG"},
                                                          {0, "\x89PNG"sv, "PNG"}});

constexpr size_t kTransportPacket = 188;
constexpr uint8_t kTransportSync = 0x47;

bool IsTransportStream(std::span<const uint8_t> bytes)
{
    return bytes.size() > 2 * kTransportPacket && bytes[0] == kTransportSync &&
           bytes[kTransportPacket] == kTransportSync && bytes[2 * kTransportPacket] == kTransportSync;
}

std::string NameOf(std::span<const uint8_t> bytes)
{
    const SKrChunkHeader first = DecodeChunkHeader(bytes.first(kListHeaderSize));
    if (first.id == kFccRiff)
        return IsSegmentType(first.firstData) ? std::string()
                                              : Format("RIFF '{}'", FourCcText(first.firstData));
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const auto found =
        std::ranges::find_if(kSignatures, [text](const SKrSignature& signature)
                             { return text.substr(signature.place).starts_with(signature.bytes); });
    if (found != kSignatures.end())
        return found->name;
    return IsTransportStream(bytes) ? "an MPEG transport stream" : "";
}
} // namespace

std::string OtherFormatText(const CKrByteSource& file)
{
    std::array<uint8_t, 2 * kTransportPacket + 1> bytes = {};
    const size_t count = file.ReadAt(0, bytes.data(), bytes.size());
    const std::string name = count >= kListHeaderSize ? NameOf({bytes.data(), count}) : std::string();
    return name.empty() ? name : Format("not an AVI file (it is {})", name);
}
} // namespace KrTool
