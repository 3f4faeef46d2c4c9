// The state of a recording in the lines of progress.
#ifndef KR_TOOLS_OUTPUT_KRRECORDINGPROGRESS_H
#define KR_TOOLS_OUTPUT_KRRECORDINGPROGRESS_H

#include "tools/command/KrProgress.h"
#include "tools/output/KrRecording.h"

#include <chrono>
#include <string>

namespace KrTool
{
// In all lines while it lives.
class CKrRecordingProgress final : public IKrProgressDetails
{
public:
    CKrRecordingProgress(CKrProgress& progress, const CKrRecording& recording)
        : m_progress(progress), m_recording(recording)
    {
        m_progress.SetDetails(this);
    }
    ~CKrRecordingProgress() override { m_progress.SetDetails(nullptr); }
    CKrRecordingProgress(const CKrRecordingProgress&) = delete;
    CKrRecordingProgress& operator=(const CKrRecordingProgress&) = delete;

    std::string Text() override;
    void AddTo(Json& line) override;

private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] double BytesPerSecond(const SKrRecordingStatus& status) const;

    CKrProgress& m_progress;
    const CKrRecording& m_recording;
    const Clock::time_point m_start = Clock::now();
};

// ", 96.2 MB/s, 31 queued (1.4 MB), longest write 12 ms, longest flush 45 ms", and what went wrong.
std::string RecordingText(const SKrRecordingStatus& status, double bytesPerSecond);

Json RecordingJson(const SKrRecordingStatus& status, double bytesPerSecond);
} // namespace KrTool

#endif
