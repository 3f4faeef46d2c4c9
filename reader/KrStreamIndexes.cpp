#include "reader/KrStreamIndexes.h"

#include "reader/KrHostArray.h"
#include "reader/KrNoticingFile.h"
#include "reader/KrStreamTable.h"

#include <new>
#include <utility>

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
        directory = Directory(noticing, fileSize, stream, indx);
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
        if (oldIndex == nullptr || (directory == nullptr && oldIndex->Entries(stream) == 0) ||
            !oldIndex->Load(file, fileSize, stream, first, out, dropped))
            return false;
    }
    table.SetDropped(stream, dropped);
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

// Null for an 'indx' that is not an index, and when it cannot be read.
const CKrIndexDirectory* CKrStreamIndexes::Directory(IKrFile& file, uint64_t fileSize, uint32_t stream,
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
