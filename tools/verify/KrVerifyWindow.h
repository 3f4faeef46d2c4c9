// The bytes of a file as verifying wants them: reads that follow each other become few and large ones, reads
// that jump from header to header stay small.
#ifndef KR_TOOLS_VERIFY_KRVERIFYWINDOW_H
#define KR_TOOLS_VERIFY_KRVERIFYWINDOW_H

#include "platform/KrPlatform.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
// A file that is verified. The library's reader refuses some that have much to be told about.
struct SKrVerifyFile
{
    std::string path;
    std::shared_ptr<IKrFile> file;
    uint64_t length = 0;
};

// Opens any file that begins with a RIFF 'AVI ' header or that the reader accepts, or throws CKrToolError.
// `refusal` is what the reader has against it, or empty.
SKrVerifyFile OpenForVerifying(const std::string& path, std::string& refusal);

class CKrVerifyWindow
{
public:
    static constexpr size_t kSmallest = 4096;
    static constexpr size_t kLargest = size_t{1} << 18;

    explicit CKrVerifyWindow(const SKrVerifyFile& file) : m_file(file) {}

    // Exactly `count` bytes from a position on, or fewer at the end of the file. Valid until the next call.
    // `count` is at most kLargest. Throws CKrToolError when the file cannot be read.
    std::span<const uint8_t> At(uint64_t position, size_t count);

    // The same with whatever else is at hand behind them.
    std::span<const uint8_t> From(uint64_t position, size_t count);

private:
    void Load(uint64_t position, size_t count);

    const SKrVerifyFile& m_file;
    uint64_t m_position = 0;
    size_t m_reach = kSmallest;
    std::vector<uint8_t> m_bytes;
};
} // namespace KrTool

#endif
