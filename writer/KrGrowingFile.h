// A file while it is being written: its chunks, indexes and segments. One thread at a time.
#ifndef KR_WRITER_KRGROWINGFILE_H
#define KR_WRITER_KRGROWINGFILE_H

#include "platform/KrPlatform.h"
#include "writer/KrHeaderLayout.h"
#include "writer/KrRecordingFaults.h"
#include "writer/KrStreamIndex.h"
#include "writer/KrWriterSetup.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// Any write that fails is noted in the faults that were given to the constructor, and the operation answers
// false. The write position stays after the last thing that was written whole.
class CKrGrowingFile
{
public:
    CKrGrowingFile(std::unique_ptr<IKrWritableFile> file, const SKrWriterSetup& setup,
                   SKrRecordingFaults& faults);
    ~CKrGrowingFile(); // closes the file
    CKrGrowingFile(const CKrGrowingFile&) = delete;
    CKrGrowingFile& operator=(const CKrGrowingFile&) = delete;

    // Writes the headers and the first standard index of each stream.
    [[nodiscard]] bool Begin();

    // Bytes that queued chunks of these lengths will take with their padding, one after the other from the
    // write position on. Those of length 0 take none.
    [[nodiscard]] uint64_t PredictedSize(std::span<const uint32_t> lengths) const;

    // Starts a segment unless the current one has room for that many bytes.
    [[nodiscard]] bool Reserve(uint64_t bytes);

    // Starts a segment or a standard index where the next chunk's 32-bit fields would not hold what they
    // must. `startedIndex` tells of the latter, which takes room that may have been reserved.
    [[nodiscard]] bool MakeReach(EKrStream stream, uint32_t length, bool& startedIndex);

    // Writes a chunk with its padding to the sector, and counts it as a frame or as audio.
    [[nodiscard]] bool WriteQueued(EKrStream stream, KrByteSpan data);

    // What follows each queued chunk: starts the next standard index or copies entries into the current one.
    [[nodiscard]] bool KeepIndex(EKrStream stream);

    // Writes a chunk that is neither padded nor counted.
    [[nodiscard]] bool WriteDirect(EKrStream stream, KrByteSpan data);

    // Measures the data rate, and flushes the file, once a second of video has been written since the last
    // time.
    void MeasureDataRate();

    // Writes 'idx1' if that is still to come, and what the standard indexes wait for.
    [[nodiscard]] bool Finish();

    // Lets go of all views, cuts off what a failed write left after the last whole chunk, and flushes the
    // file.
    void Close();

    [[nodiscard]] uint32_t FramesWritten() const { return m_frames; }
    [[nodiscard]] bool Has(EKrStream stream) const
    {
        return stream == EKrStream::Video || m_setup.HasAudio();
    }

private:
    // Pointers into the mapped headers; null where mapping failed.
    struct SKrFields
    {
        uint8_t* segment = nullptr; // chunk headers of the current segment
        uint8_t* movi = nullptr;
        uint8_t* mainHeader = nullptr;
        uint8_t* videoHeader = nullptr;
        uint8_t* audioHeader = nullptr;
        uint8_t* extendedHeader = nullptr;
    };

    [[nodiscard]] uint64_t Append(std::span<const KrByteSpan> parts);
    [[nodiscard]] bool AppendWhole(std::span<const KrByteSpan> parts);
    [[nodiscard]] uint64_t PaddingBehind(uint64_t position) const;
    void Advance(uint64_t bytes);
    void MakeRoomForEntries();
    bool Record(EKrStream stream, uint32_t length);
    void FlushFile();
    [[nodiscard]] std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length);
    void Count(EKrStream stream, uint32_t length);

    [[nodiscard]] bool StartFirstSegment();
    [[nodiscard]] bool StartNextSegment();
    [[nodiscard]] bool CloseSegmentAndStartNext();
    [[nodiscard]] bool IsBetweenSegments() const;
    [[nodiscard]] uint64_t OldIndexTail() const;
    [[nodiscard]] bool FitsSegment32(uint64_t bytes) const;
    [[nodiscard]] bool WriteOldIndex();
    void RecordInOldIndex(uint32_t id, uint32_t flags, uint64_t position, uint32_t size);
    [[nodiscard]] bool StartStdIndex(EKrStream stream);
    void Flush(EKrStream stream);
    void PatchHeaders();

    CKrStreamIndex& Index(EKrStream stream);

    const SKrWriterSetup m_setup;
    SKrRecordingFaults& m_faults;
    std::unique_ptr<IKrWritableFile> m_file;      // null once it is closed
    std::unique_ptr<IKrMappedView> m_firstHeader; // of 'RIFF' 'AVI ', for the whole time
    std::unique_ptr<IKrMappedView> m_header;      // of the current 'RIFF' 'AVIX'
    SKrFields m_fields;

    uint64_t m_position = 0;
    uint32_t m_segments = 0;      // 1 while the first one is written
    uint64_t m_segmentLength = 0; // of the current one, with its chunk header
    uint64_t m_moviLength = 0;    // likewise

    uint32_t m_frames = 0;
    uint64_t m_audioBytes = 0;
    uint32_t m_largestVideo = 0; // chunk header included
    uint32_t m_largestAudio = 0;
    uint32_t m_maxBytesPerSec = 0;
    uint64_t m_measuredPosition = 0;
    uint32_t m_measuredFrames = 0;

    CKrStreamIndex m_videoIndex;
    CKrStreamIndex m_audioIndex;
    bool m_startAudioIndex = false; // the video index started anew: the audio one follows
    bool m_flushAudioIndex = false;
    std::vector<uint8_t> m_oldIndex; // encoded entries of 'idx1'
    std::vector<KrByteSpan> m_parts; // of one write
};

#endif
