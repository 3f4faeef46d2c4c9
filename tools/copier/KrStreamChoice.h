// Which streams of a file are taken, and at which rate its frames are shown.
#ifndef KR_TOOLS_COPIER_KRSTREAMCHOICE_H
#define KR_TOOLS_COPIER_KRSTREAMCHOICE_H

#include "tools/copier/KrCarriedSource.h"

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
struct SKrStreamChoice
{
    std::optional<uint64_t> video; // the only one of its kind to be taken
    std::optional<uint64_t> audio;
    bool noAudio = false;
    std::string rate; // frames per second; empty: the file's own
};

// Removes the other streams with their chunks; the numbers of those that are taken become consecutive. Throws
// CKrToolError for numbers that are not there or are of another kind.
void TakeStreams(SKrCarriedSource& source, const SKrStreamChoice& choice);

// Sets the rate of the first video stream.
void TakeRate(SKrCarriedSource& source, const SKrStreamChoice& choice);

// Frames per second as a fraction: 25, 29.97, 30000/1001. Throws CKrToolError for anything else.
struct SKrFraction
{
    uint32_t rate = 0;
    uint32_t scale = 0;
};
[[nodiscard]] SKrFraction ParseRate(const std::string& text);
} // namespace KrTool

#endif
