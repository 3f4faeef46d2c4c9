// How the streams of a file count time: from frames of the first video stream to units of any other stream.
#ifndef KR_TOOLS_COPIER_KRSTREAMTIME_H
#define KR_TOOLS_COPIER_KRSTREAMTIME_H

#include "tools/copier/KrCarriedHeader.h"

#include <cstdint>
#include <string>

namespace KrTool
{
// How finely a stream can be cut.
enum class EKrCutting
{
    Bytes,       // between any two units, inside of chunks too: PCM, and coded sound of equal blocks
    WholeChunks, // each chunk is a unit
    Packets      // before a chunk, wherever it lies
};

class CKrStreamTime
{
public:
    // `file`: for messages.
    CKrStreamTime(const SKrCarriedStream& video, const SKrCarriedStream& stream, uint32_t number,
                  std::string file);

    [[nodiscard]] EKrCutting Cutting() const { return m_cutting; }
    [[nodiscard]] uint32_t UnitBytes() const { return m_unitBytes; } // 0: a chunk is a unit

    // The unit at the time of a frame, counted from the stream's first, which is below 0 where the stream
    // starts later; rounded to the nearest, halves up. Throws CKrToolError for rates that are not usable.
    [[nodiscard]] int64_t UnitAtFrame(uint64_t frame) const;

    // The stream's units in seconds after a frame, exactly.
    [[nodiscard]] double SecondsAfterFrame(int64_t unit, uint64_t frame) const;

    // Units as 'strh' counts them.
    [[nodiscard]] uint32_t AsStart(uint64_t units) const;

    [[nodiscard]] int64_t StartUnits() const { return m_start; }

private:
    [[noreturn]] void Refuse() const;

    SKrStreamHeader m_video;
    SKrStreamHeader m_fields;
    uint32_t m_rate = 0; // of units
    uint32_t m_scale = 0;
    uint32_t m_unitBytes = 0;
    int64_t m_start = 0; // in units
    EKrCutting m_cutting = EKrCutting::Packets;
    uint32_t m_number;
    std::string m_file;
};

// Whether the sound has a fixed number of bytes for each sample frame.
[[nodiscard]] bool IsPlainSound(const SKrCarriedStream& stream);
} // namespace KrTool

#endif
