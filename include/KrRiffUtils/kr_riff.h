// The C interface: reads and writes AVI files (AVI 1.0 with OpenDML 1.02) from C11 and from every language
// that can call C. Link with KrRiffUtilsC alone; it contains the whole library. docs/c-hosts.md is a
// tour.
//
// Results. Every operation returns a kr_result: KR_OK, one of the two positive answers that are not failures,
// or a negative error. Outputs are written with KR_OK only, unless an operation says otherwise. Each reader
// and writer remembers its last error with the system's number for it.
//
// Handles. A reader, writer or index is made by the library, and freed once by the host. A handle that is
// null, was never made or is freed already gives KR_ERROR_HANDLE; nothing is dereferenced.
//
// Records begin with their size in bytes, set by the caller. Later versions may add fields at the end: the
// library reads and writes only as many bytes as the caller's record has. A size below the one published here
// gives KR_ERROR_ARGUMENT. Reserved fields are 0.
//
// Text is UTF-8 and ends with a zero. Positions, sizes and lengths are in bytes.
//
// Threads. All operations may be called from any thread. Reading bytes, asking for streams and submitting
// samples run beside everything else; an operation that finds another thread at work in the same reader
// returns KR_ERROR_BUSY instead of waiting. Freeing a handle while another thread uses it is safe: the object
// goes when that call has returned.
//
// Callbacks. The library holds no lock while it runs one. Those of a kr_input or kr_output belong to the
// operation that needs the bytes. Until it ends, operations that need the same reader for themselves return
// KR_ERROR_BUSY on other threads; on the same writer opening, closing and direct chunks wait for it, so that
// a callback must not wait for a thread that is inside one of these. No other operation waits for a callback.
// From inside such a callback every operation on its own handle returns KR_ERROR_CALLBACK, except that status
// and last error may always be asked for. From inside the release callback of a sample more samples may be
// submitted. Other handles may be used everywhere. A callback must return: no longjmp, no exception.
#ifndef KRRIFFUTILS_KR_RIFF_H
#define KRRIFFUTILS_KR_RIFF_H

#include "KrVersion.h"

#include <stddef.h>
#include <stdint.h>

// Before each function: it has C's linkage, and on Linux it is not hidden.
#if defined(__cplusplus) && defined(__ELF__)
#define KR_API extern "C" __attribute__((visibility("default")))
#elif defined(__cplusplus)
#define KR_API extern "C"
#else
#define KR_API extern
#endif

// The outcome of an operation: one of the values below.
typedef int32_t kr_result;

// Values of kr_result. None changes its number; new ones may be added.
enum
{
    KR_OK = 0,              // done
    KR_NOT_DECLARED = 1,    // the file does not declare this value
    KR_NOTHING_NEW = 2,     // a refresh found nothing that was not there before
    KR_ERROR_HANDLE = -1,   // the handle is null, freed, or not of this kind
    KR_ERROR_ARGUMENT = -2, // a null pointer, a number out of range, a record of unknown size, text not UTF-8
    KR_ERROR_MEMORY = -3,   // out of memory
    KR_ERROR_CLOSED = -4,   // no file is open
    KR_ERROR_BUSY = -5,     // another thread is at work in this reader: try again
    KR_ERROR_CALLBACK = -6, // not from inside a callback of this handle
    KR_ERROR_NOT_FOUND = -7,   // no such file or folder
    KR_ERROR_ACCESS = -8,      // the system does not permit it, or it is not a regular file
    KR_ERROR_IN_USE = -9,      // the file is open elsewhere, for writing or at all
    KR_ERROR_OPEN = -10,       // the file cannot be opened or created, for another reason
    KR_ERROR_FORMAT = -11,     // not an AVI file, or damaged where it matters
    KR_ERROR_NO_STREAM = -12,  // no such stream, or none that can be used
    KR_ERROR_NO_INDEX = -13,   // the stream has no index, or it cannot be read
    KR_ERROR_READ = -14,       // reading failed
    KR_ERROR_WRITE = -15,      // writing failed; the recording has stopped, what was written is kept
    KR_ERROR_REFUSED = -16,    // the sample was not taken: no room in the queue in time
    KR_ERROR_INCOMPLETE = -17, // the file was closed and can be read, but lacks something that was submitted
    KR_ERROR_INTERNAL = -18    // a fault of the library
};

// Opaque handles. They are numbers in the form of pointers.
typedef struct kr_reader kr_reader;
typedef struct kr_writer kr_writer;
typedef struct kr_index kr_index;

// A FourCC as files store it: KR_FOURCC('M', 'J', 'P', 'G').
#define KR_FOURCC(a, b, c, d)                                                                                \
    ((uint32_t)(uint8_t)(a) | ((uint32_t)(uint8_t)(b) << 8) | ((uint32_t)(uint8_t)(c) << 16) |               \
     ((uint32_t)(uint8_t)(d) << 24))

// For ever, where a number of milliseconds is asked for.
#define KR_FOR_EVER 0xFFFFFFFFu

// ---- version, texts, log ----

// The version of the library that runs, in the form of KR_RIFF_UTILS_VERSION, which is the one that the host
// was compiled with.
KR_API uint32_t kr_version(void);

// What a result means, in a few English words without a full stop: never null, also for unknown numbers. The
// text is static.
KR_API const char* kr_error_text(kr_result result);

// Receives one line for each operation that failed, such as "kr_reader_open: file not found (system error
// 2)". May be called on several threads at once, on the one whose operation failed.
typedef void (*kr_log_fn)(void* context, kr_result result, const char* text);

// Sets who is told of errors, of all handles: nobody at first, and with a null callback. The one before may
// still be running on another thread when this returns. What fails inside a log callback is not logged.
KR_API kr_result kr_set_log(kr_log_fn callback, void* context);

// The last failure of a handle.
typedef struct kr_error
{
    uint32_t size;         // in: sizeof(kr_error)
    kr_result result;      // KR_OK when nothing has failed yet
    uint32_t system_error; // errno, GetLastError, or what a callback returned; 0 when there is none
    uint32_t reserved;     // 0
} kr_error;

// ---- reading ----

// A stream, in the order of the file's 'strl' lists.
typedef struct kr_stream
{
    uint32_t size;                  // in: sizeof(kr_stream)
    uint32_t type;                  // 'vids', 'auds', 'txts', 'mids', ...
    uint32_t handler;               // FourCC
    uint32_t chunk_id;              // of its first data chunk, such as '00dc'; 0: it has none
    uint32_t rate;                  // rate / scale: frames or sample frames per second
    uint32_t scale;                 // see rate
    uint32_t start;                 // in units of scale / rate seconds
    uint32_t length;                // likewise
    uint32_t sample_size;           // bytes; 0: varies
    uint32_t suggested_buffer_size; // bytes
    uint32_t format_size;           // bytes of its format, see kr_reader_stream_format
    uint32_t flags;                 // KR_STREAM_...
    uint32_t dropped_entries;       // index entries outside the file, by the last kr_reader_load_index
    uint32_t reserved[3];           // 0
} kr_stream;

// Flags of kr_stream.
#define KR_STREAM_HAS_OPENDML_INDEX 1u // an 'indx' of its own
#define KR_STREAM_HAS_OLD_INDEX 2u     // entries in 'idx1'
#define KR_STREAM_HAS_SCAN_MODE 4u     // the file declares its scan mode
#define KR_STREAM_HAS_PIXEL_ASPECT 8u  // and its pixel aspect ratio

// The first usable video stream: width, height and bits per pixel are above 0, and 'avih' has the index flag.
typedef struct kr_video
{
    uint32_t size;           // in: sizeof(kr_video)
    uint32_t frames;         // by the headers of the file
    uint32_t width;          // stored pixels
    uint32_t height;         // stored pixels
    uint32_t display_width;  // pixels, with the pixel aspect ratio applied
    uint32_t display_height; // pixels
    uint32_t compression;    // FourCC; 0: uncompressed
    uint32_t bit_count;      // bits per pixel
    uint32_t aspect_mode;    // 0: 4:3, 1: 16:9, 3: another shape
    uint32_t frame_rate;     // KR_RATE_..., the nearest to the one in kr_stream; 0xFFFFFFFF: there is none
    int32_t scan_mode;       // KR_SCAN_..., a guess where the file declares none
    uint32_t chunk_id;       // of the first frame; 0: none was found
    uint32_t reserved[4];    // 0
} kr_video;

// The first usable sound stream: sample rate and bits per sample are above 0, so that many compressed ones
// are none. kr_reader_stream knows every stream.
typedef struct kr_audio
{
    uint32_t size;            // in: sizeof(kr_audio)
    uint32_t format_tag;      // 1: PCM
    uint32_t channels;        // samples of one sample frame
    uint32_t samples_per_sec; // sample frames per second
    uint32_t bytes_per_sec;   // as stored
    uint32_t block_align;     // bytes of one sample frame
    uint32_t bits_per_sample; // of one channel
    uint32_t chunk_id;        // of the first block
    double duration;          // seconds
    uint32_t reserved[4];     // 0
} kr_audio;

// Scan modes.
#define KR_SCAN_UNKNOWN (-1)
#define KR_SCAN_UPPER_FIELD_FIRST 0
#define KR_SCAN_LOWER_FIELD_FIRST 1
#define KR_SCAN_PROGRESSIVE 2

// Frame rates that can be written.
#define KR_RATE_23_976 0u
#define KR_RATE_24 1u
#define KR_RATE_25 2u
#define KR_RATE_29_97 3u
#define KR_RATE_30 4u
#define KR_RATE_50 5u
#define KR_RATE_59_94 6u
#define KR_RATE_60 7u

// A chunk of a stream.
typedef struct kr_index_entry
{
    uint64_t position; // of its first byte, for kr_reader_read
    uint32_t size;     // bytes; 0: an empty chunk, which repeats the frame before
    uint32_t flags;    // 1: key frame
} kr_index_entry;

// Where bytes come from that are not in a file of the system: memory, a store, an archive. The callbacks may
// be called on several threads at once, and return 0 or an error number of the host's own, which is reported
// as the system error of the operation that failed.
typedef struct kr_input
{
    uint32_t size; // in: sizeof(kr_input)
    void* context; // passed to the callbacks

    // Stores the length in bytes.
    int32_t (*get_size)(void* context, uint64_t* length);

    // Copies up to `count` bytes at `position` into the buffer and stores how many; fewer only at the end.
    int32_t (*read_at)(void* context, uint64_t position, void* buffer, size_t count, size_t* copied);

    // Called once, after the last call of the others, if the open succeeded. May be null.
    void (*release)(void* context);
} kr_input;

// Makes a reader with no file open. KR_ERROR_ARGUMENT, KR_ERROR_MEMORY.
KR_API kr_result kr_reader_create(kr_reader** out);

// Closes the file and frees the handle. KR_ERROR_HANDLE; KR_ERROR_CALLBACK, then nothing is freed.
KR_API kr_result kr_reader_free(kr_reader* reader);

// Opens a file, shared with other readers only, and reads its headers. An open file is closed first, unless
// it is this very path, which stays as it is. KR_ERROR_NOT_FOUND, KR_ERROR_ACCESS, KR_ERROR_IN_USE (open for
// writing elsewhere), KR_ERROR_OPEN, KR_ERROR_READ; KR_ERROR_FORMAT for 200 bytes or less and for what holds
// no chunk; KR_ERROR_BUSY, which leaves the old file open.
KR_API kr_result kr_reader_open(kr_reader* reader, const char* path);

// The same for bytes from callbacks, whose record is copied.
KR_API kr_result kr_reader_open_input(kr_reader* reader, const kr_input* input);

// Opens a file that may be being written, in this process or another, and keeps nobody from that. The file is
// as of the last kr_reader_refresh. Always opens anew. Errors as kr_reader_open.
KR_API kr_result kr_reader_open_growing(kr_reader* reader, const char* path);

// Takes in what was added to a file of kr_reader_open_growing. KR_OK: there is more; KR_NOTHING_NEW.
// KR_ERROR_CLOSED, KR_ERROR_BUSY; KR_ERROR_READ, nothing has changed then.
KR_API kr_result kr_reader_refresh(kr_reader* reader);

// As of the last refresh. 0: not opened as growing; 1: being written; 2: complete; 3: abandoned.
KR_API kr_result kr_reader_growing_state(kr_reader* reader, uint32_t* state);

// Closes the file. KR_OK also when none is open; KR_ERROR_BUSY, then it stays open.
KR_API kr_result kr_reader_close(kr_reader* reader);

// The length of the open file in bytes. KR_ERROR_CLOSED.
KR_API kr_result kr_reader_size(kr_reader* reader, uint64_t* size);

// The number of streams of any type, at most 100; 0 for a file that is not RIFF 'AVI '. KR_ERROR_CLOSED,
// KR_ERROR_READ.
KR_API kr_result kr_reader_stream_count(kr_reader* reader, uint32_t* count);

// Fills a record whose size is set. Streams count from 0. KR_ERROR_NO_STREAM, KR_ERROR_CLOSED, KR_ERROR_READ.
KR_API kr_result kr_reader_stream(kr_reader* reader, uint32_t stream, kr_stream* out);

// Copies the first `size` bytes of the stream's 'strf' into the buffer, or as many as there are, and stores
// how many: a BITMAPINFOHEADER and what follows it for 'vids', a WAVEFORMATEX and what follows it for 'auds'.
KR_API kr_result kr_reader_stream_format(kr_reader* reader, uint32_t stream, void* buffer, uint32_t size,
                                         uint32_t* copied);

// The first usable video stream, and the first usable sound stream. KR_ERROR_NO_STREAM, KR_ERROR_CLOSED.
KR_API kr_result kr_reader_video(kr_reader* reader, kr_video* out);
KR_API kr_result kr_reader_audio(kr_reader* reader, kr_audio* out);

// Loads the chunks of a stream, from number `first` on, in the order of its index; none is KR_OK as well. The
// index is a copy, which stays valid after the reader is closed, until kr_index_free. KR_ERROR_NO_INDEX,
// KR_ERROR_NO_STREAM, KR_ERROR_READ, KR_ERROR_BUSY, KR_ERROR_CLOSED, KR_ERROR_MEMORY.
KR_API kr_result kr_reader_load_index(kr_reader* reader, uint32_t stream, uint64_t first, kr_index** out);

// The entries of an index and their number. They belong to the index; null when there are none.
KR_API kr_result kr_index_entries(kr_index* index, const kr_index_entry** entries, uint64_t* count);

// Frees an index. Its entries are gone then, whoever is reading them.
KR_API kr_result kr_index_free(kr_index* index);

// Copies up to `count` bytes at `position` and stores how many: fewer at the end of the file, where it is
// KR_OK as well. Runs on any number of threads at once, beside every other operation. KR_ERROR_READ,
// KR_ERROR_CLOSED.
KR_API kr_result kr_reader_read(kr_reader* reader, uint64_t position, void* buffer, uint32_t count,
                                uint32_t* copied);

// What the file declares in its private chunks: scan mode (KR_SCAN_...) and pixel aspect ratio, width to
// height, as stored. Flavour 1 or 2 asks one kind of chunk, 0 the first and then the second. KR_NOT_DECLARED
// when there is none; KR_ERROR_ARGUMENT for other flavours, KR_ERROR_BUSY, KR_ERROR_CLOSED.
KR_API kr_result kr_reader_scan_mode(kr_reader* reader, uint32_t flavour, int32_t* scan_mode);
KR_API kr_result kr_reader_pixel_aspect(kr_reader* reader, uint32_t flavour, int32_t* horizontal,
                                        int32_t* vertical);

// The same by path. The file stays open in a cache of the process, for the next query, until kr_clear_cache.
// KR_NOT_DECLARED also when the file cannot be opened.
KR_API kr_result kr_query_scan_mode(const char* path, uint32_t flavour, int32_t* scan_mode);
KR_API kr_result kr_query_pixel_aspect(const char* path, uint32_t flavour, int32_t* horizontal,
                                       int32_t* vertical);

// Closes the cached file of a path, in the very text of the query; of all paths when it is null.
// KR_NOT_DECLARED when there is none.
KR_API kr_result kr_clear_cache(const char* path);

// The last failure of any operation on this reader, by whichever thread.
KR_API kr_result kr_reader_last_error(kr_reader* reader, kr_error* out);

// ---- writing ----

// What a new file holds: one video stream and, with audio_channels, one of PCM sound.
typedef struct kr_clip
{
    uint32_t size;                  // in: sizeof(kr_clip)
    uint32_t width;                 // stored pixels, 1 to 2147483647
    uint32_t height;                // stored pixels, likewise
    uint32_t display_width;         // pixels as shown, at most 65535; 0: width
    uint32_t display_height;        // likewise; 0: height
    uint32_t codec;                 // FourCC of the frames; 0: uncompressed
    uint32_t bit_count;             // bits per pixel, at most 255
    uint32_t frame_rate;            // KR_RATE_...
    int32_t scan_mode;              // KR_SCAN_...
    uint32_t aspect_mode;           // 0: 4:3 picture, 1: 16:9 picture, 3: square pixels; 4 and 5: pixels
                                    // of 648:720 and 864:720
    uint32_t audio_channels;        // 0: no sound; at most 65535
    uint32_t audio_samples_per_sec; // sample frames per second
    uint32_t audio_bits_per_sample; // of one channel: 8, 16, 24 or 32
    uint32_t reserved[3];           // 0
} kr_clip;

// How a file is recorded. kr_recording_options_default fills in the defaults.
typedef struct kr_recording_options
{
    uint32_t size;                // in: sizeof(kr_recording_options)
    uint32_t chunk_spacing_ms;    // least time between two queued chunks that are written; default 5, 0: none
    uint32_t submission_delay_ms; // how long each submission sleeps on purpose; default 1
    uint32_t queue_wait_ms;       // how long a submission waits for room; default KR_FOR_EVER
    uint64_t queue_limit;         // most bytes of samples in the queue; default 0: no limit
    uint32_t audio_wait_ms;       // how long a frame waits for late sound; default KR_FOR_EVER
    uint32_t flags;               // KR_RECORDING_...; default 0
    uint64_t preallocation;       // bytes reserved ahead on the disk; default 0
    uint32_t reserved[2];         // 0
} kr_recording_options;

// Flags of kr_recording_options.
#define KR_RECORDING_POWER_SAFE 1u // data is on the disk before an index names it
#define KR_RECORDING_SILENCE 2u    // late sound is replaced by silence

// What a recording has done since the file was opened; kept after the close until the next open.
typedef struct kr_recording_status
{
    uint32_t size;                 // in: sizeof(kr_recording_status)
    uint32_t state;                // KR_STATE_...
    uint32_t system_error;         // of the first failed write or flush; 0: none
    uint32_t segments;             // 'RIFF' lists in the file
    uint64_t frames_written;       // queued ones
    uint64_t audio_chunks_written; // likewise
    uint64_t bytes_written;        // headers, indexes and padding included
    uint64_t queued_frames;        // accepted and not yet released
    uint64_t queued_audio_chunks;  // likewise
    uint64_t queued_bytes;         // of both
    uint64_t most_queued_bytes;    // the highest that it was
    uint64_t samples_refused;      // by a submission, and late sound that was dropped
    uint64_t samples_passed_over;  // in the queue, and not written
    uint64_t longest_write_us;     // microseconds
    uint64_t longest_flush_us;     // likewise
    uint64_t frames_in_index;      // that whoever opens the file now finds
    uint32_t reserved[4];          // 0
} kr_recording_status;

// Bits of kr_recording_status.state.
#define KR_STATE_OPEN 1u             // a file is open
#define KR_STATE_WRITE_FAILED 2u     // the recording has stopped
#define KR_STATE_FLUSH_FAILED 4u     // the recording goes on
#define KR_STATE_SUPER_INDEX_FULL 8u // later chunks are in no OpenDML index
#define KR_STATE_SOUND_IS_LATE 16u   // frames are written whose sound has not come

// Where a file is written that is not one of the system. The callbacks return 0 or an error number of the
// host's own. Headers and indexes are written again as they change: positions go back. By the defaults one
// thread at a time calls them. With other options two may: one that appends, and one that flushes and changes
// what is there; never for the same bytes.
typedef struct kr_output
{
    uint32_t size; // in: sizeof(kr_output)
    void* context; // passed to the callbacks

    // Writes all bytes at the position; a gap before it reads as zeros.
    int32_t (*write_at)(void* context, uint64_t position, const void* data, size_t count);

    // Makes what was written last. May be null.
    int32_t (*flush)(void* context);

    // Makes the file end at this length. May be null: after a failed write bytes of it may then stay at the
    // end.
    int32_t (*truncate)(void* context, uint64_t length);

    // Called once, after the last call of the others, if the open succeeded. May be null.
    void (*release)(void* context);
} kr_output;

// Told when the library no longer needs the bytes of a sample: once for each sample that was taken, on the
// writer's thread or on the one that closes.
typedef void (*kr_release_fn)(void* context, const void* data);

// Makes a writer with no file open. KR_ERROR_ARGUMENT, KR_ERROR_MEMORY.
KR_API kr_result kr_writer_create(kr_writer** out);

// Closes the file like kr_writer_close, whose result it returns, and frees the handle whatever that is. Only
// with KR_ERROR_HANDLE and KR_ERROR_CALLBACK nothing is freed.
KR_API kr_result kr_writer_free(kr_writer* writer);

// Fills a record whose size is set with the defaults. KR_ERROR_ARGUMENT.
KR_API kr_result kr_recording_options_default(kr_recording_options* options);

// Sets how the next files are recorded, until it is set again; null: by the defaults. KR_ERROR_ARGUMENT for
// flags and sizes that this version does not know. docs/threads.md explains limit, waiting and late sound.
KR_API kr_result kr_writer_set_options(kr_writer* writer, const kr_recording_options* options);

// Closes an open file, replaces the file at `path` and writes the headers. KR_ERROR_ARGUMENT for a clip that
// cannot be written; KR_ERROR_NOT_FOUND (of the folder), KR_ERROR_ACCESS, KR_ERROR_IN_USE, KR_ERROR_OPEN,
// KR_ERROR_WRITE, KR_ERROR_MEMORY; no new file is left behind then.
KR_API kr_result kr_writer_open(kr_writer* writer, const char* path, const kr_clip* clip);

// The same for bytes that go to callbacks, whose record is copied.
KR_API kr_result kr_writer_open_output(kr_writer* writer, const kr_output* output, const kr_clip* clip);

// Queues a frame, or a block of sound, of `length` bytes, 1 to 2147483647. The bytes must stay as they are
// until `release` is called, which may be before this returns. With every result but KR_OK the sample is not
// taken, and `release` is not called. KR_ERROR_CLOSED, KR_ERROR_NO_STREAM (no sound), KR_ERROR_REFUSED,
// KR_ERROR_WRITE, KR_ERROR_MEMORY, KR_ERROR_ARGUMENT. Never waits for the disk. `release` may be null for
// bytes that stay.
KR_API kr_result kr_writer_add_video(kr_writer* writer, const void* data, uint32_t length,
                                     kr_release_fn release, void* context);
KR_API kr_result kr_writer_add_audio(kr_writer* writer, const void* data, uint32_t length,
                                     kr_release_fn release, void* context);

// The same with a copy of the bytes, which are the host's again when this returns.
KR_API kr_result kr_writer_copy_video(kr_writer* writer, const void* data, uint32_t length);
KR_API kr_result kr_writer_copy_audio(kr_writer* writer, const void* data, uint32_t length);

// Writes a chunk now, on this thread, past the queue: for low-level use, see IKrAviWriter.h. Errors as above.
KR_API kr_result kr_writer_write_video_chunk(kr_writer* writer, const void* data, uint32_t length);
KR_API kr_result kr_writer_write_audio_chunk(kr_writer* writer, const void* data, uint32_t length);

// Fills a record whose size is set, all of one moment. Never waits.
KR_API kr_result kr_writer_status(kr_writer* writer, kr_recording_status* out);

// Writes what is queued and the indexes, completes the headers, flushes and closes the file. KR_OK also when
// none is open. KR_ERROR_WRITE when a write or flush failed, KR_ERROR_INCOMPLETE when the file lacks a
// sample, or an index lacks a chunk. The file is closed in any case. Takes five milliseconds for each chunk
// that is queued, by the defaults, and the time of the disk, and cannot be cancelled; kr_writer_status tells
// on another thread how much is left.
KR_API kr_result kr_writer_close(kr_writer* writer);

// The last failure of any operation on this writer, by whichever thread.
KR_API kr_result kr_writer_last_error(kr_writer* writer, kr_error* out);

#endif
