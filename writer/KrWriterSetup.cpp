#include "writer/KrWriterSetup.h"

#include "format/KrBytes.h"
#include "format/KrFourCC.h"

#include <array>
#include <cstring>

uint32_t SKrWriterSetup::ChunkId(EKrStream stream) const
{
    if (stream == EKrStream::Audio)
        return KrDataChunkId(1, EKrDataKind::Audio);
    return KrDataChunkId(0, codec != 0 ? EKrDataKind::CompressedVideo : EKrDataKind::UncompressedVideo);
}

std::optional<SKrWriterSetup> MakeWriterSetup(const SKrAviVideoParams* params, uint32_t codec,
                                              const WAVEFORMATEX* audio)
{
    if (params == nullptr || params->frameRate >= KrFrameRates().size() || params->width < 1 ||
        params->height < 1)
        return std::nullopt;
    SKrWriterSetup setup;
    setup.params = *params;
    setup.codec = codec;
    setup.frameRate = KrFrameRates()[params->frameRate];
    setup.wholeFrameRate = setup.frameRate.rate / setup.frameRate.scale;
    if (audio != nullptr)
    {
        std::array<uint8_t, 16> bytes; // the structure's last field may be missing
        std::memcpy(bytes.data(), audio, bytes.size());
        const SKrWaveFormat format = DecodeWaveFormat(bytes);
        if (format.blockAlign == 0 || format.samplesPerSec == 0)
            return std::nullopt;
        setup.audio = format;
    }
    return setup;
}
