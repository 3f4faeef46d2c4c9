// Frames for a new file: JPEG pictures, or raw pictures from one file or many.
#ifndef KR_TOOLS_INPUT_KRFRAMEINPUT_H
#define KR_TOOLS_INPUT_KRFRAMEINPUT_H

#include "tools/input/KrFramePattern.h"
#include "tools/output/KrRecordingOptions.h"
#include "tools/output/KrSampleLoader.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace KrTool
{
// The files of a pattern, from `start` on (without a value: from 0, or from 1 when there is no 0) up to the
// last one. Throws CKrToolError where one is missing between them.
struct SKrFrameFiles
{
    CKrFramePattern pattern;
    uint64_t first = 0;
    uint64_t count = 0;

    [[nodiscard]] std::string NameOf(uint64_t frame) const { return pattern.NameOf(first + frame); }
};
SKrFrameFiles FindFrameFiles(const std::string& pattern, std::optional<uint64_t> start);

class IKrFrameInput
{
public:
    virtual ~IKrFrameInput() = default;

    [[nodiscard]] virtual uint64_t Frames() const = 0;
    [[nodiscard]] virtual SKrPictureSize Size() const = 0;

    // What is read while the frames are asked for: no output may replace one of these.
    [[nodiscard]] virtual const SKrFrameFiles& Files() const = 0;

    // Throws CKrToolError when the frame is not like the others.
    [[nodiscard]] virtual SKrSampleBytes Frame(uint64_t number) const = 0;
};

// JPEG files, unchanged. All must have the size of the first.
std::unique_ptr<IKrFrameInput> MakeJpegInput(const std::string& pattern, std::optional<uint64_t> start);

// The layout of raw pictures in their files.
struct SKrRawLayout
{
    SKrPictureSize size;
    uint32_t bitsPerPixel = 24;
    uint64_t stride = 0;        // bytes from row to row; 0: no gaps
    bool isTopDown = true;      // else the lowest row comes first
    bool isUncompressed = true; // rows are turned into the order and the padding of uncompressed AVI frames

    [[nodiscard]] uint64_t RowBytes() const { return uint64_t{size.width} * bitsPerPixel / 8; }
    [[nodiscard]] uint64_t Stride() const { return stride != 0 ? stride : RowBytes(); }
    [[nodiscard]] uint64_t FrameBytes() const // in the input
    {
        return stride != 0 ? stride * size.height : uint64_t{size.width} * size.height * bitsPerPixel / 8;
    }
};

// Without a number in the pattern one file holds all frames in order.
std::unique_ptr<IKrFrameInput> MakeRawInput(const std::string& pattern, std::optional<uint64_t> start,
                                            const SKrRawLayout& layout);
} // namespace KrTool

#endif
