#include "tools/avi/KrFollowedFile.h"

#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrToolError.h"

#include <thread>

namespace KrTool
{
namespace
{
constexpr std::chrono::milliseconds kFollowInterval{100};

// Programs other than ours may not lock what they record. Theirs goes on as long as the file grows.
constexpr std::chrono::seconds kAbandonedAfter{2};

// The reader gives no answer at a moment when another program keeps it from reading.
constexpr std::chrono::seconds kUnreadableAfter{10};

// As GetGrowingState reports them.
constexpr uint32_t kComplete = 2;
constexpr uint32_t kAbandoned = 3;
} // namespace

const char* RecordingName(EKrRecording state)
{
    static constexpr const char* kNames[] = {"being written", "complete", "abandoned"};
    return kNames[static_cast<size_t>(state)];
}

CKrFollowedFile::CKrFollowedFile(const std::string& path)
    : m_file(path, EKrOpening::Growing), m_lastGrowth(Clock::now()), m_lastAnswer(m_lastGrowth)
{
    Look();
}

void CKrFollowedFile::ReportEnd(CKrReport& report) const
{
    if (m_state == EKrRecording::Abandoned)
        report.Finding("the recording was abandoned: nobody writes it any more, and it is not complete; "
                       "kravi recover makes it a complete file");
}

void CKrFollowedFile::Wait(const CKrProgress& progress)
{
    progress.StopIfAsked();
    std::this_thread::sleep_for(kFollowInterval);
    progress.StopIfAsked();
    Look();
}

void CKrFollowedFile::Look()
{
    const int news = m_file.Refresh();
    const Clock::time_point now = Clock::now();
    if (news < 0)
    {
        if (now - m_lastAnswer > kUnreadableAfter)
            throw CKrToolError(m_file.Path(), "it can no longer be read");
        return;
    }
    m_lastAnswer = now;
    if (news > 0)
        m_lastGrowth = now;
    const uint32_t state = m_file.Reader().GetGrowingState();
    if (state == kComplete)
        m_state = EKrRecording::Complete;
    else if (state == kAbandoned && now - m_lastGrowth > kAbandonedAfter)
        m_state = EKrRecording::Abandoned;
}
} // namespace KrTool
