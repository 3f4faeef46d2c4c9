// Some frames of a file, and what belongs to them of all other streams.
#ifndef KR_TOOLS_COPIER_KRFRAMECUT_H
#define KR_TOOLS_COPIER_KRFRAMECUT_H

#include "tools/copier/KrCarriedSource.h"

#include <cstdint>
#include <optional>

namespace KrTool
{
class CKrReport;

enum class EKrCutStart
{
    Exact,    // at the frame, whether or not it needs others
    KeyBefore // at the key frame that it needs
};

struct SKrCutRange
{
    uint64_t first = 0;
    std::optional<uint64_t> last; // inclusive; nothing: to the end
    EKrCutStart start = EKrCutStart::Exact;
};

struct SKrTakenFrames
{
    uint64_t first = 0;
    uint64_t end = 0;
};

// Removes the chunks outside of the range, and sets the starts and lengths of the streams. Frames count those
// of the first video stream. Throws CKrToolError for frames that the file does not have.
SKrTakenFrames CutFrames(SKrCarriedSource& source, const SKrCutRange& range, CKrReport& report);
} // namespace KrTool

#endif
