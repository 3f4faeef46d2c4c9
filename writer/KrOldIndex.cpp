#include "writer/KrOldIndex.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "writer/KrFileTail.h"
#include "writer/KrRiffFileChunk.h"

static_assert(kLeastOldIndexPadding == SKrOldIndexEntry::kEncodedSize);
static_assert(kOldIndexOverhead == kChunkHeaderSize + kLeastOldIndexPadding);

void CKrOldIndex::Begin(uint64_t position)
{
    AddEntry(kFccAbsoluteIdx1, 0, position, 0);
}

void CKrOldIndex::MakeRoom(size_t chunks)
{
    const size_t needed = chunks * SKrOldIndexEntry::kEncodedSize;
    if (m_entries.capacity() - m_entries.size() < needed)
        m_entries.reserve(2 * m_entries.capacity() + needed);
}

void CKrOldIndex::Add(uint32_t chunkId, uint64_t position, uint32_t size)
{
    AddEntry(chunkId, kAviifKeyFrame, position, size);
}

void CKrOldIndex::AddEntry(uint32_t id, uint32_t flags, uint64_t position, uint32_t size)
{
    CKrByteWriter out(m_entries);
    Encode(out, SKrOldIndexEntry{id, flags, static_cast<uint32_t>(position), size});
}

uint64_t CKrOldIndex::Reserved(size_t further) const
{
    return KrRoundUp(m_entries.size() + further * SKrOldIndexEntry::kEncodedSize + kOldIndexOverhead,
                     m_bytesPerSector);
}

uint64_t CKrOldIndex::Write(CKrFileTail& tail, uint64_t segmentLength)
{
    const uint64_t bytes = m_entries.size();
    const uint64_t filled = segmentLength + bytes + kOldIndexOverhead;
    const uint64_t padding = KrRoundUp(filled, m_bytesPerSector) - filled + kLeastOldIndexPadding;

    std::vector<uint8_t> header;
    CKrByteWriter headerOut(header);
    headerOut.U32Le(kFccIdx1);
    headerOut.U32Le(static_cast<uint32_t>(bytes + padding));
    std::vector<uint8_t> filler;
    CKrByteWriter fillerOut(filler);
    for (uint64_t number = 0; number < padding / SKrOldIndexEntry::kEncodedSize; ++number)
        Encode(fillerOut, SKrOldIndexEntry{kFccAbsoluteIdx1, 0, 0, 0});
    filler.resize(static_cast<size_t>(padding));

    const KrByteSpan parts[] = {header, m_entries, filler};
    if (!tail.WriteWhole(parts))
        return 0;
    // Release the memory too: this may be megabytes, and the recording continues.
    std::vector<uint8_t>().swap(m_entries);
    return kChunkHeaderSize + bytes + padding;
}
