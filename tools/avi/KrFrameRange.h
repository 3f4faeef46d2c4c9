// Ranges of frames as users give them: --from and --to, each a number, a time or a moment.
#ifndef KR_TOOLS_AVI_KRFRAMERANGE_H
#define KR_TOOLS_AVI_KRFRAMERANGE_H

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
class CKrProgress;
class CKrVerbOptions;

// As given; empty: not given.
struct SKrRangeOptions
{
    std::string from;
    std::string to;

    [[nodiscard]] bool IsGiven() const { return !from.empty() || !to.empty(); }
};

// For the help of verbs with such options.
extern const char kWhatPlacesAre[];

// Adds --from and --to.
void AddRangeOptions(CKrVerbOptions& verb, SKrRangeOptions& range);

// In numbers of frames, the last one included.
struct SKrFrameNumbers
{
    std::optional<uint64_t> first;
    std::optional<uint64_t> last;
    bool isByTime = false; // at least one of them was a time or a moment
};

// Times count at the rate of a video stream of the file, the first one without a number. Throws CKrToolError
// for texts that are no places, for a range that ends before it begins, and where the file has no such rate.
SKrFrameNumbers ReadRange(const SKrRangeOptions& range, const std::string& path,
                          std::optional<uint64_t> stream, CKrProgress& progress);
} // namespace KrTool

#endif
