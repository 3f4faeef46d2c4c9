// PCM sound from a WAVE file (RIFF or RF64).
#ifndef KR_TOOLS_INPUT_KRWAVEINPUT_H
#define KR_TOOLS_INPUT_KRWAVEINPUT_H

#include "tools/avi/KrInputFile.h"
#include "tools/output/KrRecording.h"

#include <cstdint>
#include <memory>
#include <string>

namespace KrTool
{
class CKrWaveInput
{
public:
    // Throws CKrToolError when it is not a WAVE file with PCM.
    explicit CKrWaveInput(const std::string& path);

    [[nodiscard]] const SKrPcm& Format() const { return m_format; }
    [[nodiscard]] uint64_t Bytes() const { return m_bytes; }

    // A part of the sound, in bytes.
    [[nodiscard]] SKrSampleBytes Part(uint64_t from, uint32_t length) const;

private:
    void ReadChunks();
    void ReadFormat(uint64_t position, uint64_t size);
    [[nodiscard]] std::vector<uint8_t> Read(uint64_t position, size_t count) const;

    std::shared_ptr<const CKrInputFile> m_file;
    SKrPcm m_format;
    uint64_t m_position = 0; // of the sound
    uint64_t m_bytes = 0;
};
} // namespace KrTool

#endif
