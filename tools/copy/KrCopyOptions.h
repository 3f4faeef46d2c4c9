// What the verbs that copy frames and sound into a new file share.
#ifndef KR_TOOLS_COPY_KRCOPYOPTIONS_H
#define KR_TOOLS_COPY_KRCOPYOPTIONS_H

#include "tools/copier/KrStreamChoice.h"

#include <string>

namespace KrTool
{
class CKrVerbOptions;

enum class EKrLayout
{
    Carried,  // everything, as the copier writes it
    Recording // as the library's writer does
};

struct SKrCopyOptions
{
    std::string output;
    SKrStreamChoice streams;
    EKrLayout layout = EKrLayout::Carried;
    bool dropEmpty = false;
    bool force = false;

    [[nodiscard]] bool IsRecording() const { return layout == EKrLayout::Recording; }
};

// Adds all but the output.
void AddCopyOptions(CKrVerbOptions& verb, SKrCopyOptions& options);

// For the help of these verbs: what a copy holds, and what the other layout cannot store.
extern const char kWhatIsCarried[];
extern const char kWhatIsRefused[];
} // namespace KrTool

#endif
