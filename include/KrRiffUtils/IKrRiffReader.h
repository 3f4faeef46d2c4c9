// The reader of RIFF files, in particular of AVI files (AVI 1.0 with OpenDML 1.02).
#ifndef KRRIFFUTILS_IKRRIFFREADER_H
#define KRRIFFUTILS_IKRRIFFREADER_H

#include "IKrUnknown.h"
#include "KrFramework.h"
#include "KrRiffTypes.h"

// Opens one file at a time and gives access to its stream formats, chunk tree, stream indexes and raw bytes,
// and to chunk searches.
//
// Call order: Open, then anything, then Close or Release. Statuses are 1 for success and 0 for failure; no
// operation reports why it failed.
//
// Threads: all operations may be called from any thread. A reader has one lock. Open, Close, the walks, the
// chunk search and the index loads only try it: while another thread is inside one of them, they refuse (0,
// null, or nothing done) instead of waiting. GetFileLength waits for it. ReadChunkData and ReadAt take no
// lock, may run on several threads at once, and during Close and Open read the file that was open when they
// started. The two stream queries take none either and report the last Open that parsed a file, even after
// Close, when only the frame count is 0. GetStreamCount, GetStreamProperties, ReadStreamFormat and
// GetGrowingState take none and report the open file as of the last Open or Refresh; its headers are read
// when first asked for. A walk or search is state of the reader, not of the thread, and its nodes and records
// are valid until the file is closed: hosts that share a reader serialise walks and searches. See
// docs/threads.md.
class IKrRiffReader : public IKrUnknown
{
public:
    // Opens a file, shared for reading only, and parses its headers; the indexes are not read yet. Returns 1
    // at once, with no effect, when this path is already open (the same text; case-insensitive on Windows);
    // otherwise the open file is closed first, even if the new one cannot be opened. Files of 200 bytes or
    // less are refused. A file that is not RIFF 'AVI ' opens if a chunk header is found at or after byte 200.
    // Also refused: a file that is open for writing elsewhere, and any call while another thread is inside
    // the reader, whose file then stays open.
    virtual int Open(const wchar_t* path) = 0;

    // Closes the file; nodes and records handed out become invalid. While another thread holds the reader's
    // lock the file stays open; the call does not report that.
    virtual void Close() = 0;

    // Returns the length of the open file in bytes, or 0 when no file is open. Waits for the reader's lock.
    virtual uint64_t GetFileLength() = 0;

    // Starts a walk over the top-level RIFF segments: 'AVI ', then each 'AVIX' (OpenDML 1.02). Returns 1
    // when there is one. With no file open it returns 0 and leaves the reader locked by the calling
    // thread: other threads are refused from then on.
    virtual int FindFirstRiffSegment() = 0;

    // Reports the current segment and advances. Returns 1 when more segments follow, and 0, with the outputs
    // still filled, when the one just reported is the last. Returns 0 and leaves the outputs alone when no
    // walk is under way. `node` may be null.
    virtual int FindNextRiffSegment(uint32_t* formType, uint32_t* size, uint64_t* dataOffset,
                                    SKrRiffChunkNode** node) = 0;

    // Starts a walk over the direct sub-chunks of a 'RIFF' or 'LIST' node. Returns 1 when there is one; 0
    // for any other node.
    virtual int FindFirstSubChunk(SKrRiffChunkNode* node) = 0;

    // Reports the current sub-chunk and advances, with the same rule for the last one as FindNextRiffSegment.
    // `type` is the list type of a 'LIST', else 0. `node` may be null.
    virtual int FindNextSubChunk(uint32_t* ckid, uint32_t* type, uint32_t* size, uint64_t* dataOffset,
                                 SKrRiffChunkNode** node) = 0;

    // Reads a chunk's payload of `cksize` bytes and returns the number of bytes read; 0 when the buffer is
    // smaller than `cksize`. For 'RIFF' and 'LIST' the read starts after the form or list type and still
    // takes `cksize` bytes, so that its last four lie past the chunk.
    virtual uint32_t ReadChunkData(const SKrRiffChunkInfo* chunk, uint8_t* buffer, uint32_t bufferSize) = 0;

    // Reads up to `count` bytes at an absolute file position into the caller's buffer and returns how many
    // were read; 0 on failure and past the end of the file. A position whose low 32 bits are all ones is
    // refused.
    virtual uint32_t ReadAt(uint64_t position, void* buffer, uint32_t count) = 0;

    // Returns the last RIFF segment, or null when there is none. The record belongs to the reader and is
    // valid until the file is closed. Leaves the segment walk at its end.
    virtual SKrRiffChunkInfo* GetLastRiffSegment() = 0;

    // Starts a search for chunks by id from an absolute file position, through all containers, depth first. A
    // position with all bits set means the first chunk after the header list. A chunk of size 0 is found only
    // when it is 'JUNK'. Returns 1 when there is a match. An empty set returns 0 and does not affect an
    // earlier search. The set is copied.
    virtual int FindFirstChunk(const CDWordArray* fourccs, uint64_t startPosition) = 0;

    // Reports the current match and searches for the next. Returns 1 when there is one, and 0, with the
    // outputs still filled, when the match just reported is the last; each further call reports it again.
    // `record` may be null; a record is valid until the search ends. Without a search under way it throws
    // std::out_of_range.
    virtual int FindNextChunk(uint32_t* ckid, uint32_t* fccType, uint32_t* size, uint64_t* dataOffset,
                              SKrRiffChunkInfo** record) = 0;

    // Ends the search and frees its records.
    virtual void EndChunkSearch() = 0;

    // Reports the first usable video stream: one whose width, height and bits per pixel are above 0, in a
    // file whose 'avih' has the index flag. GetStreamProperties knows all the others. Returns the frame
    // count: 'avih' dwTotalFrames (AVI 1.0) until a video index was loaded, then the number of its entries.
    // `videoChunkId` receives the id of the first video data chunk, such as '00dc', or 0. `formatValid`
    // receives 1 when the format is usable; only then `format`, `compression` (biCompression) and `bitCount`
    // (biBitCount) are filled.
    virtual uint32_t GetVideoStreamInfo(SKrAviVideoParams* format, uint32_t* compression, uint16_t* bitCount,
                                        int* formatValid, uint32_t* videoChunkId) = 0;

    // Reports the first usable audio stream: one whose sample rate and bits per sample are above 0, so that
    // many compressed ones are none. GetStreamProperties knows all the others. Returns 0, with nothing
    // written, when no audio data chunk was found. `audioChunkId` receives the id of the first one, such as
    // '01wb'. `formatValid` receives 1 when the format is usable; only then `format` and `duration` (seconds,
    // may be null) are filled.
    virtual int GetAudioStreamInfo(SKrWaveFormatInfo* format, int* formatValid, uint32_t* audioChunkId,
                                   double* duration) = 0;

    // Loads the index of the video stream into the caller's array, exactly one entry for each frame that lies
    // inside the file. Reads OpenDML 1.02 indexes, else 'idx1' (AVI 1.0), whose positions have 32 bits. An
    // index that starts at or beyond 2 GiB cannot be loaded. After a failure (0) the array's content is
    // undefined.
    virtual int LoadVideoIndex(CArray<SKrChunkIndexEntry>& out) = 0;

    // The same for the first usable audio stream, with a summary of its chunk sizes. Reads the kind of index,
    // OpenDML or 'idx1', that the video stream has. LoadStreamIndex loads those of all streams.
    virtual int LoadAudioIndex(CArray<SKrChunkIndexEntry>& out, SKrAudioChunkPattern* pattern) = 0;

    // The number of streams of any type that the open file's header list describes: its 'strl' lists (AVI
    // 1.0), at most the first 100. Unlike the queries above this does not depend on the index flag of 'avih',
    // nor on formats that the reader knows. 0 when no file is open, for a file that is not RIFF 'AVI ', and
    // when its headers cannot be read. Takes no lock.
    virtual uint32_t GetStreamCount() = 0;

    // Fills the caller's record, whose `size` the caller has set: exactly so many bytes as the record had
    // when it was published, or as this library knows, whichever is less. Streams are numbered from 0, in the
    // order of their 'strl' lists. Returns 0 and writes nothing for a null record, a size below 64, a stream
    // that is not there, and when the file cannot be read. Takes no lock.
    virtual int GetStreamProperties(uint32_t stream, SKrStreamProperties* properties) = 0;

    // Copies the first `size` bytes of the stream's 'strf', or as many as there are, into the caller's buffer
    // and returns how many: a BITMAPINFOHEADER with what follows it for 'vids', a WAVEFORMATEX with its extra
    // bytes for 'auds' (AVI 1.0). 0 when there are none and after a failure. Takes no lock.
    virtual uint32_t ReadStreamFormat(uint32_t stream, void* buffer, uint32_t size) = 0;

    // Loads the chunks of a stream of any type, empty ones included, into the caller's array in the order of
    // the stream's index, from number `first` on; numbers count from 0 and count every entry of the index.
    // Reads the stream's own 'indx' (OpenDML 1.02: standard and field indexes, also through super indexes of
    // super indexes), and of that only the blocks that hold these entries; a stream without one has the
    // entries of 'idx1' (AVI 1.0) whose ids begin with its number in two decimal digits, of all segments and
    // in 'rec ' lists too. The offsets in 'idx1' count from the start of the file, from the list type of
    // 'movi', or from the first chunk, whichever meets most chunks of the ids that the entries name. An entry
    // whose bytes are not all in the file is left out, and counted in SKrStreamProperties::droppedEntries.
    // Returns 1, with an empty array, also when there are no entries from `first` on; 0 for a stream that has
    // no index, or is not there. After a failure (0) the array's content is undefined.
    virtual int LoadStreamIndex(uint32_t stream, uint64_t first, CArray<SKrStreamIndexEntry>& out) = 0;

    // Opens a file that a writer may have open, in this process or another one, and keeps nobody from
    // writing, replacing or deleting it; a recording that replaces the file is not followed. The header list
    // must be complete, data chunks need not be there, and a size of 0 or all ones of a 'RIFF' or of 'movi'
    // means to the end of the file. All other operations then answer for the file as it was at the last
    // Refresh. Always opens the file anew; Open of the same path then returns 1 and the file stays growing.
    // Files of 200 bytes or less, and files that are not RIFF 'AVI ', are refused. Closes the open file and
    // is refused as Open is.
    virtual int OpenGrowing(const wchar_t* path) = 0;

    // Takes in what was added to a file of OpenGrowing: its length, segments, indexes, and counts. Returns 1
    // when there is more than before, 0 when there is nothing new or the file was not opened as growing, -1
    // when no file is open, the file cannot be read, or another thread is inside the reader: nothing has
    // changed then. Nodes that were handed out stay valid and have their new sizes; entries that
    // LoadStreamIndex gave keep their numbers, and only chunks that are whole are added. What makes no sense,
    // since it is being written at this moment, is taken by a later Refresh. Costs the same whatever the
    // length of the file. Once nobody has the file open for writing the reader shares it with other readers
    // only, as Open does.
    virtual int Refresh() = 0;

    // Whether the recording of OpenGrowing goes on, as of the last Refresh: 0 when no file was opened as
    // growing, 1 while it is being written, and before a Refresh found nothing new; 2 when nobody writes and
    // it is complete: the last segment ends where the file ends, and in its 'movi' there are only chunks that
    // an index names, fillers and indexes; 3 when nobody writes and it is not complete. On Linux a program
    // that does not lock its files with flock, as ours do, counts as writing only while the file changes.
    // Takes no lock.
    virtual uint32_t GetGrowingState() = 0;
};

#endif
