// From the queue to the file in recordings with options: as fast as they let it.
#ifndef KR_WRITER_KRFREERUN_H
#define KR_WRITER_KRFREERUN_H

#include "platform/KrPlatform.h"
#include "writer/KrRecordingRules.h"
#include "writer/KrSampleQueue.h"
#include "writer/KrSampleWriter.h"
#include "writer/KrSubmissions.h"

#include <cstdint>

// Has a queue of its own, to which it moves all that was submitted at once, so that the lock of the
// submissions is taken once for many samples. The order of the chunks is that of all recordings. One thread
// at a time, which its owner sees to.
class CKrFreeRun
{
public:
    CKrFreeRun(CKrSubmissions& submissions, CKrSampleWriter& writer, IKrClock& clock)
        : m_submissions(submissions), m_writer(writer), m_clock(clock)
    {
    }

    void Begin(const SKrWriterSetup& setup, const SKrRecordingRules& rules);

    // Moves all that can be moved. False when a write failed.
    [[nodiscard]] bool Run();

    // The same, and then what is left: frames without their sound, sound without frames.
    [[nodiscard]] bool RunToTheEnd();

    // Milliseconds until a frame has waited for its sound as long as it may; 0: it has.
    [[nodiscard]] uint32_t WaitMs() const;

    // For whoever lets go of it.
    [[nodiscard]] CKrSampleList TakeAll();

private:
    [[nodiscard]] bool MoveAll();
    [[nodiscard]] bool MoveInStep();
    [[nodiscard]] bool TakeLate(SKrBatch& batch);
    [[nodiscard]] bool FillWithSilence();
    [[nodiscard]] bool WriteEach(EKrStream stream, CKrSampleList& samples, EKrSegmentBudget budget);
    [[nodiscard]] bool WriteJoined();
    void ReleaseWritten();

    CKrSubmissions& m_submissions;
    CKrSampleWriter& m_writer;
    IKrClock& m_clock;
    SKrRecordingRules m_rules;
    bool m_hasAudio = false;
    uint16_t m_bitsPerSample = 0;
    CKrSampleQueue m_taken;
};

#endif
