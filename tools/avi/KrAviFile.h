// A file opened with the library's reader.
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
// The reader's report on its video stream.
struct SKrVideoAnswer
{
    uint32_t frames = 0;
    uint32_t chunkId = 0; // of its first data chunk, or 0
    int isValid = 0;      // otherwise the rest is unknown
    SKrAviVideoParams format{};
    uint32_t compression = 0;
    uint16_t bitCount = 0;

    explicit SKrVideoAnswer(IKrRiffReader& reader)
    {
        frames = reader.GetVideoStreamInfo(&format, &compression, &bitCount, &isValid, &chunkId);
    }
};

class CKrAviFile;

// The same without scan mode and pixel aspect ratio where the reader only guesses them from the picture size.
SKrVideoAnswer DeclaredVideo(const CKrAviFile& file);

enum class EKrOpening
{
    Whole,
    Growing // also while it is being written
};

class CKrAviFile final : public CKrByteSource
{
public:
    // Opens the file, or throws CKrToolError with the reason if known.
    explicit CKrAviFile(const std::string& path, EKrOpening opening = EKrOpening::Whole);

    // Takes in what was added to a growing file. Returns what the reader's Refresh does.
    int Refresh();

    IKrRiffReader& Reader() const { return *m_reader; }
    size_t ReadAt(uint64_t position, void* buffer, size_t count) const override;

private:
    CKrRef<IKrRiffReader> m_reader;
};
} // namespace KrTool

#endif
