// A file that is being recorded, followed until the recording ends.
#ifndef KR_TOOLS_AVI_KRFOLLOWEDFILE_H
#define KR_TOOLS_AVI_KRFOLLOWEDFILE_H

#include "tools/avi/KrAviFile.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace KrTool
{
class CKrProgress;
class CKrReport;

enum class EKrRecording
{
    BeingWritten,
    Complete,
    Abandoned
};

const char* RecordingName(EKrRecording state);

class CKrFollowedFile
{
public:
    using Clock = std::chrono::steady_clock;

    // Opens the file, which may be complete by now, and looks at it once. Throws CKrToolError with the reason
    // if that fails.
    explicit CKrFollowedFile(const std::string& path);

    [[nodiscard]] const CKrAviFile& File() const { return m_file; }

    // As of the last look.
    [[nodiscard]] EKrRecording State() const { return m_state; }
    [[nodiscard]] Clock::time_point LastGrowth() const { return m_lastGrowth; }

    // A recording that was abandoned is a defect of the file.
    void ReportEnd(CKrReport& report) const;

    // Waits a tenth of a second and looks again. Throws CKrInterruption when the user asked to stop, and
    // CKrToolError when the file cannot be read any more.
    void Wait(const CKrProgress& progress);

private:
    void Look();

    CKrAviFile m_file;
    EKrRecording m_state = EKrRecording::BeingWritten;
    Clock::time_point m_lastGrowth;
    Clock::time_point m_lastAnswer; // of the reader
};
} // namespace KrTool

#endif
