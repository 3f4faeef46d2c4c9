// What a file is recorded by: the options of the host, checked.
#ifndef KR_WRITER_KRRECORDINGRULES_H
#define KR_WRITER_KRRECORDINGRULES_H

#include "KrRiffUtils/KrRiffTypes.h"

#include <cstdint>
#include <optional>

inline constexpr uint32_t kKrForEver = 0xFFFFFFFF;

struct SKrRecordingRules
{
    uint32_t chunkSpacingMs = 5;
    uint32_t submissionDelayMs = 1;
    uint32_t queueWaitMs = kKrForEver;
    uint64_t queueLimit = 0; // 0: none
    uint32_t audioWaitMs = kKrForEver;
    bool powerSafe = false;
    bool silence = false;
    uint64_t preallocation = 0;

    bool operator==(const SKrRecordingRules&) const = default;

    // A recording by the defaults makes the calls that it always made. Others flush beside the writing.
    [[nodiscard]] bool AreDefaults() const { return *this == SKrRecordingRules{}; }

    [[nodiscard]] bool JoinsChunks() const { return chunkSpacingMs == 0; }
};

// Null options are the defaults. Nothing for a size or a flag that this library does not know, and for
// reserved fields in use.
inline std::optional<SKrRecordingRules> MakeRecordingRules(const SKrRecordingOptions* options)
{
    if (options == nullptr)
        return SKrRecordingRules{};
    if (options->size != sizeof *options ||
        (options->flags & ~(kKrRecordingPowerSafe | kKrRecordingSilence)) != 0 || options->reserved[0] != 0 ||
        options->reserved[1] != 0)
        return std::nullopt;
    return SKrRecordingRules{.chunkSpacingMs = options->chunkSpacingMs,
                             .submissionDelayMs = options->submissionDelayMs,
                             .queueWaitMs = options->queueWaitMs,
                             .queueLimit = options->queueLimit,
                             .audioWaitMs = options->audioWaitMs,
                             .powerSafe = (options->flags & kKrRecordingPowerSafe) != 0,
                             .silence = (options->flags & kKrRecordingSilence) != 0,
                             .preallocation = options->preallocation};
}

#endif
