#include "reader/KrGrowingIndex.h"

#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrIndexBlock.h"
#include "reader/KrIndexHeads.h"
#include "reader/KrStreamEntries.h"

#include <algorithm>

namespace
{
// In the payload of 'indx':
constexpr size_t kSubTypeAt = 2;
constexpr size_t kTypeAt = 3;
constexpr size_t kSuperCountAt = 4;
constexpr size_t kFirstEntryAt = 24;

// Whether the file holds what the entries name. An entry of zeros is one that was not written yet.
bool AreComplete(const SKrIndexChunk& chunk, std::span<const uint8_t> bytes, uint64_t fileSize)
{
    for (size_t at = 0; at < bytes.size(); at += chunk.entrySize)
    {
        const SKrStreamIndexEntry entry = DecodeIndexEntry(chunk, &bytes[at]);
        const bool isWritten = entry.position != chunk.base || entry.size != 0;
        if (!isWritten || !IsPayloadInside(entry.position, entry.size, fileSize))
            return false;
    }
    return true;
}
} // namespace

bool CKrGrowingIndex::CanFollow(IKrFile& file, std::span<const uint8_t> indx)
{
    if (indx.size() < kFirstEntryAt || GetLe16(indx.data()) != 4 || indx[kTypeAt] != kIndexOfIndexes)
        return false;
    if (GetLe32(&indx[kSuperCountAt]) == 0 || indx.size() < kFirstEntryAt + SKrSuperIndexEntry::kEncodedSize)
        return true;
    const auto first = ReadHead<SKrStdIndexHead>(file, DecodeSuperIndexEntry(&indx[kFirstEntryAt]).position);
    return first && first->indexType == kIndexOfChunks;
}

void CKrGrowingIndex::ForgetHeads()
{
    m_heads.clear();
    m_complete = 0;
}

// A count that falls or that there is no room for is none.
uint32_t CKrGrowingIndex::ChunksIn(std::span<const uint8_t> indx) const
{
    const uint32_t count = indx.size() >= kFirstEntryAt ? GetLe32(&indx[kSuperCountAt]) : 0;
    const uint64_t end = kFirstEntryAt + uint64_t{count} * SKrSuperIndexEntry::kEncodedSize;
    return count < m_chunks || end > indx.size() ? m_chunks : count;
}

bool CKrGrowingIndex::ReadHeadAt(IKrFile& file, uint64_t position, uint8_t superSubType)
{
    uint8_t bytes[SKrStdIndexHead::kEncodedSize];
    const SKrTransfer read = file.ReadAt(position, bytes, sizeof bytes);
    CKrByteReader in({bytes, read.Failed() ? 0 : read.bytes});
    SKrStdIndexHead head;
    const bool decoded = Decode(in, head);
    const auto chunk = decoded ? DescribeIndexChunk(head, position, superSubType) : std::nullopt;
    // What is no index chunk ends what can be taken, as one whose count makes no sense.
    m_heads.push_back(chunk.value_or(SKrIndexChunk{.position = position, .count = 1, .capacity = 0}));
    return !read.Failed();
}

bool CKrGrowingIndex::ReadHeads(IKrFile& file, std::span<const uint8_t> indx)
{
    ForgetHeads();
    const uint8_t subType = indx.size() > kSubTypeAt ? indx[kSubTypeAt] : 0;
    if (m_lastPosition != 0 && !m_lastIsFull && !ReadHeadAt(file, m_lastPosition, subType))
        return false;
    for (uint32_t number = m_chunks; number < ChunksIn(indx); ++number)
    {
        const SKrSuperIndexEntry entry =
            DecodeSuperIndexEntry(&indx[kFirstEntryAt + size_t{number} * SKrSuperIndexEntry::kEncodedSize]);
        if (!ReadHeadAt(file, entry.position, subType))
            return false;
    }
    return true;
}

uint32_t CKrGrowingIndex::Known(const SKrIndexChunk& chunk) const
{
    return chunk.position == m_lastPosition ? m_lastCount : 0;
}

// The entries of the last index chunk are looked at one by one. Those before it were complete when the writer
// went on to the next one.
bool CKrGrowingIndex::Check(IKrFile& file, uint64_t fileSize)
{
    for (m_complete = 0; m_complete < m_heads.size(); ++m_complete)
    {
        const SKrIndexChunk& chunk = m_heads[m_complete];
        const uint64_t end =
            chunk.position + SKrStdIndexHead::kEncodedSize + uint64_t{chunk.count} * chunk.entrySize;
        if (chunk.count < Known(chunk) || chunk.count > chunk.capacity || end > fileSize)
            return true;
        bool areComplete = true;
        if (m_complete + 1 == m_heads.size() && chunk.count > Known(chunk) &&
            !CheckEntries(file, fileSize, chunk, areComplete))
            return false;
        if (!areComplete)
            return true;
    }
    return true;
}

bool CKrGrowingIndex::CheckEntries(IKrFile& file, uint64_t fileSize, const SKrIndexChunk& chunk,
                                   bool& areComplete) const
{
    const uint32_t known = Known(chunk);
    uint64_t left = chunk.count - known;
    CKrIndexBlock block(file, fileSize, kLargestIndexSlice);
    block.Start(chunk.position + SKrStdIndexHead::kEncodedSize + uint64_t{known} * chunk.entrySize, left,
                chunk.entrySize);
    areComplete = true;
    while (areComplete && left != 0)
    {
        const auto slice = block.Next();
        if (!slice)
            return false;
        left -= slice->size() / chunk.entrySize;
        areComplete = !slice->empty() && AreComplete(chunk, *slice, fileSize);
    }
    return true;
}

bool CKrGrowingIndex::TakeInto(CKrIndexDirectory& directory, uint64_t fileSize)
{
    bool grew = false;
    for (size_t number = 0; number < m_complete; ++number)
    {
        const SKrIndexChunk& chunk = m_heads[number];
        const bool isNew = chunk.position != m_lastPosition;
        if (!directory.Take(chunk, fileSize))
            break;
        grew = grew || isNew || chunk.count > m_lastCount;
        m_lastPosition = chunk.position;
        m_lastCount = chunk.count;
        m_lastIsFull = chunk.count == chunk.capacity;
        m_chunks += isNew ? 1 : 0;
    }
    ForgetHeads();
    return grew;
}
