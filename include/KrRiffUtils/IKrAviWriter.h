// The AVI writer.
#ifndef KRRIFFUTILS_IKRAVIWRITER_H
#define KRRIFFUTILS_IKRAVIWRITER_H

#include "IKrMediaSample.h"
#include "IKrUnknown.h"
#include "KrPlatformTypes.h"
#include "KrRiffTypes.h"

#include <stdint.h>

// Writes one file at a time: one video stream and at most one PCM audio stream, as AVI 1.0 with the indexes
// and segments of OpenDML 1.02. Every frame is a key frame. Operations return 1 for success and 0 for
// failure.
//
// Threads: all operations may be called from any thread. Submissions never wait for the disk, unless a limit
// of the host's own makes them; direct chunks do. OpenFile and CloseFile wait for each other, and return 0
// from inside an operation of a sample. A thread that calls CloseFile or the last Release may still hold
// references to queued samples, but no locked buffer. The library holds no lock that a submission or a direct
// chunk waits for while it calls a sample. See docs/threads.md.
//
// Out of memory, OpenFile and the submissions may throw std::bad_alloc: no file is open then, or the sample
// was not queued. On the worker it ends the recording like a failed write.
//
// A recording whose process ends without CloseFile is readable up to the last update of its index, about a
// second of video before the last frame that was written. What was still queued is lost: chunks are
// written at least five milliseconds apart, and frames wait for their sound. SetRecordingOptions changes the
// pace, limits the queue and makes the file safe against power cuts; GetRecordingStatus tells how it goes.
class IKrAviWriter : public IKrUnknown
{
public:
    // Closes any open file, replaces the file at `path` and writes the headers. `codecFourCC` is the
    // compression of the frames, 0 for uncompressed ones. `audioFormat` is PCM, of which the first 16 bytes
    // are read, or null for a file without sound. Both are copied.
    //
    // Returns 0, and leaves an open file open, for a null or empty path. Returns 0 with nothing open, and no
    // new file left behind, for null parameters, a frame rate code above 7, a width or height below 1, an
    // audio format without block align or sample rate, and when the old file is in use or writing fails.
    virtual int OpenFile(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                         const WAVEFORMATEX* audioFormat) = 0;

    // Queues a frame. Takes a reference, which the writer releases when the frame is written, normally on its
    // worker's thread. The length for the interleave is queried here; the bytes are those of a later
    // LockBuffer. A sample that cannot be locked then is skipped, which CloseFile reports. Takes about a
    // millisecond, which slows producers down on purpose. Returns 0 for a null or empty sample, without an
    // open file, or after any write failed.
    virtual int AddVideoSample(IKrMediaSample* sample) = 0;

    // The same for a block of PCM audio: whole sample frames. Returns 0 for a file without audio as well.
    // Blocks are written before the frames to which they belong and are never split.
    virtual int AddAudioSample(IKrMediaSample* sample) = 0;

    // Writes everything that is queued and the indexes, completes the headers, flushes and closes the file.
    // Returns 0 when the file lacks anything that was submitted: a write or a flush failed, a sample was
    // skipped, a header or index could not be mapped, or a queued chunk is in no OpenDML index. Else 1, also
    // when no file is open. Takes five milliseconds for each chunk that is queued, by the defaults, and the
    // time of the disk; GetRecordingStatus tells on another thread how much is left. It cannot be cancelled.
    virtual int CloseFile() = 0;

    // OpenFile with the values of the record: uncompressed frames, 8 in the header as their bit count, and
    // PCM audio when it has any audio stream. Returns 0 for a null record or one without a video stream.
    virtual int OpenFileFromInfo(const wchar_t* path, const SKrMediaInfo* info) = 0;

    // Writes a chunk now, on the calling thread. Returns 0 for a null pointer or a length (in bytes) below 1,
    // without an open file, and when writing fails.
    //
    // A low-level path: such chunks are entered in the indexes but are neither padded (not even to an even
    // length) nor counted as frames or audio, and they do not start segments or standard indexes. At most
    // 4028 of one stream between two queued samples get into the standard index, and none that lies more than
    // 4 GiB after the index's first chunk. A chunk that would make its segment exceed 4 GiB is refused.
    virtual int WriteVideoChunk(const void* data, int32_t length) = 0;
    virtual int WriteAudioChunk(const void* data, int32_t length) = 0;

    // Sets how the next files are recorded, from the next OpenFile on until it is set again; the record is
    // copied. Null, and a record of the defaults, give recordings that make the calls they always made.
    // Others flush on a thread of their own, so that nothing waits for that, and copy small samples instead
    // of keeping them locked. Waits for OpenFile and CloseFile. Returns 0 and changes nothing for a size or a
    // flag that this library does not know, for reserved fields in use, and from inside an operation of a
    // sample.
    //
    // chunkSpacingMs: with 0 chunks are written as fast as the disk takes them, small ones many at a time.
    // The bytes of the file are the same.
    //
    // queueLimit, queueWaitMs: a sample fits while the queue is empty, or the bytes in it and its own are
    // within the limit; bytes count until the sample is released. One that does not fit makes its submission
    // wait, but only as long as what is queued can be written. Where the queue waits for the other stream the
    // submission is refused at once; where it waits for this one, the sample is taken past the limit. So a
    // host with one thread never hangs. A submission that is refused returns 0, is counted, and leaves the
    // sample with the host. CloseFile and a failed write end all waiting; from inside an operation of a
    // sample nobody waits.
    //
    // audioWaitMs: a frame that has waited so long is written without its sound, which is written when it
    // comes; with kKrRecordingSilence silence is written in its place, and sound that then comes for that
    // time is dropped and counted as refused.
    //
    // kKrRecordingPowerSafe: when the power goes, at any moment after OpenFile has returned, the file can be
    // opened, and its indexes name nothing that is not on the disk. Frames are indexed about a second later
    // than without. Should the disk refuse to flush, CloseFile fills in the indexes all the same and returns
    // 0.
    //
    // preallocation: where the file system can do that. A recording whose process dies keeps what was
    // reserved; nobody sees it.
    virtual int SetRecordingOptions(const SKrRecordingOptions* options) = 0;

    // Fills in a record whose `size` is set. All of it is of one moment. Never waits for the disk, for a
    // sample or for another operation of this writer. Returns 0 and changes nothing for a null pointer or a
    // size below that of the record.
    virtual int GetRecordingStatus(SKrRecordingStatus* status) = 0;
};

#endif
