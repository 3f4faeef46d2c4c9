// What is to be changed in a file: new bytes at positions, which may lead past its end.
#ifndef KR_TOOLS_MEND_KRBYTEPATCHES_H
#define KR_TOOLS_MEND_KRBYTEPATCHES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KrTool
{
class CKrByteSource;

// Bytes that differ from those of a file. They belong to the patches, or to whatever else they are of.
struct SKrChangedBytes
{
    uint64_t position = 0;
    std::span<const uint8_t> bytes;

    [[nodiscard]] uint64_t End() const { return position + bytes.size(); }
};

class CKrBytePatches
{
public:
    // No two patches may cover the same byte.
    void Put(uint64_t position, std::vector<uint8_t> bytes);
    void PutU16Le(uint64_t position, uint16_t value);
    void PutU32Le(uint64_t position, uint32_t value);

    // The header of a filler chunk, which hides what lies between it and `end`.
    void PutFiller(uint64_t position, uint64_t end);

    // In file order, without the bytes that the file has already. Valid until the next patch.
    [[nodiscard]] std::vector<SKrChangedBytes> Differences(const CKrByteSource& file) const;

private:
    struct SKrPatch
    {
        uint64_t position = 0;
        std::vector<uint8_t> bytes;
    };

    std::vector<SKrPatch> m_patches;
};
} // namespace KrTool

#endif
