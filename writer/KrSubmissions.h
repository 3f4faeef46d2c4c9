// What hosts submit, until it is taken to be written.
#ifndef KR_WRITER_KRSUBMISSIONS_H
#define KR_WRITER_KRSUBMISSIONS_H

#include "writer/KrQueueAccount.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrRecordingRules.h"
#include "writer/KrSampleQueue.h"

#include <cstdint>
#include <mutex>
#include <optional>

enum class EKrSubmission
{
    Refused,
    ForWorker, // which must be signalled
    ForLater,  // the worker waits for the other stream, and need not be woken for this one
    ForCaller  // no worker runs: RunStepOfCaller does its part
};

struct SKrSubmitted
{
    EKrSubmission whose = EKrSubmission::Refused;
    uint32_t delayMs = 0; // that the submission is to sleep
};

// Any thread. A submission waits only for room under a limit that the host set, and only while what is queued
// can be written.
class CKrSubmissions
{
public:
    CKrSubmissions(SKrRecordingFaults& faults, CKrRecordingStatus& status);

    void Begin(const SKrWriterSetup& setup, const SKrRecordingRules& rules);
    void SetWorkerRunning(bool isRunning);
    void StartAccepting();

    // Ends the submissions, also those that wait; what was accepted before is still written. Answers whether
    // a worker has to be stopped.
    [[nodiscard]] bool StopAccepting();

    // Takes a sample from a list of one. `mayWait` is false where nobody else could make room.
    [[nodiscard]] SKrSubmitted Submit(EKrStream stream, CKrSampleList& samples, bool mayWait);

    // A submission that failed before it came here.
    void CountRefused();

    // Changes or asks the queue of what is submitted, under its lock.
    template <class Action>
    auto With(Action action)
    {
        const std::lock_guard guard(m_account.Lock());
        return action(m_queue);
    }

    // Moves all that has come to the end of the worker's own queue. When there is nothing, what that queue
    // waits for is noted, and whoever waits for room looks again.
    [[nodiscard]] bool TakeArrived(CKrSampleQueue& to);

    // Notes that sound is late, and that so many bytes of it are replaced by silence: what comes for that
    // time is dropped. False when sound has come meanwhile.
    [[nodiscard]] bool NoteLateSound(uint64_t silence);

    // Releases samples, and wakes whoever waits once.
    void Release(CKrSampleList& samples);

    // After a failed write: nobody is to wait for room any more.
    void WakeAll();

private:
    [[nodiscard]] bool Accepts(EKrStream stream, uint32_t length) const;
    [[nodiscard]] bool WaitForRoom(std::unique_lock<CKrMutex>& guard, EKrStream stream, uint32_t length,
                                   bool mayWait);
    [[nodiscard]] bool DropForSilence(SKrQueuedSample& sample);

    SKrRecordingFaults& m_faults;
    CKrRecordingStatus& m_status;
    CKrQueueAccount m_account; // its lock guards what follows
    CKrSampleQueue m_queue;
    SKrRecordingRules m_rules;
    bool m_accepting = false;     // between a successful open and the close that follows
    bool m_workerRunning = false; // else each submission does the worker's part itself
    bool m_hasAudio = false;
    std::optional<EKrStream> m_waitsFor; // the stream without which nothing can be written
    uint64_t m_silence = 0;              // bytes of sound that are to be dropped
};

#endif
