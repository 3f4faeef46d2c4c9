#include "writer/KrRiffFileChunk.h"

#include "format/KrBytes.h"
#include "format/KrFourCC.h"

#include <utility>

SKrRiffFileChunk SKrRiffFileChunk::Plain(uint32_t id, std::span<const uint8_t> data)
{
    SKrRiffFileChunk chunk = Zeros(id, static_cast<uint32_t>(data.size()));
    chunk.data = data.data();
    return chunk;
}

SKrRiffFileChunk SKrRiffFileChunk::Zeros(uint32_t id, uint32_t dataLength)
{
    SKrRiffFileChunk chunk;
    chunk.id = id;
    chunk.size = dataLength;
    chunk.dataLength = dataLength;
    return chunk;
}

SKrRiffFileChunk SKrRiffFileChunk::List(uint32_t id, uint32_t type, uint64_t offset,
                                        std::span<const uint8_t> data)
{
    SKrRiffFileChunk list = Plain(id, data);
    list.size += 4;
    list.listType = type;
    list.offset = offset;
    return list;
}

void SKrRiffFileChunk::Add(SKrRiffFileChunk child)
{
    child.offset = NextOffset();
    size += child.size + 8;
    children.push_back(std::move(child));
}

void SKrRiffFileChunk::AlignTo(uint32_t multiple, uint32_t extra)
{
    const uint64_t end = extra + NextOffset();
    if (end % multiple != 0)
        Add(Zeros(kFccJunk, static_cast<uint32_t>(KrRoundUp(end + 8, multiple) - (end + 8))));
}

void SKrRiffFileChunk::AppendTo(std::vector<uint8_t>& bytes) const
{
    CKrByteWriter out(bytes);
    out.U32Le(id);
    out.U32Le(size);
    if (listType != 0)
        out.U32Le(listType);
    if (data != nullptr)
        bytes.insert(bytes.end(), data, data + dataLength);
    else
        bytes.resize(bytes.size() + dataLength);
    for (const SKrRiffFileChunk& child : children)
        child.AppendTo(bytes);
}
