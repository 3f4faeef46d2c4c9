#include "writer/KrHeaderLayout.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "format/KrPrivateChunks.h"
#include "writer/KrRiffFileChunk.h"

#include <array>
#include <iterator>
#include <tuple>
#include <utility>

namespace
{
constexpr uint32_t kAvifTrustChunkType = 0x800;
constexpr uint32_t kExtendedHeaderDataSize = 248;

// A chunk image: header and data.
template <class Record>
std::vector<uint8_t> Image(uint32_t id, const Record& record)
{
    std::vector<uint8_t> image;
    CKrByteWriter out(image);
    out.U32Le(id);
    out.U32Le(static_cast<uint32_t>(Record::kEncodedSize));
    Encode(out, record);
    return image;
}

template <class Record>
std::vector<uint8_t> Encoded(const Record& record)
{
    std::vector<uint8_t> bytes;
    CKrByteWriter out(bytes);
    Encode(out, record);
    return bytes;
}

SKrMainHeader MainHeader(const SKrWriterSetup& setup)
{
    SKrMainHeader header;
    header.microSecPerFrame = setup.MicroSecPerFrame();
    header.paddingGranularity = setup.bytesPerSector;
    header.flags = kAvifHasIndex | kAvifTrustChunkType;
    header.streams = setup.HasAudio() ? 2 : 1;
    header.width = static_cast<uint32_t>(setup.params.width);
    header.height = static_cast<uint32_t>(setup.params.height);
    return header;
}

SKrStreamHeader VideoHeader(const SKrWriterSetup& setup)
{
    SKrStreamHeader header;
    header.type = kFccVids;
    header.handler = setup.codec;
    header.scale = setup.frameRate.scale;
    header.rate = setup.frameRate.rate;
    return header;
}

SKrStreamHeader AudioHeader(const SKrWaveFormat& format)
{
    SKrStreamHeader header;
    header.type = kFccAuds;
    header.scale = 1;
    header.rate = format.samplesPerSec;
    header.sampleSize = format.blockAlign;
    return header;
}

SKrBitmapHeader BitmapHeader(const SKrWriterSetup& setup)
{
    SKrBitmapHeader header;
    header.width = setup.params.width;
    header.height = setup.params.height;
    header.bitCount = setup.params.bitCount;
    header.compression = setup.codec;
    header.sizeImage = setup.params.bitCount / 8u * static_cast<uint32_t>(setup.params.width) *
                       static_cast<uint32_t>(setup.params.height);
    return header;
}

// Adds a 'strl' to 'hdrl'; returns the offsets of its 'strh' and 'indx'.
std::pair<size_t, size_t> AddStream(SKrRiffFileChunk& hdrl, std::span<const uint8_t> header,
                                    std::span<const uint8_t> format)
{
    SKrRiffFileChunk strl = SKrRiffFileChunk::List(kFccList, kFccStrl, hdrl.NextOffset(), header);
    const size_t headerAt = strl.offset + kListHeaderSize;
    strl.Add(SKrRiffFileChunk::Plain(kFccStrf, format));
    strl.AlignTo(4, 0);
    const size_t indexAt = strl.NextOffset();
    strl.Add(SKrRiffFileChunk::Zeros(kFccIndx, kIndexChunkSize - kChunkHeaderSize));
    hdrl.Add(std::move(strl));
    return {headerAt, indexAt};
}

// The bytes that the chunks of the header list point to.
struct SKrHeaderImages
{
    explicit SKrHeaderImages(const SKrWriterSetup& setup)
        : main(Image(kFccAvih, MainHeader(setup))), video(Image(kFccStrh, VideoHeader(setup))),
          videoFormat(Encoded(BitmapHeader(setup)))
    {
        if (setup.HasAudio())
        {
            audio = Image(kFccStrh, AudioHeader(*setup.audio));
            audioFormat = Encoded(*setup.audio);
        }
    }

    std::vector<uint8_t> main;
    std::vector<uint8_t> video;
    std::vector<uint8_t> videoFormat;
    std::vector<uint8_t> audio; // empty without an audio stream, like its format
    std::vector<uint8_t> audioFormat;
};

void AddHeaderList(SKrRiffFileChunk& riff, const SKrHeaderImages& images, SKrHeaderLayout& layout)
{
    SKrRiffFileChunk hdrl = SKrRiffFileChunk::List(kFccList, kFccHdrl, riff.NextOffset(), images.main);
    layout.mainHeader = hdrl.offset + kListHeaderSize;
    std::tie(layout.videoHeader, layout.videoIndex) = AddStream(hdrl, images.video, images.videoFormat);
    if (!images.audio.empty())
        std::tie(layout.audioHeader, layout.audioIndex) = AddStream(hdrl, images.audio, images.audioFormat);
    SKrRiffFileChunk odml = SKrRiffFileChunk::List(kFccList, kFccOdml, hdrl.NextOffset());
    layout.extendedHeader = odml.NextOffset();
    odml.Add(SKrRiffFileChunk::Zeros(kFccDmlh, kExtendedHeaderDataSize));
    hdrl.Add(std::move(odml));
    riff.Add(std::move(hdrl));
}
} // namespace

SKrHeaderLayout LayOutFirstSegment(const SKrWriterSetup& setup)
{
    SKrHeaderLayout layout;
    SKrRiffFileChunk riff = SKrRiffFileChunk::List(kFccRiff, kFccAvi, 0);
    const SKrHeaderImages images(setup);
    AddHeaderList(riff, images, layout);

    const auto scanMode = static_cast<uint8_t>(setup.params.scanMode);
    const SKrPixelAspect aspect = PixelAspectToStore(setup.params);
    std::array<std::vector<uint8_t>, std::size(kPrivateChunkKinds)> privateData;
    for (size_t kind = 0; kind < privateData.size(); ++kind)
    {
        privateData[kind] = BuildPrivateChunk(kPrivateChunkKinds[kind], scanMode, aspect);
        riff.Add(SKrRiffFileChunk::Plain(kPrivateChunkKinds[kind].id, privateData[kind]));
    }

    riff.AlignTo(setup.bytesPerSector, kListHeaderSize);
    layout.movi = riff.NextOffset();
    riff.Add(SKrRiffFileChunk::List(kFccList, kFccMovi, layout.movi));
    riff.AppendTo(layout.bytes);
    return layout;
}

SKrHeaderLayout LayOutNextSegment(const SKrWriterSetup& setup, uint64_t position)
{
    SKrHeaderLayout layout;
    SKrRiffFileChunk riff = SKrRiffFileChunk::List(kFccRiff, kFccAvix, position);
    layout.movi = static_cast<size_t>(riff.NextOffset() - position);
    riff.Add(SKrRiffFileChunk::List(kFccList, kFccMovi, riff.NextOffset()));
    riff.AlignTo(setup.bytesPerSector, 0);
    riff.AppendTo(layout.bytes);
    return layout;
}
