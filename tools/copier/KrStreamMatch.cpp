#include "tools/copier/KrStreamMatch.h"

#include "format/KrBytes.h"
#include "format/KrFourCC.h"
#include "format/KrPrivateChunks.h"
#include "tools/avi/KrDigest.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrCopyReport.h"

#include <algorithm>
#include <string>
#include <vector>

namespace KrTool
{
namespace
{
struct SKrProperty
{
    std::string name;
    std::string value;
};
using Properties = std::vector<SKrProperty>;

std::string DigestText(const std::vector<uint8_t>& bytes, size_t from)
{
    if (bytes.size() <= from)
        return "none";
    CKrDigest digest;
    digest.Add(&bytes[from], bytes.size() - from);
    return Format("{} with the MD5 {}", Counted(bytes.size() - from, "byte"), digest.Finish().md5);
}

void AddPictures(const SKrCarriedStream& stream, Properties& out)
{
    const SKrBitmapHeader format = DecodeBitmapHeader(stream.Format());
    out.push_back({"picture size", Format("{} x {}", format.width, format.height)});
    out.push_back({"codec", format.compression != 0 ? FourCcText(format.compression) : "uncompressed"});
    out.push_back({"bits per pixel", std::to_string(format.bitCount)});
    const auto shape = std::ranges::find(stream.chunks, kFccVprp, &SKrCarriedBytes::id);
    out.push_back({"video properties", shape != stream.chunks.end() ? DigestText(shape->data, 0) : "none"});
    const SKrStreamHeader fields = stream.Fields();
    out.push_back({"frame rate", RateText(fields.rate, fields.scale)});
    out.push_back({"further video format", DigestText(stream.Format(), SKrBitmapHeader::kEncodedSize)});
}

// Without the average data rate: encoders write there what came out.
void AddSound(const SKrCarriedStream& stream, Properties& out)
{
    const SKrWaveFormat format = DecodeWaveFormat(stream.Format());
    out.push_back({"audio", Format("format 0x{:04x}, {} Hz, {}, {} bits, {} a block", format.formatTag,
                                   format.samplesPerSec, Counted(format.channels, "channel"),
                                   format.bitsPerSample, Counted(format.blockAlign, "byte"))});
    const SKrStreamHeader fields = stream.Fields();
    out.push_back({"unit of sound", Format("{} at {}/{} a second", Counted(fields.sampleSize, "byte"),
                                           fields.rate, fields.scale)});
    out.push_back({"further audio format", DigestText(stream.Format(), SKrWaveFormat::kEncodedSize)});
}

// Scan mode and pixel aspect ratio, which hold for the whole file.
void AddDeclarations(const SKrCarriedSource& source, Properties& out)
{
    for (const SKrPrivateChunkKind& kind : kPrivateChunkKinds)
    {
        const std::vector<SKrCarriedBytes>& chunks = source.header.beforeData;
        const auto found = std::ranges::find(chunks, kind.id, &SKrCarriedBytes::id);
        out.push_back({Format("private chunk {}", FourCcText(kind.id)),
                       found != chunks.end() ? DigestText(found->data, 0) : "none"});
    }
}

Properties PropertiesOf(const SKrCarriedSource& source)
{
    Properties out = {{"number of streams", std::to_string(source.header.streams.size())}};
    for (const SKrCarriedStream& stream : source.header.streams)
    {
        const uint32_t type = stream.Fields().type;
        out.push_back({"type of stream", FourCcText(type)});
        if (type == kFccVids)
            AddPictures(stream, out);
        else if (type == kFccAuds)
            AddSound(stream, out);
        else
            out.push_back({"format", DigestText(stream.Format(), 0)});
    }
    AddDeclarations(source, out);
    return out;
}
} // namespace

void CheckStreamsMatch(const SKrCarriedSource& first, const SKrCarriedSource& other)
{
    const Properties wanted = PropertiesOf(first);
    const Properties there = PropertiesOf(other);
    for (size_t number = 0; number < std::min(wanted.size(), there.size()); ++number)
    {
        if (there[number].value != wanted[number].value)
            throw CKrToolError(other.file->Path(),
                               Format("it does not match {}: {} {}, there {}", first.file->Path(),
                                      there[number].name, there[number].value, wanted[number].value));
    }
}
} // namespace KrTool
