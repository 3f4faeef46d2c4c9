// Checks every byte of a file that the library's writer made, without any of the library's code.
#ifndef KR_TESTS_SUPPORT_KRAVICHECKER_H
#define KR_TESTS_SUPPORT_KRAVICHECKER_H

#include "tests/support/KrFileContent.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KrTest
{
struct SKrPcmFormat
{
    uint16_t channels = 2;
    uint32_t samplesPerSec = 48000;
    uint16_t bitsPerSample = 16;

    [[nodiscard]] uint16_t BlockAlign() const
    {
        return static_cast<uint16_t>(channels * (bitsPerSample / 8));
    }
};

// The input of a written file.
struct SKrWritten
{
    uint32_t width = 720;
    uint32_t height = 576;
    uint8_t bitCount = 24;
    std::string codec = "MJPG"; // empty: uncompressed
    uint32_t frameRate = 2;     // code
    uint8_t scanMode = 1;
    uint32_t aspectHorizontal = 16; // as stored
    uint32_t aspectVertical = 15;
    std::optional<SKrPcmFormat> pcm{};
    uint32_t bytesPerSector = 512;
    bool hasDirectChunks = false;        // which are neither padded nor counted
    uint32_t lostFrames = 0;             // written whole, but not counted: their padding failed
    std::optional<size_t> queuedVideo{}; // frames that must exist, where that is known
    bool isComplete = true;              // else not closed, or writing failed
};

struct SKrWrittenChunk
{
    uint64_t data = 0; // position of the payload
    uint32_t size = 0;
    size_t segment = 0;

    bool operator==(const SKrWrittenChunk&) const = default;
};

struct SKrWrittenIndex
{
    uint64_t position = 0; // of the chunk header
    std::vector<SKrWrittenChunk> chunks;
};

struct SKrCheckedAvi
{
    std::vector<std::string> problems{};  // empty: every byte is correct
    std::vector<uint64_t> segments{};     // positions of the 'RIFF' headers, and the end of the last one
    std::vector<SKrWrittenChunk> video{}; // in file order
    std::vector<SKrWrittenChunk> audio{};
    std::vector<SKrWrittenIndex> videoIndexes{};
    std::vector<SKrWrittenIndex> audioIndexes{};
    std::string order{};         // a letter for each data chunk: V or A
    uint32_t maxBytesPerSec = 0; // from 'avih'
};

[[nodiscard]] SKrCheckedAvi CheckWrittenAvi(const CKrFileContent& file, const SKrWritten& from);

// The same for a small file on the disk, whose volume decides on the sector size.
[[nodiscard]] SKrCheckedAvi CheckWrittenFile(const std::wstring& path, SKrWritten from);

// Sizes of chunks, for comparisons.
[[nodiscard]] std::vector<uint32_t> SizesOf(const std::vector<SKrWrittenChunk>& chunks);
} // namespace KrTest

#endif
