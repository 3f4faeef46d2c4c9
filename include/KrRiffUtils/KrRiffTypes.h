// Records and enumerations that cross the library's interface. Their layout is part of the contract and is
// checked below by every compiler that includes them.
#ifndef KRRIFFUTILS_KRRIFFTYPES_H
#define KRRIFFUTILS_KRRIFFTYPES_H

#include <stddef.h>
#include <stdint.h>

// A found chunk. FourCCs are held as 32-bit values whose lowest byte is the first character in the file.
struct SKrRiffChunkInfo
{
    uint32_t ckid;    // id of the chunk
    uint32_t cksize;  // size field as stored in the file; not checked against the file's length
    uint32_t fccType; // form or list type for 'RIFF' and 'LIST', else 0
    uint64_t offset;  // absolute file position of the byte after the 8-byte chunk header: for 'RIFF' and
                      // 'LIST' that of the form or list type
};

// A node of the reader's chunk tree. Nodes belong to the reader and are valid until the file is closed; hosts
// never create any.
struct SKrRiffChunkNode
{
    SKrRiffChunkInfo chunk; // the chunk that the node represents
};

// One data chunk of a stream, from an index.
struct SKrChunkIndexEntry
{
    uint64_t position; // absolute file position of the chunk's payload
    uint32_t size;     // payload length in bytes
    uint32_t reserved; // always 0
};

// What one 'strl' list says of its stream, of any type. Values are those of 'strh' (AVI 1.0) as they stand in
// the file, unless another source is named.
struct SKrStreamProperties
{
    uint32_t size;                // in: sizeof(SKrStreamProperties). No more than so many bytes are written
    uint32_t type;                // FourCC: 'vids', 'auds', 'txts', 'mids', ...
    uint32_t handler;             // FourCC of the codec, or 0
    uint32_t chunkId;             // id of the stream's first data chunk, such as '00dc'; 0: none was found
    uint32_t rate;                // rate / scale is the number of units in a second; either may be 0
    uint32_t scale;               // the other part of that fraction
    uint32_t start;               // where the stream starts, in units of scale / rate seconds
    uint32_t length;              // of the stream, in the same units: frames, or sample frames
    uint32_t sampleSize;          // bytes of a unit; 0: units differ in size
    uint32_t suggestedBufferSize; // bytes
    uint32_t formatSize;          // bytes of 'strf' that the file holds
    uint32_t flags;          // 1: has an 'indx' (OpenDML 1.02); 2: has entries in 'idx1' (AVI 1.0). Of the
                             // video stream that GetVideoStreamInfo reports: 4: the file declares its scan
                             // mode, 8: its pixel aspect ratio (private chunks)
    uint32_t droppedEntries; // by the last LoadStreamIndex of the stream: entries outside the file
    uint32_t reserved[3];    // 0
};

// One data chunk of a stream of any type, as the stream's index gives it.
struct SKrStreamIndexEntry
{
    uint64_t position; // absolute file position of the chunk's payload
    uint32_t size;     // payload length in bytes; 0: an empty chunk, which stands for a repeated frame
    uint32_t flags;    // 1: key frame
};

// Summary of the chunk sizes of an audio stream. `kind` selects one of two meanings of the fields.
//
// kind == 1: the sizes repeat. bytesPerPeriod bytes in chunksPerPeriod chunks make one period; the last chunk
// of the stream holds lastChunkBytes.
//
// kind != 1: no period was found. `kind` is the byte total of the first quarter of the chunks, and
// bytesPerPeriod, chunksPerPeriod, lastChunkBytes are those of the second, third and fourth quarter.
struct SKrAudioChunkPattern
{
    uint32_t kind;            // 1, or bytes of the first quarter
    uint32_t bytesPerPeriod;  // or bytes of the second quarter
    uint32_t chunksPerPeriod; // or bytes of the third quarter
    uint32_t lastChunkBytes;  // or bytes of the fourth quarter
};

// Frame rates that have a code (rate / scale).
enum class EKrFrameRate : uint32_t
{
    Rate23_976 = 0, // 24000 / 1001
    Rate24 = 1,     // 24 / 1
    Rate25 = 2,     // 25 / 1
    Rate29_97 = 3,  // 30000 / 1001
    Rate30 = 4,     // 30 / 1
    Rate50 = 5,     // 50 / 1
    Rate59_94 = 6,  // 60000 / 1001
    Rate60 = 7      // 60 / 1
};

// Field order of the pictures.
enum class EKrScanMode : int32_t
{
    Unknown = -1,        // none of the others: from the queries, or when the writer is to declare none
    UpperFieldFirst = 0, // interlaced, as 576- and 1080-line pictures are
    LowerFieldFirst = 1, // interlaced, as 480- and 486-line pictures are
    Progressive = 2      // whole pictures
};

// A video format, from the reader or for the writer.
struct SKrAviVideoParams
{
    uint16_t displayWidth;  // pixels, with the pixel aspect ratio applied
    uint16_t displayHeight; // pixels
    uint8_t bitCount;       // the reader reports 8; the writer stores it as biBitCount
    uint8_t padding[3];     // not used
    uint32_t reservedA;     // from the reader: 1 when the stored width is above 720, else 0
    uint32_t aspectMode;    // 0: 4:3 picture, 1: 16:9 picture. From the reader also 3: a size of no
                            // known picture shape. For the writer, which stores a pixel aspect ratio: 0 and 1
                            // give display width to stored width, 4 gives 648:720, 5 gives 864:720, and any
                            // other value, including 3, square pixels
    uint32_t frameRate;     // EKrFrameRate code. The reader reports the nearest one, however far the file's
                            // rate is from it, and 0xFFFFFFFF only for a rate or scale of 0
    int32_t scanMode;       // EKrScanMode value. The reader reports what the file declares; where it declares
                            // nothing, a guess from frame rate and size, so that -1 never comes from it
    uint32_t reservedB;     // from the reader: pixel format, 3 for 24 bits, 1 for 32 bits, else 0
    int32_t width;          // stored width in pixels
    int32_t height;         // stored height in pixels
};

// A PCM audio format.
struct SKrWaveFormatInfo
{
    uint32_t formatTag;      // WAVE_FORMAT_... value, 1 for PCM
    uint32_t channels;       // samples per sample frame
    uint32_t samplesPerSec;  // sample frames per second
    uint32_t avgBytesPerSec; // as stored in the file
    uint16_t blockAlign;     // bytes of one sample frame (all channels)
    uint16_t bitsPerSample;  // of one channel
};

// A media description from which the writer can be opened.
struct SKrMediaInfo
{
    uint16_t videoStreamCount; // at least 1
    uint16_t audioStreamCount; // 0: no sound
    uint32_t width;            // pixels
    uint32_t height;           // pixels
    uint32_t reservedA;        // not used
    uint32_t aspectMode;       // as in SKrAviVideoParams
    uint32_t frameRate;        // EKrFrameRate code
    int32_t scanMode;          // EKrScanMode value
    uint32_t reservedB;        // not used
    uint16_t channels;         // of the sound
    uint16_t bitsPerSample;    // of one channel
    uint32_t samplesPerSec;    // sample frames per second
};

// How a recording is paced, limited and made safe: for IKrAviWriter::SetRecordingOptions. A record of zeros
// is not one of defaults: fill in every field. Times are in milliseconds; 0xFFFFFFFF is for ever where said
// so.
struct SKrRecordingOptions
{
    uint32_t size;              // set by the caller: sizeof(SKrRecordingOptions)
    uint32_t chunkSpacingMs;    // least time between two queued chunks that are written. Default 5; 0: none,
                                // small chunks are then joined into one write
    uint32_t submissionDelayMs; // how long each submission sleeps on purpose. Default 1; 0: not at all
    uint32_t queueWaitMs;       // how long a submission waits for room in the queue before it is refused.
                                // Default 0xFFFFFFFF: for ever; 0: not at all
    uint64_t queueLimit;        // most bytes of samples in the queue. Default 0: no limit
    uint32_t audioWaitMs;       // how long a frame waits for sound that does not come. Default 0xFFFFFFFF:
                                // for ever
    uint32_t flags;             // kKrRecording..., default 0
    uint64_t preallocation;     // bytes reserved ahead on the disk while recording, cut off at the close.
                                // Default 0
    uint32_t reserved[2];       // 0
};

// Flags of SKrRecordingOptions.
constexpr uint32_t kKrRecordingPowerSafe =
    1; // data is on the disk before an index or a size in a header counts it
constexpr uint32_t kKrRecordingSilence = 2; // sound that is later than audioWaitMs is replaced by silence

// What a recording has done, and what it is doing: from IKrAviWriter::GetRecordingStatus. All of it counts
// from the opening of the file, and is kept after the close until the next open.
struct SKrRecordingStatus
{
    uint32_t size;               // set by the caller: sizeof(SKrRecordingStatus)
    uint32_t state;              // kKrState...
    uint32_t systemError;        // the system's number of the first failed write or flush; 0: none
    uint32_t segments;           // 'RIFF' lists in the file
    uint64_t framesWritten;      // queued ones; direct chunks count in bytesWritten and framesInIndex only
    uint64_t audioChunksWritten; // likewise
    uint64_t bytesWritten;       // headers, indexes and padding included
    uint64_t queuedFrames;       // accepted and not yet released
    uint64_t queuedAudioChunks;  // likewise
    uint64_t queuedBytes;        // of both, by the lengths at their submission
    uint64_t mostQueuedBytes;    // the highest that it was
    uint64_t samplesRefused; // by a submission, for the limit or a failed write; late sound that was dropped
    uint64_t samplesPassedOver; // they could not be locked, or had no bytes, when they were to be written
    uint64_t longestWriteUs;    // microseconds, a write under way included
    uint64_t longestFlushUs;    // likewise
    uint64_t framesInIndex;     // that whoever opens the file now finds
    uint32_t reserved[4];       // 0
};

// Bits of SKrRecordingStatus::state.
constexpr uint32_t kKrStateOpen = 1;           // a file is open
constexpr uint32_t kKrStateWriteFailed = 2;    // the recording has stopped
constexpr uint32_t kKrStateFlushFailed = 4;    // the recording goes on
constexpr uint32_t kKrStateSuperIndexFull = 8; // later chunks are in the file, but in no OpenDML index
constexpr uint32_t kKrStateSoundIsLate = 16;   // frames are written whose sound has not come

static_assert(sizeof(SKrRiffChunkInfo) == 24 && offsetof(SKrRiffChunkInfo, offset) == 16, "fixed layout");
static_assert(offsetof(SKrRiffChunkInfo, cksize) == 4 && offsetof(SKrRiffChunkInfo, fccType) == 8,
              "fixed layout");
static_assert(sizeof(SKrRiffChunkNode) == 24 && offsetof(SKrRiffChunkNode, chunk) == 0, "fixed layout");
static_assert(sizeof(SKrChunkIndexEntry) == 16 && offsetof(SKrChunkIndexEntry, size) == 8 &&
                  offsetof(SKrChunkIndexEntry, reserved) == 12,
              "fixed layout");
static_assert(sizeof(SKrStreamProperties) == 64 && offsetof(SKrStreamProperties, type) == 4 &&
                  offsetof(SKrStreamProperties, handler) == 8 &&
                  offsetof(SKrStreamProperties, chunkId) == 12 && offsetof(SKrStreamProperties, rate) == 16 &&
                  offsetof(SKrStreamProperties, scale) == 20 && offsetof(SKrStreamProperties, start) == 24 &&
                  offsetof(SKrStreamProperties, length) == 28 &&
                  offsetof(SKrStreamProperties, sampleSize) == 32 &&
                  offsetof(SKrStreamProperties, suggestedBufferSize) == 36 &&
                  offsetof(SKrStreamProperties, formatSize) == 40 &&
                  offsetof(SKrStreamProperties, flags) == 44 &&
                  offsetof(SKrStreamProperties, droppedEntries) == 48 &&
                  offsetof(SKrStreamProperties, reserved) == 52,
              "fixed layout");
static_assert(sizeof(SKrStreamIndexEntry) == 16 && offsetof(SKrStreamIndexEntry, size) == 8 &&
                  offsetof(SKrStreamIndexEntry, flags) == 12,
              "fixed layout");
static_assert(sizeof(SKrAudioChunkPattern) == 16 && offsetof(SKrAudioChunkPattern, bytesPerPeriod) == 4 &&
                  offsetof(SKrAudioChunkPattern, chunksPerPeriod) == 8 &&
                  offsetof(SKrAudioChunkPattern, lastChunkBytes) == 12,
              "fixed layout");
static_assert(sizeof(SKrAviVideoParams) == 36 && offsetof(SKrAviVideoParams, displayHeight) == 2 &&
                  offsetof(SKrAviVideoParams, bitCount) == 4 && offsetof(SKrAviVideoParams, reservedA) == 8 &&
                  offsetof(SKrAviVideoParams, aspectMode) == 12 &&
                  offsetof(SKrAviVideoParams, frameRate) == 16 &&
                  offsetof(SKrAviVideoParams, scanMode) == 20 &&
                  offsetof(SKrAviVideoParams, reservedB) == 24 && offsetof(SKrAviVideoParams, width) == 28 &&
                  offsetof(SKrAviVideoParams, height) == 32,
              "fixed layout");
static_assert(sizeof(SKrWaveFormatInfo) == 20 && offsetof(SKrWaveFormatInfo, channels) == 4 &&
                  offsetof(SKrWaveFormatInfo, samplesPerSec) == 8 &&
                  offsetof(SKrWaveFormatInfo, avgBytesPerSec) == 12 &&
                  offsetof(SKrWaveFormatInfo, blockAlign) == 16 &&
                  offsetof(SKrWaveFormatInfo, bitsPerSample) == 18,
              "fixed layout");
static_assert(sizeof(SKrMediaInfo) == 40 && offsetof(SKrMediaInfo, audioStreamCount) == 2 &&
                  offsetof(SKrMediaInfo, width) == 4 && offsetof(SKrMediaInfo, height) == 8 &&
                  offsetof(SKrMediaInfo, reservedA) == 12 && offsetof(SKrMediaInfo, aspectMode) == 16 &&
                  offsetof(SKrMediaInfo, frameRate) == 20 && offsetof(SKrMediaInfo, scanMode) == 24 &&
                  offsetof(SKrMediaInfo, reservedB) == 28 && offsetof(SKrMediaInfo, channels) == 32 &&
                  offsetof(SKrMediaInfo, bitsPerSample) == 34 && offsetof(SKrMediaInfo, samplesPerSec) == 36,
              "fixed layout");
static_assert(sizeof(SKrRecordingOptions) == 48 && offsetof(SKrRecordingOptions, chunkSpacingMs) == 4 &&
                  offsetof(SKrRecordingOptions, submissionDelayMs) == 8 &&
                  offsetof(SKrRecordingOptions, queueWaitMs) == 12 &&
                  offsetof(SKrRecordingOptions, queueLimit) == 16 &&
                  offsetof(SKrRecordingOptions, audioWaitMs) == 24 &&
                  offsetof(SKrRecordingOptions, flags) == 28 &&
                  offsetof(SKrRecordingOptions, preallocation) == 32 &&
                  offsetof(SKrRecordingOptions, reserved) == 40,
              "fixed layout");
static_assert(sizeof(SKrRecordingStatus) == 128 && offsetof(SKrRecordingStatus, state) == 4 &&
                  offsetof(SKrRecordingStatus, systemError) == 8 &&
                  offsetof(SKrRecordingStatus, segments) == 12 &&
                  offsetof(SKrRecordingStatus, framesWritten) == 16 &&
                  offsetof(SKrRecordingStatus, audioChunksWritten) == 24 &&
                  offsetof(SKrRecordingStatus, bytesWritten) == 32 &&
                  offsetof(SKrRecordingStatus, queuedFrames) == 40 &&
                  offsetof(SKrRecordingStatus, queuedAudioChunks) == 48 &&
                  offsetof(SKrRecordingStatus, queuedBytes) == 56 &&
                  offsetof(SKrRecordingStatus, mostQueuedBytes) == 64 &&
                  offsetof(SKrRecordingStatus, samplesRefused) == 72 &&
                  offsetof(SKrRecordingStatus, samplesPassedOver) == 80 &&
                  offsetof(SKrRecordingStatus, longestWriteUs) == 88 &&
                  offsetof(SKrRecordingStatus, longestFlushUs) == 96 &&
                  offsetof(SKrRecordingStatus, framesInIndex) == 104 &&
                  offsetof(SKrRecordingStatus, reserved) == 112,
              "fixed layout");

#endif
