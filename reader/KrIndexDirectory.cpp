#include "reader/KrIndexDirectory.h"

#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrIndexBlock.h"
#include "reader/KrIndexHeads.h"
#include "reader/KrStreamEntries.h"

#include <algorithm>
#include <limits>

namespace
{
// A super index has the head of a standard one, with three reserved words where that has its base offset.
constexpr size_t kIndexHeadSize = SKrStdIndexHead::kEncodedSize;
static_assert(kIndexHeadSize == SKrSuperIndexHead::kEncodedSize);

constexpr uint64_t kHeadPayload = 24; // bytes of a chunk's payload before its entries

bool IsSuperIndex(const SKrStdIndexHead& head)
{
    return head.indexType == kIndexOfIndexes && head.longsPerEntry == 4;
}

// 0 for a layout that is not known.
uint32_t EntrySize(const SKrStdIndexHead& head)
{
    switch (head.indexSubType)
    {
    case kIndexSubTypeDefault:
        // Some writers leave the sub-type of a field index at 0.
        return head.longsPerEntry == 3 ? kFieldIndexEntrySize : SKrStdIndexEntry::kEncodedSize;
    case kIndexSubTypeFields:
        return kFieldIndexEntrySize;
    case kIndexSubType64Bit:
        return SKrWideIndexEntry::kEncodedSize;
    default:
        return 0;
    }
}
} // namespace

SKrStreamIndexEntry DecodeIndexEntry(const SKrIndexChunk& chunk, const uint8_t* from)
{
    uint64_t offset = 0;
    SKrStreamIndexEntry entry = {0, 0, kKeyFrameEntry};
    if (chunk.entrySize == SKrWideIndexEntry::kEncodedSize)
    {
        const SKrWideIndexEntry wide = DecodeWideIndexEntry(from);
        offset = wide.offset;
        entry.size = wide.size;
    }
    else
    {
        const SKrStdIndexEntry narrow = DecodeStdIndexEntry(from);
        offset = narrow.offset;
        entry.size = narrow.size & ~SKrStdIndexEntry::kNotKeyFrame;
        if ((narrow.size & SKrStdIndexEntry::kNotKeyFrame) != 0)
            entry.flags = 0;
    }
    // A sum that wraps lies outside of any file.
    entry.position = offset <= std::numeric_limits<uint64_t>::max() - chunk.base
                         ? chunk.base + offset
                         : std::numeric_limits<uint64_t>::max();
    return entry;
}

std::optional<SKrIndexChunk> DescribeIndexChunk(const SKrStdIndexHead& head, uint64_t position,
                                                uint8_t parentSubType)
{
    SKrIndexChunk chunk;
    chunk.entrySize = EntrySize(head);
    if (head.indexType != kIndexOfChunks || chunk.entrySize == 0)
        return std::nullopt;
    const uint64_t room = head.chunkSize > kHeadPayload ? head.chunkSize - kHeadPayload : 0;
    chunk.position = position;
    chunk.base = parentSubType == kIndexSubType64Bit ? 0 : head.baseOffset;
    chunk.count = head.entriesInUse;
    chunk.capacity = static_cast<uint32_t>(room / chunk.entrySize);
    return chunk;
}

// What the heads may claim together: any honest file backs it.
struct CKrIndexDirectory::SWalk
{
    IKrFile& file;
    uint64_t fileSize;
    size_t mostChunks;
    uint64_t headsLeft;   // heads that the file has room for
    uint64_t entriesLeft; // bytes of entries that the file has room for
    CKrIndexDirectory& found;

    [[nodiscard]] bool IsEnough() const { return found.m_chunks.size() >= mostChunks; }
};

bool CKrIndexDirectory::Read(IKrFile& file, uint64_t fileSize, uint64_t indx, size_t mostChunks)
{
    *this = CKrIndexDirectory();
    SWalk walk{file, fileSize, mostChunks, fileSize / kIndexHeadSize + 1, fileSize, *this};
    const auto head = ReadHead<SKrStdIndexHead>(file, indx);
    if (!head || (!IsSuperIndex(*head) && !DescribeIndexChunk(*head, indx, kIndexSubTypeDefault)))
        return false;
    return TakeChunk(walk, *head, indx, kIndexSubTypeDefault, 0);
}

bool CKrIndexDirectory::ReadChunk(SWalk& walk, uint64_t position, uint8_t parentSubType, int depth)
{
    if (walk.headsLeft-- == 0)
        return false;
    uint8_t bytes[kIndexHeadSize];
    const SKrTransfer read = walk.file.ReadAt(position, bytes, sizeof bytes);
    if (read.Failed())
        return false;
    CKrByteReader in({bytes, read.bytes});
    SKrStdIndexHead head;
    return !Decode(in, head) || TakeChunk(walk, head, position, parentSubType, depth);
}

// A chunk that is not an index, or is one of an unknown kind, is passed over.
bool CKrIndexDirectory::TakeChunk(SWalk& walk, const SKrStdIndexHead& head, uint64_t position,
                                  uint8_t parentSubType, int depth)
{
    if (IsSuperIndex(head))
        return depth == kDeepestIndex || ReadSuperIndex(walk, head, position, depth);
    std::optional<SKrIndexChunk> chunk = DescribeIndexChunk(head, position, parentSubType);
    if (!chunk)
        return true;
    ++walk.found.m_chunksSeen;
    const uint64_t inFile =
        (walk.fileSize - std::min(walk.fileSize, position + kIndexHeadSize)) / chunk->entrySize;
    chunk->count = static_cast<uint32_t>(std::min<uint64_t>({chunk->count, chunk->capacity, inFile}));
    const uint64_t entryBytes = uint64_t{chunk->count} * chunk->entrySize;
    if (entryBytes > walk.entriesLeft)
        return false;
    walk.entriesLeft -= entryBytes;
    if (chunk->count == 0)
        return true;
    chunk->first = walk.found.m_entries;
    walk.found.m_entries += chunk->count;
    walk.found.m_chunks.push_back(*chunk);
    return true;
}

bool CKrIndexDirectory::ReadSuperIndex(SWalk& walk, const SKrStdIndexHead& head, uint64_t position, int depth)
{
    CKrIndexBlock block(walk.file, walk.fileSize, kSuperIndexSlice);
    block.Start(position + kIndexHeadSize, head.entriesInUse, SKrSuperIndexEntry::kEncodedSize);
    if (head.entriesInUse == 0)
        return true;
    for (;;)
    {
        const auto slice = block.Next();
        if (!slice)
            return false;
        if (slice->empty())
            return true;
        for (size_t at = 0; at < slice->size(); at += SKrSuperIndexEntry::kEncodedSize)
        {
            const uint64_t chunk = DecodeSuperIndexEntry(slice->data() + at).position;
            if (chunk >= walk.fileSize || walk.IsEnough())
                return true; // what follows lies beyond the end as well
            if (!ReadChunk(walk, chunk, head.indexSubType, depth + 1))
                return false;
        }
    }
}

bool CKrIndexDirectory::Take(const SKrIndexChunk& chunk, uint64_t fileSize)
{
    const bool isLast = !m_chunks.empty() && m_chunks.back().position == chunk.position;
    const uint32_t more = chunk.count - (isLast ? m_chunks.back().count : 0);
    const uint64_t bytes = m_entryBytes + uint64_t{more} * chunk.entrySize;
    if (bytes > fileSize)
        return false;
    m_entryBytes = bytes;
    ++m_chunksSeen;
    if (isLast)
    {
        m_chunks.back().count = chunk.count;
    }
    else if (chunk.count != 0)
    {
        m_chunks.push_back(chunk);
        m_chunks.back().first = m_entries;
    }
    m_entries += more;
    return true;
}

bool CKrIndexDirectory::ReadEntries(IKrFile& file, const SKrIndexChunk& chunk,
                                    std::vector<SKrStreamIndexEntry>& entries)
{
    std::vector<uint8_t> bytes(size_t{chunk.count} * chunk.entrySize);
    const SKrTransfer read = file.ReadAt(chunk.position + kIndexHeadSize, bytes.data(), bytes.size());
    if (read.Failed())
        return false;
    entries.clear();
    for (size_t at = 0; at + chunk.entrySize <= read.bytes; at += chunk.entrySize)
        entries.push_back(DecodeIndexEntry(chunk, &bytes[at]));
    return true;
}

bool CKrIndexDirectory::Load(IKrFile& file, uint64_t fileSize, uint64_t first,
                             CArray<SKrStreamIndexEntry>& out, uint32_t& dropped) const
{
    CKrStreamEntries entries(out, fileSize);
    if (!entries.Begin(m_entries - std::min(first, m_entries)))
        return false;
    auto chunk = std::upper_bound(m_chunks.begin(), m_chunks.end(), first,
                                  [](uint64_t number, const SKrIndexChunk& other)
                                  { return number < other.first + other.count; });
    CKrIndexBlock block(file, fileSize, kLargestIndexSlice);
    for (; chunk != m_chunks.end(); ++chunk)
    {
        const uint64_t passed = first > chunk->first ? first - chunk->first : 0;
        block.Start(chunk->position + kIndexHeadSize + passed * chunk->entrySize, chunk->count - passed,
                    chunk->entrySize);
        for (auto slice = block.Next(); !slice || !slice->empty(); slice = block.Next())
        {
            if (!slice)
                return false;
            for (size_t at = 0; at < slice->size(); at += chunk->entrySize)
            {
                const SKrStreamIndexEntry entry = DecodeIndexEntry(*chunk, slice->data() + at);
                entries.Add(entry.position, entry.size, (entry.flags & kKeyFrameEntry) != 0);
            }
        }
    }
    dropped = entries.Finish();
    return true;
}
