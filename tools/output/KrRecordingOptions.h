// What kravi's writing verbs have in common: names of sizes, rates and modes, sound cut to frames.
#ifndef KR_TOOLS_OUTPUT_KRRECORDINGOPTIONS_H
#define KR_TOOLS_OUTPUT_KRRECORDINGOPTIONS_H

#include "tools/output/KrRecording.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KrTool
{
class CKrReport;

struct SKrPictureSize
{
    uint32_t width = 0;
    uint32_t height = 0;
};

// WIDTHxHEIGHT; throws CKrToolError for anything else.
SKrPictureSize ParseSize(const std::string& text);

inline constexpr uint32_t kMostPixels = 32768;       // of a side of a picture
inline constexpr uint64_t kLargestFrame = INT32_MAX; // bytes
inline constexpr uint32_t kUsualBits = 24;           // of a pixel

// Four characters; 0 for an empty text.
uint32_t ParseCodec(const std::string& text);

// The code of a frame rate by its name: 23.976, 24, 25, 29.97, 30, 50, 59.94 or 60; or as a fraction. Throws
// CKrToolError for anything else.
uint32_t ParseFrameRate(const std::string& text);

// The code of exactly this rate; nothing when the writer has none.
std::optional<uint32_t> FrameRateCode(uint32_t rate, uint32_t scale);
std::string FrameRateName(uint32_t code);
std::vector<std::string> FrameRateNames();

// upper, lower, progressive and unknown.
const std::vector<std::pair<std::string, EKrScanMode>>& ScanModes();
std::string ScanModeName(int32_t mode);

// Gives out the sound that belongs to one frame after the other.
class CKrSoundByFrame
{
public:
    // A part of the sound, from a byte on.
    using Part = std::function<SKrSampleBytes(uint64_t from, uint32_t length)>;

    CKrSoundByFrame(const SKrPcm& format, uint32_t frameRate, uint64_t bytes, Part part);

    // Submits what belongs to the next frame.
    void AddForFrame(CKrRecording& recording);

    // Submits what is left when there are no more frames.
    void AddRest(CKrRecording& recording);

private:
    void Add(CKrRecording& recording, uint64_t length);

    const SKrPcm m_format;
    const uint32_t m_frameRate;
    const uint64_t m_bytes;
    const Part m_part;
    uint64_t m_done = 0;
    uint32_t m_frame = 0;
};

void ReportRecording(const SKrRecordingResult& result, const SKrRecordingFormat& format,
                     const std::string& output, CKrReport& report);
} // namespace KrTool

#endif
