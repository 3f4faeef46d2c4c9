// What a recovery is asked for.
#ifndef KR_TOOLS_RECOVER_KRRECOVEROPTIONS_H
#define KR_TOOLS_RECOVER_KRRECOVEROPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
struct SKrRecoverOptions
{
    std::string file;
    std::string output;
    std::optional<uint64_t> video; // stream numbers
    std::optional<uint64_t> audio;
    bool noAudio = false;
    std::string size; // WIDTHxHEIGHT; this and the next four instead of what the headers say
    std::string rate;
    std::string codec;
    std::optional<uint64_t> bits;
    std::string pcm; // RATE,CHANNELS,BITS
    bool force = false;
};
} // namespace KrTool

#endif
