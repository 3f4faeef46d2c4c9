// What the verbs that copy frames and sound into a new file share.
#ifndef KR_TOOLS_COPY_KRCOPYOPTIONS_H
#define KR_TOOLS_COPY_KRCOPYOPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
class CKrVerbOptions;

struct SKrCopyOptions
{
    std::string output;
    std::optional<uint64_t> video; // stream numbers
    std::optional<uint64_t> audio;
    bool noAudio = false;
    std::string rate; // instead of the file's own
    bool lossyHeader = false;
    bool dropEmpty = false;
    bool force = false;
};

// Adds all but the output.
void AddCopyOptions(CKrVerbOptions& verb, SKrCopyOptions& options);

// For the help of these verbs: what a new file cannot store.
extern const char kWhatIsRefused[];
} // namespace KrTool

#endif
