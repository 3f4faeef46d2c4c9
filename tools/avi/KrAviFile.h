// An open file behind the library's reader, held for as long as a verb needs it.
#ifndef KR_TOOLS_AVI_KRAVIFILE_H
#define KR_TOOLS_AVI_KRAVIFILE_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tools/avi/KrInputFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace KrTool
{
// What the reader reports about the video stream that it took.
struct SKrVideoAnswer
{
    uint32_t frames = 0;
    uint32_t chunkId = 0; // of its first data chunk, or 0
    int isValid = 0;      // otherwise nothing is known of the rest
    SKrAviVideoParams format{};
    uint32_t compression = 0;
    uint16_t bitCount = 0;

    explicit SKrVideoAnswer(IKrRiffReader& reader)
    {
        frames = reader.GetVideoStreamInfo(&format, &compression, &bitCount, &isValid, &chunkId);
    }
};

class CKrAviFile final : public CKrByteSource
{
public:
    // Opens the file, or throws CKrToolError with the reason as far as it can be known.
    explicit CKrAviFile(const std::string& path);

    IKrRiffReader& Reader() const { return *m_reader; }
    size_t ReadAt(uint64_t position, void* buffer, size_t count) const override;

private:
    CKrRef<IKrRiffReader> m_reader;
};
} // namespace KrTool

#endif
