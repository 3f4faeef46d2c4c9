// The segments of a file that is being written, with their headers and indexes.
#ifndef KR_WRITER_KRSEGMENTS_H
#define KR_WRITER_KRSEGMENTS_H

#include "writer/KrFileTail.h"
#include "writer/KrHeaderFields.h"
#include "writer/KrOldIndex.h"
#include "writer/KrPatches.h"
#include "writer/KrStreamIndex.h"
#include "writer/KrWriterSetup.h"

#include <cstdint>

// Appends to a tail that others append chunks to. Operations that write answer false when a write failed.
class CKrSegments
{
public:
    // All references stay valid; `totals` is what the headers are patched with.
    CKrSegments(CKrFileTail& tail, const SKrWriterSetup& setup, const SKrRecordedTotals& totals,
                CKrPatches& patches);

    // Writes the headers and the first standard index of each stream.
    [[nodiscard]] bool Begin();

    // Starts a segment unless the current one has room for that many bytes.
    [[nodiscard]] bool Reserve(uint64_t bytes) { return HasRoomFor(bytes, 0) || StartNext(); }

    // Whether the current segment has that room, also when that many chunks of the bytes are to be entered in
    // the indexes first.
    [[nodiscard]] bool HasRoomFor(uint64_t bytes, size_t chunks) const;

    // Whether the size field of the current segment can hold that many bytes more. Chunks that are written
    // without regard to the limit meet this bound.
    [[nodiscard]] bool SizeFieldHolds(uint64_t bytes, size_t chunks = 0) const;
    [[nodiscard]] bool StartNext();

    // Before chunks are written, so that nothing can fail between them and their entries.
    void MakeRoomForEntries(size_t chunks);

    // Enters a chunk at the tail in the indexes. Answers whether the stream's OpenDML index leads to it.
    bool Record(EKrStream stream, uint32_t length);
    void AddAudioDuration(uint32_t samples) { m_audioIndex.AddDuration(samples); }

    // Counts that many bytes, which were written at the tail, into the segment.
    void Grow(uint64_t bytes);

    // Whether the offsets in the stream's standard index have room for a chunk that far after the tail.
    [[nodiscard]] bool IsInReach(EKrStream stream, uint64_t ahead = 0)
    {
        return Index(stream).Reaches(m_tail.Position() + ahead);
    }
    [[nodiscard]] bool StartIndexInReach(EKrStream stream);

    // What follows each queued chunk: starts the next standard index or copies entries into the current one.
    [[nodiscard]] bool KeepIndex(EKrStream stream);

    // Whether KeepIndex will start an index for the last of that many chunks of the stream.
    [[nodiscard]] bool WillStartIndex(EKrStream stream, size_t chunks);

    [[nodiscard]] uint32_t Number() const { return m_number; }
    [[nodiscard]] bool IsSuperIndexFull() const
    {
        return m_videoIndex.IsSuperIndexFull() || m_audioIndex.IsSuperIndexFull();
    }

    // Brings the sizes and counts in the headers up to date.
    void PatchHeaders();

    // Writes 'idx1' if that is still to come, and what the standard indexes wait for.
    [[nodiscard]] bool Finish();

    void Unmap();

private:
    [[nodiscard]] bool WriteFirstHeader();
    [[nodiscard]] bool WriteNextHeader();
    [[nodiscard]] bool WriteOldIndex();
    [[nodiscard]] bool IsBetweenSegments() const;
    [[nodiscard]] bool StartStdIndex(EKrStream stream);
    void Flush(EKrStream stream);
    CKrStreamIndex& Index(EKrStream stream);

    CKrFileTail& m_tail;
    const SKrWriterSetup& m_setup;
    const SKrRecordedTotals& m_totals;
    CKrHeaderFields m_fields;

    uint32_t m_number = 0;     // of the current segment; the first one is 1
    uint64_t m_length = 0;     // of the current one, with its chunk header
    uint64_t m_moviLength = 0; // likewise

    CKrOldIndex m_oldIndex;
    CKrStreamIndex m_videoIndex;
    CKrStreamIndex m_audioIndex;
    bool m_startAudioIndex = false; // the video index started anew: the audio one follows
    bool m_flushAudioIndex = false;
};

#endif
