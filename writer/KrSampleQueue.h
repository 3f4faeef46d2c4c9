// The samples that wait to be written, and the order in which they are.
#ifndef KR_WRITER_KRSAMPLEQUEUE_H
#define KR_WRITER_KRSAMPLEQUEUE_H

#include "KrRiffUtils/IKrMediaSample.h"
#include "base/KrRef.h"
#include "writer/KrQueueAccount.h"
#include "writer/KrWriterSetup.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <utility>

// A sample with a reference, and its length when it was submitted. Destroyed without any lock held: the
// sample's release is the host's code.
struct SKrQueuedSample
{
    SKrQueuedSample() = default;
    SKrQueuedSample(CKrRef<IKrMediaSample> submitted, uint32_t submittedLength, uint64_t nowMs = 0)
        : sample(std::move(submitted)), length(submittedLength), submittedMs(nowMs)
    {
    }

    CKrQueueTicket ticket; // first: the sample counts until it is released
    CKrRef<IKrMediaSample> sample;
    uint32_t length = 0;      // bytes
    uint32_t skip = 0;        // bytes at its start that are not written, and not in the length
    uint64_t submittedMs = 0; // where it matters

    explicit operator bool() const { return static_cast<bool>(sample); }
};

using CKrSampleList = std::list<SKrQueuedSample>;

// What is written together: the audio goes with the first frame.
struct SKrBatch
{
    CKrSampleList video;
    CKrSampleList audio;
};

// Keeps audio and video in step: frames are released once the audio that belongs to them has been submitted,
// and audio up to what belongs to those frames. The audio that one call makes ready leaves with the frames of
// a later one. Calls no operation of a sample. Guarded by its owner's lock.
class CKrSampleQueue
{
public:
    // Resets the queue, which must be empty.
    void Begin(const SKrWriterSetup& setup);

    // Moves samples to the end of a stream's queue.
    void Push(EKrStream stream, CKrSampleList& samples);

    // The next frames and their audio, for a file with audio of which that many frames are written.
    [[nodiscard]] SKrBatch TakeBatch(uint32_t framesWritten);

    // The sample that came first, or null. Audio that is ready comes before audio that waits.
    [[nodiscard]] SKrQueuedSample TakeVideo();
    [[nodiscard]] SKrQueuedSample TakeReadyAudio();
    [[nodiscard]] SKrQueuedSample TakeWaitingAudio();

    // Everything, for release by the caller.
    [[nodiscard]] CKrSampleList TakeAll();

    // All frames and all audio in their order, ready audio first.
    [[nodiscard]] SKrBatch TakeRemaining();

    // Appends what another queue was given and has not made ready. Answers whether there was any.
    [[nodiscard]] bool TakeOver(CKrSampleQueue& from);

    // The stream without which nothing can be taken, when TakeBatch has found nothing any more.
    [[nodiscard]] std::optional<EKrStream> WaitsFor() const;

    // The frame that waits first, or null.
    [[nodiscard]] const SKrQueuedSample* FirstFrame() const
    {
        return m_video.empty() ? nullptr : &m_video.front();
    }

    // Takes that frame without the audio that belongs to it.
    [[nodiscard]] SKrBatch TakeFrameWithoutAudio();

    // Bytes of audio that the next frame waits for when that many are written, and other audio in their
    // place.
    [[nodiscard]] uint64_t MissingAudio(uint32_t framesWritten) const;
    void AddReadyAudio(CKrSampleList& samples, uint64_t bytes);

    struct SKrSizes
    {
        size_t video = 0;
        size_t audio = 0;
        size_t readyAudio = 0;

        bool operator==(const SKrSizes&) const = default;
    };

    [[nodiscard]] SKrSizes Sizes() const { return {m_video.size(), m_audio.size(), m_readyAudio.size()}; }

private:
    [[nodiscard]] uint64_t AudioBytesOf(uint32_t frames) const;
    [[nodiscard]] uint64_t HeadLength() const;
    [[nodiscard]] bool TargetCoversHead(uint64_t target) const;
    void MakeAudioReady(uint64_t target);

    uint32_t m_samplesPerSec = 0;
    uint32_t m_blockAlign = 0;
    EKrFrameRate m_frameRate{};
    uint64_t m_scheduledBytes = 0; // of all audio made ready so far
    CKrSampleList m_video;
    CKrSampleList m_audio;
    CKrSampleList m_readyAudio;
};

#endif
