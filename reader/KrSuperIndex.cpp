#include "reader/KrSuperIndex.h"

#include "format/KrFourCC.h"
#include "reader/KrIndexHeads.h"

#include <optional>

namespace
{
bool IsUsableHead(const SKrSuperIndexHead& head)
{
    const bool knownSubType =
        head.indexSubType == kIndexSubTypeDefault || head.indexSubType == kIndexSubType64Bit;
    return head.chunkId == kFccIndx && head.longsPerEntry == 4 && knownSubType &&
           head.indexType == kIndexOfIndexes && head.reserved[0] == 0 && head.reserved[1] == 0 &&
           head.reserved[2] == 0 && head.entriesInUse != 0;
}
} // namespace

bool CKrSuperIndex::Open(uint64_t position)
{
    const auto head = ReadHead<SKrSuperIndexHead>(m_file, position);
    if (!head || !IsUsableHead(*head))
        return false;
    m_subType = head->indexSubType;
    m_block.Start(position + SKrSuperIndexHead::kEncodedSize, head->entriesInUse,
                  SKrSuperIndexEntry::kEncodedSize);
    return true;
}

EKrStdIndex CKrSuperIndex::Next(uint64_t& position)
{
    if (m_at == m_slice.size())
    {
        const auto slice = m_block.Next();
        if (!slice)
            return EKrStdIndex::Unread;
        if (slice->empty())
            return EKrStdIndex::None;
        m_slice = *slice;
        m_at = 0;
    }
    position = DecodeSuperIndexEntry(m_slice.data() + m_at).position;
    if (position >= m_fileSize)
        return EKrStdIndex::None;
    m_at += SKrSuperIndexEntry::kEncodedSize;
    return EKrStdIndex::Found;
}

void CKrSuperIndex::Rewind()
{
    m_at = 0;
    if (m_block.IsOneSlice())
        return;
    m_slice = {};
    m_block.Restart();
}
