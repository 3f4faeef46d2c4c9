// The parameters that a file is opened with, checked and completed.
#ifndef KR_WRITER_KRWRITERSETUP_H
#define KR_WRITER_KRWRITERSETUP_H

#include "KrRiffUtils/KrPlatformTypes.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrAviHeaders.h"
#include "format/KrFrameTables.h"

#include <cstdint>
#include <optional>

enum class EKrStream
{
    Video,
    Audio
};

struct SKrWriterSetup
{
    SKrAviVideoParams params{};
    uint32_t codec = 0; // FourCC, 0 for uncompressed frames
    SKrFrameRate frameRate{};
    uint32_t wholeFrameRate = 0;        // frames per second, truncated
    std::optional<SKrWaveFormat> audio; // nothing: the file has no audio stream
    uint32_t bytesPerSector = 512;

    [[nodiscard]] bool HasAudio() const { return audio.has_value(); }
    [[nodiscard]] uint32_t ChunkId(EKrStream stream) const;

    // Kept: formed from the truncated rate, so that 29.97 frames per second give 34482.
    [[nodiscard]] uint32_t MicroSecPerFrame() const { return 1'000'000 / wholeFrameRate; }
};

// Nothing when a file with these arguments cannot be written. The first 16 bytes of `audio`, which may
// be null, are read.
std::optional<SKrWriterSetup> MakeWriterSetup(const SKrAviVideoParams* params, uint32_t codec,
                                              const WAVEFORMATEX* audio);

#endif
