// Builds RIFF files chunk by chunk and records the position of each.
#ifndef KR_TESTS_SUPPORT_KRAVIBUILDER_H
#define KR_TESTS_SUPPORT_KRAVIBUILDER_H

#include "tests/support/KrAviRecords.h"
#include "tests/support/KrFileContent.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KrTest
{
// A chunk as written. Positions are absolute.
struct SKrBuiltChunk
{
    std::string id;
    std::string type;    // form or list type of 'RIFF' and 'LIST', else empty
    uint64_t header = 0; // position of the 8-byte chunk header
    uint64_t data = 0;   // position after it; for 'RIFF' and 'LIST' that of the type
    uint32_t size = 0;   // size field as stored
    uint64_t end = 0;    // position after the chunk as written, padding included
};

// The n-th chunk, from 0, with this id, or the n-th 'RIFF' or 'LIST' with this type. Throws std::out_of_range
// when there is none.
[[nodiscard]] SKrBuiltChunk FindChunk(std::span<const SKrBuiltChunk> chunks, std::string_view idOrType,
                                      size_t number = 0);

// How a chunk deviates from the format.
struct SKrChunkOptions
{
    std::optional<uint32_t> size{}; // stored instead of the true size
    bool pad = true;                // a zero byte follows an odd number of bytes
};

// Everything is appended. Example:
//
//   CKrAviBuilder file;
//   file.Riff("AVI ", [&] {
//       file.List("hdrl", [&] { file.Chunk("avih", ToBytes(SKrTestMainHeader{})); });
//       file.List("movi", [&] {
//           file.Chunk("00dc", KrBytes(100, 0xAB));
//           file.Zeros(7);
//           file.Chunk("00dc", KrBytes(5, 1), {.size = 5000});   // claims more than there is
//       });
//   });
//   files.Set(L"a.avi", file.Content());
//   EXPECT_EQ(offset, file.Find("00dc", 1).data);
class CKrAviBuilder
{
public:
    // Position of the next byte.
    [[nodiscard]] uint64_t Position() const { return m_content.Size(); }

    // Bytes outside of any chunk, or in the payload of an open one.
    void Raw(std::span<const uint8_t> bytes) { m_content.Append(bytes); }
    void Zeros(uint64_t count) { m_content.AppendHole(count); }

    // A whole chunk. An id has four characters, here and below.
    SKrBuiltChunk Chunk(std::string_view id, std::span<const uint8_t> payload, SKrChunkOptions options = {});

    // A chunk of any size whose payload is zeros, which take no memory.
    SKrBuiltChunk ZeroChunk(std::string_view id, uint32_t size, SKrChunkOptions options = {});

    // A chunk whose payload or sub-chunks are written by `body`.
    SKrBuiltChunk Chunk(std::string_view id, const std::function<void()>& body, SKrChunkOptions options = {});
    SKrBuiltChunk List(std::string_view type, const std::function<void()>& body,
                       SKrChunkOptions options = {});
    SKrBuiltChunk Riff(std::string_view type, const std::function<void()>& body,
                       SKrChunkOptions options = {});

    // The same in two steps. End closes the chunk that was opened last.
    void BeginChunk(std::string_view id, SKrChunkOptions options = {});
    void BeginList(std::string_view type, SKrChunkOptions options = {});
    void BeginRiff(std::string_view type, SKrChunkOptions options = {});
    SKrBuiltChunk End();

    // Overwrites bytes written before.
    void Patch(uint64_t position, std::span<const uint8_t> bytes);
    void PatchU32(uint64_t position, uint32_t value);

    // FindChunk over the complete chunks, in file order.
    [[nodiscard]] SKrBuiltChunk Find(std::string_view idOrType, size_t number = 0) const;

    // All complete chunks in the order of their headers.
    [[nodiscard]] std::vector<SKrBuiltChunk> Chunks() const;

    [[nodiscard]] const CKrFileContent& Content() const { return m_content; }

private:
    struct SKrOpenChunk
    {
        SKrBuiltChunk chunk;
        SKrChunkOptions options;
    };

    void Begin(std::string_view id, std::string_view type, SKrChunkOptions options);

    CKrFileContent m_content;
    std::vector<SKrOpenChunk> m_open;
    std::vector<SKrBuiltChunk> m_chunks; // in the order in which they were completed
};
} // namespace KrTest

#endif
