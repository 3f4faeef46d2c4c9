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
// AddVideoSample and AddAudioSample may be called from several threads, also beside the direct chunks.
// OpenFile, CloseFile and the last Release are for one thread at a time, and never from inside an operation
// of a sample. That thread may still hold references to queued samples, but no locked buffer.
class IKrAviWriter : public IKrUnknown
{
public:
    // Closes any open file, replaces the file at `path` and writes the headers. `codecFourCC` is the
    // compression of the frames, 0 for uncompressed ones. `audioFormat` is PCM, of which the first 16 bytes
    // are read, or null for a file without sound. Both are copied.
    //
    // Returns 0, and leaves an open file open, for a null or empty path, null parameters, a frame rate code
    // above 7, a width or height below 1, or an audio format without block align or sample rate. Returns 0
    // with nothing open, and no new file left behind, when the old file is in use or writing fails.
    virtual int OpenFile(const wchar_t* path, const SKrAviVideoParams* params, uint32_t codecFourCC,
                         const WAVEFORMATEX* audioFormat) = 0;

    // Queues a frame. Takes a reference, which the writer gives back when the frame is written. Takes about a
    // millisecond, which slows producers down on purpose. Returns 0 for a null or empty sample, without an
    // open file, or after any write failed.
    virtual int AddVideoSample(IKrMediaSample* sample) = 0;

    // The same for a block of PCM audio: whole sample frames. Returns 0 for a file without audio as well.
    // Blocks are written before the frames to which they belong and are never split.
    virtual int AddAudioSample(IKrMediaSample* sample) = 0;

    // Writes everything that is queued and the indexes, completes the headers and closes the file. Returns 1.
    virtual int CloseFile() = 0;

    // OpenFile with what the record says: uncompressed frames, 8 in the header as their bit count, and PCM
    // audio when it has any audio stream. Returns 0 for a null record or one without a video stream.
    virtual int OpenFileFromInfo(const wchar_t* path, const SKrMediaInfo* info) = 0;

    // Writes a chunk now, on the calling thread. Returns 0 for a null pointer or a length (in bytes) below 1,
    // without an open file, and when writing fails.
    //
    // A low-level path: such chunks are entered in the indexes but are neither padded (not even to an even
    // length) nor counted as frames or audio, and they do not start segments or standard indexes. At most
    // 4028 of one stream between two queued samples get into the standard index, and none that lies more than
    // 4 GiB behind the index's first chunk. A chunk that would make its segment pass 4 GiB is refused.
    virtual int WriteVideoChunk(const void* data, int32_t length) = 0;
    virtual int WriteAudioChunk(const void* data, int32_t length) = 0;
};

#endif
