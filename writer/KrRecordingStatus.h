// What a recording has done and is doing, for whoever asks.
#ifndef KR_WRITER_KRRECORDINGSTATUS_H
#define KR_WRITER_KRRECORDINGSTATUS_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "platform/KrPlatform.h"
#include "platform/KrSync.h"
#include "writer/KrWriterSetup.h"

#include <cstdint>
#include <optional>

// What the file that is being written holds by now.
struct SKrFileCounts
{
    uint32_t segments = 0;
    uint64_t frames = 0;      // queued ones that are written
    uint64_t audioChunks = 0; // likewise
    bool superIndexFull = false;
    std::optional<uint64_t> framesInIndex = std::nullopt; // nothing: as it was
};

// Any thread may call anything. The lock is held for a few instructions, never over I/O or a host's code, and
// no lock follows it.
class CKrRecordingStatus
{
public:
    explicit CKrRecordingStatus(IKrClock& clock) : m_clock(clock) {}

    // Starts anew, for the next file.
    void Begin();

    void SetState(uint32_t bits, bool on);

    // A sample was accepted; samples were written or dropped, and released; one was not accepted; one could
    // not be locked.
    void Queued(EKrStream stream, uint32_t length);
    void Released(uint64_t frames, uint64_t audioChunks, uint64_t bytes);
    void Refused();
    void PassedOver();

    // They replace what was known.
    void SetCounts(const SKrFileCounts& counts);
    void SetFramesInIndex(uint64_t frames);

    // Around each write, and around each flush: one of a kind at a time.
    void BeginWrite();
    void EndWrite(const SKrTransfer& transfer, bool whole);
    void BeginFlush();
    void EndFlush(const SKrFlushOutcome& outcome);

    // All of it at one moment, operations under way included. `size` is that of the record. The time is taken
    // under the lock, so that no later answer reports a shorter time.
    [[nodiscard]] SKrRecordingStatus Snapshot();

private:
    // The longest of a kind of operations, and the one under way; in ticks of the performance counter.
    class CKrDuration
    {
    public:
        void Reset();
        void Begin(int64_t now) { m_start = now; } // needs no lock
        void End(int64_t now);
        [[nodiscard]] int64_t Longest(int64_t now) const;

    private:
        static constexpr int64_t kNotRunning = INT64_MIN;

        KrAtomic<int64_t> m_start = kNotRunning;
        int64_t m_longest = 0;
    };

    void NoteError(uint32_t state, uint32_t osError);
    [[nodiscard]] uint64_t Microseconds(int64_t ticks) const;

    IKrClock& m_clock;
    CKrMutex m_lock;               // guards what follows
    SKrRecordingStatus m_status{}; // but for the durations
    CKrDuration m_write;
    CKrDuration m_flush;
};

#endif
