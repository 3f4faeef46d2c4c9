// A WAVE file around the audio bytes of a stream; beyond 4 GiB it becomes an RF64 file.
#ifndef KR_TOOLS_OUTPUT_KRWAVEFILE_H
#define KR_TOOLS_OUTPUT_KRWAVEFILE_H

#include "tools/output/KrOutputFile.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
// The 'fmt ' payload for a stream's 'strf' bytes: PCM as the 16 bytes that it has, everything else with its
// own size field and exactly the extra bytes that this announces. Empty when the bytes are not a format.
std::vector<uint8_t> WaveFormatBytes(std::span<const uint8_t> streamFormat);

class CKrWaveFile
{
public:
    // `mostBytes`: limit of the audio bytes. If they might not fit a plain file, space for 64-bit sizes is
    // reserved before them. The standard output gets its sizes first, as if all these bytes came.
    CKrWaveFile(const std::string& target, bool replace, std::span<const uint8_t> format, uint64_t mostBytes,
                uint64_t sampleFrames);

    void Write(const void* data, size_t size);

    // Writes the sizes and gives the file its name.
    void Commit();

private:
    uint64_t RiffSize() const;
    void PatchSizes();
    void PatchPlain();
    void PatchLarge();
    void Patch(uint64_t position, const std::vector<uint8_t>& bytes);

    CKrOutputFile m_file;
    const bool m_isStandard;
    const uint64_t m_sampleFrames; // entered where the format asks for it
    std::vector<uint8_t> m_head;   // of the standard output, until its sizes are entered
    bool m_hasRoom = false;
    uint64_t m_factPosition = 0; // of the sample count; 0: there is none
    uint64_t m_dataSizePosition = 0;
    uint64_t m_dataBytes = 0;
};
} // namespace KrTool

#endif
