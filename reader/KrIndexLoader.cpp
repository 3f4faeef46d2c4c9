#include "reader/KrIndexLoader.h"

#include "format/KrAviIndexes.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "platform/KrPlatform.h"
#include "reader/KrAudioChunkPattern.h"
#include "reader/KrHostArray.h"
#include "reader/KrIndexHeads.h"
#include "reader/KrSuperIndex.h"

#include <algorithm>
#include <new>

namespace
{
// The two layouts of a standard index's entries, read the same way.
struct SNarrowEntries
{
    static constexpr size_t kSize = SKrStdIndexEntry::kEncodedSize;

    static SKrChunkIndexEntry At(const uint8_t* from, uint64_t base)
    {
        const SKrStdIndexEntry entry = DecodeStdIndexEntry(from);
        return {base + entry.offset, entry.size & ~SKrStdIndexEntry::kNotKeyFrame, 0};
    }
};

struct SWideEntries
{
    static constexpr size_t kSize = SKrWideIndexEntry::kEncodedSize;

    static SKrChunkIndexEntry At(const uint8_t* from, uint64_t base)
    {
        const SKrWideIndexEntry entry = DecodeWideIndexEntry(from);
        return {base + entry.offset, entry.size, 0};
    }
};
} // namespace

bool CKrIndexLoader::LoadVideo(Entries& out)
{
    const SKrLocatedIndex& index = m_state.videoIndex;
    const uint32_t ids[] = {KrDataChunkId(index.streamNumber, EKrDataKind::CompressedVideo),
                            KrDataChunkId(index.streamNumber, EKrDataKind::UncompressedVideo)};
    const bool loaded = Load(index, ids, out);
    m_state.statistics.AddVideoLoad(Produced(out));
    if (loaded)
        m_state.totalFrames = static_cast<uint32_t>(m_produced);
    return loaded;
}

bool CKrIndexLoader::LoadAudio(Entries& out, SKrAudioChunkPattern& pattern)
{
    const SKrAudioStream& audio = m_state.audio[0];
    const uint32_t ids[] = {KrDataChunkId(audio.index.streamNumber, EKrDataKind::Audio)};
    if (!Load(audio.index, ids, out))
        return false;
    m_state.statistics.AddAudioLoad(Produced(out), m_announced, audio.sampleSize);
    if (m_produced != 0)
        pattern = FindAudioChunkPattern(Produced(out));
    return true;
}

bool CKrIndexLoader::Load(const SKrLocatedIndex& index, std::span<const uint32_t> ids, Entries& out)
{
    m_produced = 0;
    if (!KrHostArray::IsUsable(out) || index.indexPosition >= kFirstUnreachableIndex)
        return false;
    m_passedOver = 0;
    try
    {
        if (!(m_state.openDmlIndex ? LoadOpenDml(index, out) : LoadOld(index, ids, out)))
            return false;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
    KrHostArray::CutTo(out, m_produced);
    return true;
}

std::span<const SKrChunkIndexEntry> CKrIndexLoader::Produced(Entries& out) const
{
    if (m_produced == 0)
        return {}; // without a look at an array that cannot be used
    return {out.GetData(), static_cast<size_t>(m_produced)};
}

// Adds up what the standard indexes announce. One that cannot be read ends the count. So does a sum that a
// file of this size cannot hold: the others cannot change the result any more.
bool CKrIndexLoader::CountEntries(CKrSuperIndex& super)
{
    m_announced = 0;
    while (m_announced <= m_fileSize / kSmallestChunk)
    {
        uint64_t position = 0;
        const EKrStdIndex next = super.Next(position);
        if (next != EKrStdIndex::Found)
            return next == EKrStdIndex::None;
        const auto head = ReadHead<SKrStdIndexHead>(m_file, position);
        if (!head)
            return true;
        m_announced += head->entriesInUse;
    }
    return true;
}

bool CKrIndexLoader::LoadOpenDml(const SKrLocatedIndex& index, Entries& out)
{
    CKrSuperIndex super(m_file, m_fileSize, m_sliceSize);
    if (!super.Open(index.indexPosition) || !CountEntries(super) || m_announced == 0)
        return false;
    const uint64_t mostInFile = m_fileSize / kSmallestChunk;
    if (!KrHostArray::TrySetSize(out, std::min(m_announced, mostInFile)))
        return false;
    super.Rewind();
    for (;;)
    {
        uint64_t position = 0;
        const EKrStdIndex next = super.Next(position);
        if (next != EKrStdIndex::Found)
            return next == EKrStdIndex::None;
        if (!TakeStdIndex(position, super.SubType(), out))
            return false;
    }
}

bool CKrIndexLoader::TakeStdIndex(uint64_t position, uint8_t superSubType, Entries& out)
{
    const auto head = ReadHead<SKrStdIndexHead>(m_file, position);
    if (!head)
        return false;
    const uint64_t base = superSubType == kIndexSubTypeDefault ? head->baseOffset : 0;
    const uint64_t entriesAt = position + SKrStdIndexHead::kEncodedSize;
    switch (head->indexSubType)
    {
    case kIndexSubTypeDefault:
        return TakeStdEntries<SNarrowEntries>(entriesAt, head->entriesInUse, base, out);
    case kIndexSubType64Bit:
        return TakeStdEntries<SWideEntries>(entriesAt, head->entriesInUse, base, out);
    default:
        return true; // unknown entries: the chunk is skipped
    }
}

// Appends a chunk's entries up to the first that lies beyond the end of the file.
template <class Layout>
bool CKrIndexLoader::TakeStdEntries(uint64_t position, uint32_t count, uint64_t base, Entries& out)
{
    m_block.Start(position, count, Layout::kSize);
    for (;;)
    {
        const auto slice = m_block.Next();
        if (!slice)
            return false;
        if (slice->empty())
            return true;
        const std::span<const uint8_t> left = slice->subspan(Take<Layout>(*slice, base, out) * Layout::kSize);
        if (left.empty())
            continue;
        if (Layout::At(left.data(), base).position < m_fileSize)
            return RefuseEntry(out);
        PassOver(left.size());
        return true;
    }
}

// Appends entries as long as there is room and they lie in the file, and answers how many.
template <class Layout>
size_t CKrIndexLoader::Take(std::span<const uint8_t> slice, uint64_t base, Entries& out)
{
    // Looked up once, not for each entry.
    SKrChunkIndexEntry* const to = out.GetData() + m_produced;
    const uint64_t fileSize = m_fileSize;
    const uint64_t room = static_cast<uint64_t>(out.GetSize()) - m_produced;
    const auto most = static_cast<size_t>(std::min<uint64_t>(slice.size() / Layout::kSize, room));
    size_t taken = 0;
    for (; taken < most; ++taken)
    {
        const SKrChunkIndexEntry entry = Layout::At(&slice[taken * Layout::kSize], base);
        if (entry.position >= fileSize)
            break;
        to[taken] = entry;
    }
    m_produced += taken;
    return taken;
}

// There are more entries than were counted, or than the file can hold. Where the count was cut short, the
// array throws as for any index beyond its end.
bool CKrIndexLoader::RefuseEntry(Entries& out) const
{
    if (m_announced <= m_fileSize / kSmallestChunk)
        static_cast<void>(out.ElementAt(out.GetSize()));
    return false;
}

// Many standard indexes that overlap, with entries that point past the end of the file, would have most of
// the file read for each of them. From then on they are read in small slices, of which few bytes are skipped.
// An index that announces no more entries than the file can hold never gets that far.
void CKrIndexLoader::PassOver(size_t bytes)
{
    m_passedOver += bytes;
    if (m_passedOver / (SWideEntries::kSize / kSmallestChunk) > m_fileSize)
        m_block.MakeSlicesSmaller(kSmallIndexSlice);
}

// Sizes the output and reads 'idx1', of which a truncated file may hold only a part.
bool CKrIndexLoader::LoadOld(const SKrLocatedIndex& index, std::span<const uint32_t> ids, Entries& out)
{
    if (index.oldIndexEntries == 0)
        return false;
    const uint64_t bytesInFile = m_fileSize - std::min<uint64_t>(m_fileSize, index.indexPosition);
    const uint64_t entries =
        std::min<uint64_t>(index.oldIndexEntries, bytesInFile / SKrOldIndexEntry::kEncodedSize);
    if (!KrHostArray::TrySetSize(out, entries))
        return false;
    m_block.Start(index.indexPosition, entries, SKrOldIndexEntry::kEncodedSize);
    for (bool first = true;; first = false)
    {
        const auto slice = m_block.Next();
        if (!slice)
            return false;
        if (first)
            m_announced = m_block.IsOneSlice() ? slice->size() / SKrOldIndexEntry::kEncodedSize : entries;
        if (slice->empty() || !TakeOldEntries(index, *slice, ids, out))
            return true;
    }
}

// The first entry of the stream belongs to the first chunk found in 'movi', so that it does not matter
// what the offsets are relative to. Kept: 32-bit arithmetic that wraps; such files are 32-bit files
// throughout. False at the first entry that lies beyond the end of the file, which ends the index.
bool CKrIndexLoader::TakeOldEntries(const SKrLocatedIndex& index, std::span<const uint8_t> bytes,
                                    std::span<const uint32_t> ids, Entries& out)
{
    for (size_t at = 0; at < bytes.size(); at += SKrOldIndexEntry::kEncodedSize)
    {
        const SKrOldIndexEntry old = DecodeOldIndexEntry(&bytes[at]);
        if (std::ranges::find(ids, old.chunkId) == ids.end())
            continue;
        if (m_produced == 0)
            m_oldBase = index.firstChunkPosition - old.offset;
        const uint32_t position = m_oldBase + old.offset + 8;
        if (position >= m_fileSize)
            return false;
        out.GetData()[m_produced] = {position, old.size, 0};
        ++m_produced;
    }
    return true;
}
