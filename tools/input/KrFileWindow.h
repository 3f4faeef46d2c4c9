// A stretch of a file in memory, which moves to wherever bytes are asked for.
#ifndef KR_TOOLS_INPUT_KRFILEWINDOW_H
#define KR_TOOLS_INPUT_KRFILEWINDOW_H

#include "platform/KrPlatform.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace KrTool
{
class CKrFileWindow
{
public:
    CKrFileWindow(std::shared_ptr<IKrFile> file, std::string path, uint64_t length, size_t capacity);

    // The bytes from a position on: at least `count`, or all up to the file's end, and whatever else the
    // window holds. Valid until the next call. `count` is at most the capacity. Throws CKrToolError when the
    // file cannot be read.
    std::span<const uint8_t> From(uint64_t position, size_t count);

private:
    std::shared_ptr<IKrFile> m_file;
    const std::string m_path;
    const uint64_t m_length;
    const size_t m_capacity;
    uint64_t m_position = 0;
    std::vector<uint8_t> m_bytes;
};
} // namespace KrTool

#endif
