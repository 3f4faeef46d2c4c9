// What the first bytes at a position of a file, damaged or not, appear to be.
#ifndef KR_TOOLS_AVI_KRCHUNKGUESS_H
#define KR_TOOLS_AVI_KRCHUNKGUESS_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace KrTool
{
enum class EKrGuess : uint8_t
{
    Nothing,
    End,        // not a byte is left
    Rest,       // fewer bytes than a chunk header has
    Zeros,      // eight of them
    AviList,    // 'RIFF' or 'LIST' of a type that AVI files have, of any size
    OtherList,  // of another type of printable characters
    BrokenList, // of an invalid type
    Data,       // a data chunk of a video or audio stream, of any size
    OtherData,  // a chunk of a stream, neither video nor audio, that lies inside
    Index,      // an index or filler, of any size
    Header,     // another chunk that AVI files have, that lies inside
    CutHeader,  // the same where it does not
    Printable   // an id of letters and digits, of a size that lies inside
};

// Several of them as a set of bits.
using GuessSet = uint32_t;
template <class... GUESS>
constexpr GuessSet GuessesOf(GUESS... guess)
{
    return (... | (GuessSet{1} << static_cast<unsigned>(guess)));
}
inline constexpr GuessSet kAnyList = GuessesOf(EKrGuess::AviList, EKrGuess::OtherList, EKrGuess::BrokenList);
inline constexpr GuessSet kDataOrIndex = GuessesOf(EKrGuess::Data, EKrGuess::Index);

struct SKrChunkGuess
{
    EKrGuess kind = EKrGuess::Nothing;
    uint32_t id = 0;
    uint32_t size = 0;
    uint32_t type = 0; // of lists

    [[nodiscard]] bool IsIn(GuessSet set) const { return (set & GuessesOf(kind)) != 0; }
    [[nodiscard]] bool IsList() const { return IsIn(kAnyList); }
};

// Classifies the first bytes at a position, twelve if available; `left`: bytes from there to the end of the
// file or of the list around it.
SKrChunkGuess GuessChunk(std::span<const uint8_t> bytes, uint64_t left);

// Whether a type of 'RIFF' is one of AVI files.
bool IsSegmentType(uint32_t type);

// The first position from `from` on that may start the header of a data chunk, an index, a filler or a list,
// judged by four bytes. Without a match, the first position that is undecided.
struct SKrIdSearch
{
    size_t place = 0;
    bool found = false;
};
SKrIdSearch FindId(std::span<const uint8_t> bytes, size_t from);
} // namespace KrTool

#endif
