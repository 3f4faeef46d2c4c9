// One change of a file as its undo file holds it: enough to take the change back, however much of it reached
// the disk, and to tell whether the file is the one that was changed.
//
// An undo file is a sequence of such records, the newest last. All numbers are little-endian:
//
//   8 bytes  'KrUndo1', a line feed
//   8        bytes of the record, all of it
//   8        checksum (XXH3) of what follows
//   8, 8     size of the file before the change and after it
//   8        checksum of samples of the file outside of the changed ranges
//   2        bytes of the name that follows: the verb
//   4        number of ranges; then each of them:
//     8, 4     position, and how many bytes the file had there
//     4, 8     how many further ones follow past its old end, and their checksum
//     the bytes that the file had, and as many that replace them
#ifndef KR_TOOLS_MEND_KRUNDORECORD_H
#define KR_TOOLS_MEND_KRUNDORECORD_H

#include "tools/mend/KrBytePatches.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
struct SKrUndoRange
{
    uint64_t position = 0;
    std::vector<uint8_t> oldBytes;
    std::vector<uint8_t> newBytes; // as many
    uint32_t addedBytes = 0;       // after these, past the old end of the file
    uint64_t addedChecksum = 0;

    [[nodiscard]] uint64_t End() const { return position + oldBytes.size() + addedBytes; }
};

// How far a change is done in a file.
enum class EKrUndoState
{
    Before,    // nothing of it
    Between,   // some of it, in any order
    After,     // all of it
    OtherFile, // the file holds something else
};

struct SKrUndoRecord
{
    std::string verb;
    uint64_t oldSize = 0;
    uint64_t newSize = 0;
    uint64_t sampleChecksum = 0;
    std::vector<SKrUndoRange> ranges; // in file order
};

inline constexpr uint8_t kUndoMagic[8] = {'K', 'r', 'U', 'n', 'd', 'o', '1', '\n'};

// Of a change that has not begun; the differences are in file order.
[[nodiscard]] SKrUndoRecord MakeUndoRecord(const CKrByteSource& file,
                                           const std::vector<SKrChangedBytes>& differences,
                                           const std::string& verb);

[[nodiscard]] std::vector<uint8_t> Encode(const SKrUndoRecord& record);

struct SKrDecodedUndo
{
    SKrUndoRecord record;
    uint64_t bytes = 0; // of the record
};
// Nothing where no whole record begins.
[[nodiscard]] std::optional<SKrDecodedUndo> DecodeUndoRecord(std::span<const uint8_t> bytes);

[[nodiscard]] EKrUndoState StateOf(const SKrUndoRecord& record, const CKrByteSource& file);
} // namespace KrTool

#endif
