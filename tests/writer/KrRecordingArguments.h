// Options of recordings for the writer's tests, and what a recording says of itself.
#ifndef KR_TESTS_WRITER_KRRECORDINGARGUMENTS_H
#define KR_TESTS_WRITER_KRRECORDINGARGUMENTS_H

#include "KrRiffUtils/IKrAviWriter.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace KrTest
{
[[nodiscard]] inline SKrRecordingOptions DefaultOptions()
{
    SKrRecordingOptions options{};
    options.size = sizeof options;
    options.chunkSpacingMs = 5;
    options.submissionDelayMs = 1;
    options.queueWaitMs = 0xFFFFFFFF;
    options.audioWaitMs = 0xFFFFFFFF;
    return options;
}

// No pauses.
[[nodiscard]] inline SKrRecordingOptions FastOptions()
{
    SKrRecordingOptions options = DefaultOptions();
    options.chunkSpacingMs = 0;
    options.submissionDelayMs = 0;
    return options;
}

[[nodiscard]] inline SKrRecordingOptions PowerSafeOptions()
{
    SKrRecordingOptions options = FastOptions();
    options.flags = kKrRecordingPowerSafe;
    return options;
}

[[nodiscard]] inline SKrRecordingStatus StatusOf(IKrAviWriter& writer)
{
    SKrRecordingStatus status{};
    status.size = sizeof status;
    EXPECT_EQ(writer.GetRecordingStatus(&status), 1);
    return status;
}
} // namespace KrTest

#endif
