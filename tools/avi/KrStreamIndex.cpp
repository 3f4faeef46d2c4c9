#include "tools/avi/KrStreamIndex.h"

#include "tools/avi/KrAviFile.h"

namespace KrTool
{
std::optional<SKrStreamIndex> LoadStreamIndex(const CKrAviFile& file, uint32_t stream, uint64_t first)
{
    CArray<SKrStreamIndexEntry> entries;
    if (file.Reader().LoadStreamIndex(stream, first, entries) == 0)
        return std::nullopt;
    SKrStreamIndex index;
    index.entries.assign(entries.GetData(), entries.GetData() + entries.GetSize());
    if (const auto properties = StreamProperties(file, stream))
        index.outside = properties->droppedEntries;
    return index;
}

Chunks ChunksOfIndex(const SKrStreamIndex& index)
{
    Chunks chunks;
    chunks.reserve(index.entries.size());
    for (const SKrStreamIndexEntry& entry : index.entries)
        chunks.push_back({entry.position, entry.size, 0});
    return chunks;
}

std::optional<SKrStreamProperties> StreamProperties(const CKrAviFile& file, uint32_t stream)
{
    SKrStreamProperties properties = {};
    properties.size = sizeof(properties);
    return file.Reader().GetStreamProperties(stream, &properties) != 0 ? std::optional(properties)
                                                                       : std::nullopt;
}

std::optional<Chunks> LoadIndex(const CKrAviFile& file, EKrStreamKind kind, SKrAudioChunkPattern* pattern)
{
    CArray<SKrChunkIndexEntry> entries;
    SKrAudioChunkPattern ignored = {};
    try
    {
        const int loaded =
            kind == EKrStreamKind::Video
                ? file.Reader().LoadVideoIndex(entries)
                : file.Reader().LoadAudioIndex(entries, pattern != nullptr ? pattern : &ignored);
        if (loaded == 0)
            return std::nullopt;
    }
    catch (const CInvalidArgException&)
    {
        return std::nullopt; // its length differed between passes
    }
    catch (const CMemoryException&)
    {
        return std::nullopt;
    }
    return Chunks(entries.GetData(), entries.GetData() + entries.GetSize());
}
} // namespace KrTool
