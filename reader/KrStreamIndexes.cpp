#include "reader/KrStreamIndexes.h"

#include "reader/KrHostArray.h"
#include "reader/KrNoticingFile.h"
#include "reader/KrStreamTable.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{
bool IsInMovi(const SKrRiffChunkInfo& movi, uint64_t position)
{
    return position >= movi.offset && position - movi.offset <= movi.cksize;
}

// Adds what a stream's own index names in 'movi'. Its chunks are looked at from the last one back, as long as
// they name anything there.
bool AddNamed(IKrFile& file, const std::vector<SKrIndexChunk>& chunks, const SKrRiffChunkInfo& movi,
              std::vector<uint64_t>& named)
{
    std::vector<SKrStreamIndexEntry> entries;
    bool anyInside = true;
    for (size_t number = chunks.size(); number-- > 0 && anyInside;)
    {
        if (!CKrIndexDirectory::ReadEntries(file, chunks[number], entries))
            return false;
        anyInside = false;
        for (const SKrStreamIndexEntry& entry : entries)
        {
            if (!IsInMovi(movi, entry.position))
                continue;
            anyInside = true;
            named.push_back(entry.position);
        }
    }
    return true;
}
} // namespace

void CKrStreamIndexes::Clear()
{
    m_directories.clear();
    m_pieces.clear();
    m_oldIndex = nullptr;
}

bool CKrStreamIndexes::Load(CKrStreamTable& table, IKrFile& file, uint64_t fileSize, uint32_t stream,
                            uint64_t first, CArray<SKrStreamIndexEntry>& out)
try
{
    if (!KrHostArray::IsUsable(out))
        return false;
    const auto streams = table.Streams();
    if (streams == nullptr || stream >= streams->size())
        return false;
    const uint64_t indx = (*streams)[stream].indexPosition;
    const CKrIndexDirectory* directory = nullptr;
    if (indx != 0)
    {
        CKrNoticingFile noticing(file);
        directory = ReadDirectory(noticing, fileSize, stream, indx);
        if (noticing.Failed())
            return false;
    }
    uint32_t dropped = 0;
    if (directory != nullptr && directory->HasChunks())
    {
        if (!directory->Load(file, fileSize, first, out, dropped))
            return false;
    }
    else
    {
        const auto oldIndex = table.OldIndex();
        if (oldIndex == nullptr || (directory == nullptr && oldIndex->FirstChunkId(stream) == 0) ||
            !oldIndex->Load(file, fileSize, stream, first, PiecesOf(stream, oldIndex), out, dropped))
            return false;
    }
    table.SetDropped(stream, dropped);
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

// What is remembered belongs to one 'idx1': a file that grows may get another one.
KrOldIndexPieces& CKrStreamIndexes::PiecesOf(uint32_t stream,
                                             const std::shared_ptr<const CKrOldStreamIndex>& index)
{
    if (m_oldIndex != index)
        m_pieces.clear();
    m_oldIndex = index;
    return m_pieces[stream];
}

// Null for an 'indx' that is not an index, and when it cannot be read.
const CKrIndexDirectory* CKrStreamIndexes::ReadDirectory(IKrFile& file, uint64_t fileSize, uint32_t stream,
                                                         uint64_t indx)
{
    if (const auto known = m_directories.find(stream); known != m_directories.end())
        return &known->second;
    CKrIndexDirectory directory;
    if (!directory.Read(file, fileSize, indx))
        return nullptr;
    // Streams may claim the same index chunks: together they are remembered only as far as one file can hold
    // them.
    uint64_t chunks = directory.Chunks().size();
    for (const auto& [number, other] : m_directories)
        chunks += other.Chunks().size();
    if (chunks > fileSize / SKrStdIndexHead::kEncodedSize)
        m_directories.clear();
    return &m_directories.emplace(stream, std::move(directory)).first->second;
}

bool CKrStreamIndexes::FindNamed(IKrFile& file, uint64_t fileSize, const KrStreamLists& streams,
                                 const SKrSegment& segment, std::vector<uint64_t>& named)
{
    for (const auto& [stream, directory] : m_directories)
    {
        if (!AddNamed(file, directory.Chunks(), segment.movi, named))
            return false;
    }
    CKrOldStreamIndex oldIndex;
    if (!oldIndex.Read(file, fileSize, {segment}, streams.size()))
        return false;
    for (uint32_t stream = 0; stream < streams.size(); ++stream)
    {
        CArray<SKrStreamIndexEntry> entries;
        uint32_t dropped = 0;
        if (m_directories.contains(stream) && m_directories[stream].HasChunks())
            continue; // the stream's own index alone counts
        KrOldIndexPieces pieces;
        if (!oldIndex.Load(file, fileSize, stream, 0, pieces, entries, dropped))
            return false;
        for (intptr_t number = 0; number < entries.GetSize(); ++number)
        {
            if (IsInMovi(segment.movi, entries[number].position))
                named.push_back(entries[number].position);
        }
    }
    std::ranges::sort(named);
    return true;
}
