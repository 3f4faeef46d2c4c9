#include "tests/support/KrAviBuilder.h"

#include "tests/support/KrByteWriter.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace KrTest
{
SKrBuiltChunk CKrAviBuilder::Chunk(std::string_view id, std::span<const uint8_t> payload,
                                   SKrChunkOptions options)
{
    BeginChunk(id, options);
    Raw(payload);
    return End();
}

SKrBuiltChunk CKrAviBuilder::ZeroChunk(std::string_view id, uint32_t size, SKrChunkOptions options)
{
    BeginChunk(id, options);
    Zeros(size);
    return End();
}

SKrBuiltChunk CKrAviBuilder::Chunk(std::string_view id, const std::function<void()>& body,
                                   SKrChunkOptions options)
{
    BeginChunk(id, options);
    body();
    return End();
}

SKrBuiltChunk CKrAviBuilder::List(std::string_view type, const std::function<void()>& body,
                                  SKrChunkOptions options)
{
    BeginList(type, options);
    body();
    return End();
}

SKrBuiltChunk CKrAviBuilder::Riff(std::string_view type, const std::function<void()>& body,
                                  SKrChunkOptions options)
{
    BeginRiff(type, options);
    body();
    return End();
}

void CKrAviBuilder::BeginChunk(std::string_view id, SKrChunkOptions options)
{
    Begin(id, {}, options);
}

void CKrAviBuilder::BeginList(std::string_view type, SKrChunkOptions options)
{
    Begin("LIST", type, options);
}

void CKrAviBuilder::BeginRiff(std::string_view type, SKrChunkOptions options)
{
    Begin("RIFF", type, options);
}

void CKrAviBuilder::Begin(std::string_view id, std::string_view type, SKrChunkOptions options)
{
    SKrBuiltChunk chunk;
    chunk.id = id;
    chunk.type = type;
    chunk.header = Position();
    chunk.data = chunk.header + 8;
    Raw(CKrTestByteWriter().FourCc(id).U32(0).Bytes());
    if (!type.empty())
        Raw(CKrTestByteWriter().FourCc(type).Bytes());
    m_open.push_back({std::move(chunk), options});
}

SKrBuiltChunk CKrAviBuilder::End()
{
    if (m_open.empty())
        throw std::logic_error("no chunk is open");
    auto [chunk, options] = std::move(m_open.back());
    m_open.pop_back();
    const uint64_t written = Position() - chunk.data;
    if (!options.size && written > UINT32_MAX)
        throw std::length_error("chunk of more than 4 GiB");
    chunk.size = options.size.value_or(static_cast<uint32_t>(written));
    PatchU32(chunk.header + 4, chunk.size);
    if (options.pad && written % 2 != 0)
        Zeros(1);
    chunk.end = Position();
    m_chunks.push_back(chunk);
    return chunk;
}

void CKrAviBuilder::Patch(uint64_t position, std::span<const uint8_t> bytes)
{
    if (position > Position() || bytes.size() > Position() - position)
        throw std::out_of_range("patch past the end");
    m_content.Put(position, bytes);
}

void CKrAviBuilder::PatchU32(uint64_t position, uint32_t value)
{
    Patch(position, CKrTestByteWriter().U32(value).Bytes());
}

SKrBuiltChunk CKrAviBuilder::Find(std::string_view idOrType, size_t number) const
{
    return FindChunk(Chunks(), idOrType, number);
}

std::vector<SKrBuiltChunk> CKrAviBuilder::Chunks() const
{
    std::vector<SKrBuiltChunk> sorted = m_chunks;
    std::sort(sorted.begin(), sorted.end(),
              [](const SKrBuiltChunk& a, const SKrBuiltChunk& b) { return a.header < b.header; });
    return sorted;
}

SKrBuiltChunk FindChunk(std::span<const SKrBuiltChunk> chunks, std::string_view idOrType, size_t number)
{
    for (const SKrBuiltChunk& chunk : chunks)
    {
        if ((chunk.id == idOrType || chunk.type == idOrType) && number-- == 0)
            return chunk;
    }
    throw std::out_of_range("no such chunk: " + std::string(idOrType));
}
} // namespace KrTest
