// A chunk or list before it is written.
#ifndef KR_WRITER_KRRIFFFILECHUNK_H
#define KR_WRITER_KRRIFFFILECHUNK_H

#include <cstdint>
#include <span>
#include <vector>

constexpr uint64_t KrRoundUp(uint64_t value, uint32_t multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

struct SKrRiffFileChunk
{
    uint32_t id = 0;
    uint32_t size = 0;     // value of the size field: everything after it
    uint32_t listType = 0; // 0 for a plain chunk
    uint64_t offset = 0;   // file position of the header
    uint32_t dataLength = 0;
    const uint8_t* data = nullptr; // own data before the children, not owned; null writes zeros
    std::vector<SKrRiffFileChunk> children;

    // A chunk with data, or with that many zeros.
    static SKrRiffFileChunk Plain(uint32_t id, std::span<const uint8_t> data);
    static SKrRiffFileChunk Zeros(uint32_t id, uint32_t dataLength);

    // A list ('RIFF' or 'LIST') at a position, with data of its own after the type.
    static SKrRiffFileChunk List(uint32_t id, uint32_t type, uint64_t offset,
                                 std::span<const uint8_t> data = {});

    // Where the next child will start. A list that has children is created with this offset and filled before
    // it is added.
    [[nodiscard]] uint64_t NextOffset() const { return offset + size + 8; }

    void Add(SKrRiffFileChunk child);

    // Adds a 'JUNK' unless the position `extra` bytes after the end is a multiple already. The 'JUNK' may be
    // empty.
    void AlignTo(uint32_t multiple, uint32_t extra);

    // Appends the bytes of the whole tree.
    void AppendTo(std::vector<uint8_t>& bytes) const;
};

#endif
