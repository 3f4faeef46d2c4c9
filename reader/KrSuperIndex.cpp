#include "reader/KrSuperIndex.h"

#include "format/KrBytes.h"
#include "format/KrFourCC.h"
#include "platform/KrPlatform.h"

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
    uint8_t bytes[SKrSuperIndexHead::kEncodedSize];
    const SKrTransfer read = m_file.ReadAt(position, bytes, sizeof bytes);
    CKrByteReader in({bytes, read.Failed() ? 0 : read.bytes});
    SKrSuperIndexHead head;
    if (!Decode(in, head) || !IsUsableHead(head))
        return false;
    m_subType = head.indexSubType;
    m_block.Start(position + sizeof bytes, head.entriesInUse, SKrSuperIndexEntry::kEncodedSize);
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
