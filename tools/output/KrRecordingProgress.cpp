#include "tools/output/KrRecordingProgress.h"

#include "tools/command/KrFormat.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <utility>

namespace KrTool
{
namespace
{
constexpr double kBytesPerMegabyte = 1e6;
constexpr uint64_t kUsPerMs = 1000;

std::string Megabytes(double bytes)
{
    const auto tenths = static_cast<uint64_t>(std::llround(bytes / kBytesPerMegabyte * 10));
    return Format("{}.{} MB", tenths / 10, tenths % 10);
}

// Rounded up: 0 only where there was none.
uint64_t Milliseconds(uint64_t microseconds)
{
    return (microseconds + kUsPerMs - 1) / kUsPerMs;
}

bool Has(const SKrRecordingStatus& status, uint32_t state)
{
    return (status.state & state) != 0;
}
} // namespace

std::string RecordingText(const SKrRecordingStatus& status, double bytesPerSecond)
{
    std::string text = Format(", {}/s, {} queued ({}), longest write {} ms, longest flush {} ms",
                              Megabytes(bytesPerSecond), status.queuedFrames + status.queuedAudioChunks,
                              Megabytes(static_cast<double>(status.queuedBytes)),
                              Milliseconds(status.longestWriteUs), Milliseconds(status.longestFlushUs));
    if (status.samplesRefused != 0)
        text += Format(", {} refused", status.samplesRefused);
    if (status.samplesPassedOver != 0)
        text += Format(", {} passed over", status.samplesPassedOver);
    const std::pair<uint32_t, const char*> states[] = {{kKrStateWriteFailed, "a write failed"},
                                                       {kKrStateFlushFailed, "a flush failed"},
                                                       {kKrStateSuperIndexFull, "super index full"},
                                                       {kKrStateSoundIsLate, "sound is late"}};
    for (const auto& [state, words] : states)
    {
        if (Has(status, state))
            text += Format(", {}", words);
    }
    return text;
}

Json RecordingJson(const SKrRecordingStatus& status, double bytesPerSecond)
{
    return {{"framesWritten", status.framesWritten},
            {"audioChunksWritten", status.audioChunksWritten},
            {"bytesWritten", status.bytesWritten},
            {"bytesPerSecond", std::llround(bytesPerSecond)},
            {"framesInIndex", status.framesInIndex},
            {"segments", status.segments},
            {"queuedFrames", status.queuedFrames},
            {"queuedAudioChunks", status.queuedAudioChunks},
            {"queuedBytes", status.queuedBytes},
            {"mostQueuedBytes", status.mostQueuedBytes},
            {"refused", status.samplesRefused},
            {"passedOver", status.samplesPassedOver},
            {"longestWriteUs", status.longestWriteUs},
            {"longestFlushUs", status.longestFlushUs},
            {"writeFailed", Has(status, kKrStateWriteFailed)},
            {"flushFailed", Has(status, kKrStateFlushFailed)},
            {"superIndexFull", Has(status, kKrStateSuperIndexFull)},
            {"soundIsLate", Has(status, kKrStateSoundIsLate)},
            {"systemError", status.systemError}};
}

double CKrRecordingProgress::BytesPerSecond(const SKrRecordingStatus& status) const
{
    const double seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
    return seconds > 0 ? static_cast<double>(status.bytesWritten) / seconds : 0;
}

std::string CKrRecordingProgress::Text()
{
    const SKrRecordingStatus status = m_recording.Status();
    return RecordingText(status, BytesPerSecond(status));
}

void CKrRecordingProgress::AddTo(Json& line)
{
    const SKrRecordingStatus status = m_recording.Status();
    line["recording"] = RecordingJson(status, BytesPerSecond(status));
}
} // namespace KrTool
