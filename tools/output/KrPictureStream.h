// Uncompressed pictures as YUV4MPEG2, which programs read from a pipe.
#ifndef KR_TOOLS_OUTPUT_KRPICTURESTREAM_H
#define KR_TOOLS_OUTPUT_KRPICTURESTREAM_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "tools/output/KrOutputFile.h"
#include "tools/output/KrPlanarPicture.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
class CKrAviFile;
struct SKrAviStream;

class CKrPictureStream
{
public:
    // Throws CKrToolError for a stream whose frames are not uncompressed.
    CKrPictureStream(const CKrAviFile& file, const SKrAviStream& stream);

    // Starts the output, which may be the standard one.
    void Open(const std::string& target, bool replace);

    // A frame without data repeats the one before it. False for a frame that the end of the file cuts.
    [[nodiscard]] bool Write(const SKrChunkIndexEntry& frame);

    // Returns the bytes written.
    uint64_t Finish();

private:
    void Put(std::span<const uint8_t> bytes);

    const CKrAviFile& m_file;
    std::unique_ptr<CKrPlanarPicture> m_picture;
    std::string m_header;
    std::unique_ptr<CKrOutputFile> m_output;
    std::vector<uint8_t> m_frame;
    std::vector<uint8_t> m_planes; // of the last frame
    uint64_t m_bytes = 0;
};
} // namespace KrTool

#endif
