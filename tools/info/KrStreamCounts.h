// How many chunks each stream has, from its index or, where it has none, from a scan of the file.
#ifndef KR_TOOLS_INFO_KRSTREAMCOUNTS_H
#define KR_TOOLS_INFO_KRSTREAMCOUNTS_H

#include <cstdint>
#include <optional>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;
struct SKrAviFacts;

struct SKrStreamCount
{
    uint64_t chunks = 0;
    uint64_t bytes = 0;
    std::optional<uint64_t> keys; // chunks marked as key frames; nothing where none is, or there is no index
    uint64_t firstPosition = 0;   // of the data of the first chunk that has some; 0: none has
};

// One for each stream of the headers; nothing for a stream whose chunks were not found. `isUnfinished`: the
// headers and the lists around the data may be those of the start of a recording.
std::vector<std::optional<SKrStreamCount>> CountChunks(const CKrAviFile& file, const SKrAviFacts& facts,
                                                       bool isUnfinished, CKrProgress& progress);
} // namespace KrTool

#endif
