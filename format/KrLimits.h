// The limits of the files that are read and written, each with its reason.
#ifndef KR_FORMAT_KRLIMITS_H
#define KR_FORMAT_KRLIMITS_H

#include <cstddef>
#include <cstdint>

// What a reader accepts

// No file of up to this size is an AVI file worth reading; a file that is not RIFF 'AVI ' is scanned for
// chunks from here on.
inline constexpr uint64_t kLargestRefusedSize = 200;

// Smallest size field of RIFF 'AVI ': the 8 bytes before it make up the smallest file that is read.
inline constexpr uint32_t kSmallestRiffSize = kLargestRefusedSize - 8 + 1;

// Consecutive empty headers after which walks and the search for the header list give up, so that a long run
// of zeros costs them nothing.
inline constexpr int kWalkZeroLimit = 5;

// Audio streams that are kept, in the order of the headers. Hosts see the first alone.
inline constexpr size_t kMaxAudioStreams = 8;

// Streams 0 to 15 have data chunk ids: their number fits one hexadecimal digit after a zero.
inline constexpr uint32_t kDataStreamLimit = 16;

// Streams that two decimal digits can name, as the ids of their chunks do in other writers' files.
inline constexpr uint32_t kStreamLimit = 100;

// Segments that are looked for. More than any disk holds, with a gigabyte each.
inline constexpr size_t kMostSegments = 4096;

// Levels of index chunks in index chunks: OpenDML describes two, and nobody makes more than three.
inline constexpr int kDeepestIndex = 4;

// A super index is read in slices of this: those of several levels are in memory at the same time.
inline constexpr size_t kSuperIndexSlice = 64 * 1024;

// Entries of 'idx1' that a load passes over at once: for each such piece the reader remembers how many there
// are of each stream.
inline constexpr size_t kOldIndexPiece = 4096;

// Entries of 'idx1' that are tried, beside the first and the last, to find from where its offsets count; and
// entries that stand for no chunk, one after the other, that are passed over for one of them.
inline constexpr uint64_t kSpreadEntries = 64;
inline constexpr uint64_t kMostEntriesPassedOver = 64;

// Chunk headers of 'movi' that are read for the ids of the streams that no index knows.
inline constexpr int kMostHeadersForIds = 1000;

// Index positions are signed 32-bit distances from the start of the file: from 2 GiB on they point before it.
inline constexpr uint32_t kFirstUnreachableIndex = 0x80000000;

// The smallest chunk is its header: a file holds no more chunks, and so no more index entries, than its size
// divided by this.
inline constexpr uint64_t kSmallestChunk = 8;

// An index block is read at once up to this size, which is a million entries of 'idx1', and in slices of it
// beyond: whatever count a file claims, it sizes no more memory.
inline constexpr size_t kLargestIndexSlice = size_t{16} << 20;

// A slice once the indexes of a file have proven to overlap, so that few bytes are read for nothing.
inline constexpr size_t kSmallIndexSlice = 512;

// Bytes of a private chunk that are read. No field lies past them.
inline constexpr uint32_t kPrivateBytesRead = 512;

// The headers of a file that grows are read as a whole up to this. Those of the writer take 66 KB.
inline constexpr uint64_t kLargestFollowedHeader = uint64_t{1} << 20;

// Heads of index chunks that are read without a sign that they grew, so that a look at a growing file of many
// streams takes no more calls than one at a file of two.
inline constexpr uint32_t kHeadsInTurn = 2;

// What the writer makes

// Largest segment: just below 1 GiB, a multiple of 512. The first one stays below it together with its
// 'idx1'; later ones may reach it.
inline constexpr uint32_t kSegmentLimit = 1'069'999'616;

// The whole chunk of a standard index, and of a super index: 63 sectors of 512 bytes, so that a standard
// index leaves what follows it on a sector boundary. 32 bytes are chunk header and head, the rest is for
// entries of 8 bytes in the one and 16 in the other.
inline constexpr uint32_t kIndexChunkSize = 63 * 512;
inline constexpr uint32_t kStdIndexCapacity = (kIndexChunkSize - 32) / 8;
inline constexpr uint32_t kSuperIndexCapacity = (kIndexChunkSize - 32) / 16;

// What 'idx1' takes beside the entries of chunks, at the least: its chunk header, and one more entry, since
// fillers bring its end to a sector boundary. Each segment that will have an 'idx1' keeps room for it.
inline constexpr uint32_t kLeastOldIndexPadding = 16;
inline constexpr uint32_t kOldIndexOverhead = 8 + kLeastOldIndexPadding;

#endif
