#include "writer/KrStreamIndex.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace
{
// Places of the fields in the chunks, headers included.
constexpr size_t kEntriesInUseAt = 12;
constexpr size_t kBaseOffsetAt = 20;
constexpr size_t kEntriesAt = 32;
constexpr size_t kDurationInSuperEntry = 12;

static_assert(kStdIndexCapacity * SKrStdIndexEntry::kEncodedSize == kIndexChunkSize - kEntriesAt);
static_assert(kSuperIndexCapacity * SKrSuperIndexEntry::kEncodedSize == kIndexChunkSize - kEntriesAt);

std::vector<uint8_t> MakeEmptyStdIndex(EKrStream stream, uint32_t chunkId)
{
    SKrStdIndexHead head;
    head.chunkId = stream == EKrStream::Video ? kFccIx00 : kFccIx01;
    head.chunkSize = kIndexChunkSize - kChunkHeaderSize;
    head.streamChunkId = chunkId;
    std::vector<uint8_t> bytes;
    bytes.reserve(kIndexChunkSize);
    CKrByteWriter out(bytes);
    Encode(out, head);
    bytes.resize(kIndexChunkSize);
    return bytes;
}
} // namespace

CKrStreamIndex::CKrStreamIndex(EKrStream stream, uint32_t chunkId, CKrPatches& patches)
    : m_stream(stream), m_chunkId(chunkId), m_empty(MakeEmptyStdIndex(stream, chunkId)), m_patches(patches)
{
    m_pending.reserve(kStdIndexCapacity);
    m_encoded.reserve(kStdIndexCapacity * SKrStdIndexEntry::kEncodedSize);
}

void CKrStreamIndex::SetSuperIndex(SKrPatchPlace chunk)
{
    m_superIndex = std::move(chunk);
    if (!m_superIndex)
        return;
    const uint8_t* const header = m_superIndex.view->Data() + m_superIndex.offset;
    SKrSuperIndexHead head;
    head.chunkId = GetLe32(header);
    head.chunkSize = GetLe32(header + 4);
    head.streamChunkId = m_chunkId;
    std::vector<uint8_t> bytes;
    CKrByteWriter out(bytes);
    Encode(out, head);
    m_patches.Put(m_superIndex, bytes, EKrPatch::Name);
}

void CKrStreamIndex::StartStdIndex(uint64_t position, std::shared_ptr<IKrMappedView> view)
{
    m_view = std::move(view);
    m_copied = 0;
    m_durationPlace = {};
    m_superIndexFull = m_superIndexFull || m_superEntries == kSuperIndexCapacity;
    if (!m_superIndex || m_superIndexFull)
        return;
    const SKrPatchPlace entry =
        m_superIndex.At(kEntriesAt + size_t{m_superEntries} * SKrSuperIndexEntry::kEncodedSize);
    std::array<uint8_t, SKrSuperIndexEntry::kEncodedSize> bytes{};
    PutLe64(bytes.data(), position);
    PutLe32(bytes.data() + 8, kIndexChunkSize);
    m_patches.Put(entry, bytes, EKrPatch::Name);
    m_patches.Put32(m_superIndex.At(kEntriesInUseAt), ++m_superEntries, EKrPatch::Count);
    m_durationPlace = entry.At(kDurationInSuperEntry);
    m_duration = 0;
}

void CKrStreamIndex::EndStdIndex()
{
    m_view.reset();
    m_durationPlace = {};
    m_pending.clear();
    m_copied = 0;
    m_base = 0;
}

bool CKrStreamIndex::Reaches(uint64_t position) const
{
    return m_base == 0 || position - m_base + kChunkHeaderSize <= UINT32_MAX;
}

bool CKrStreamIndex::Record(uint64_t position, uint32_t length)
{
    if (IsFull() || !Reaches(position))
        return false;
    if (m_base == 0)
        m_base = position;
    m_pending.push_back({static_cast<uint32_t>(position - m_base + kChunkHeaderSize), length});
    return static_cast<bool>(m_durationPlace);
}

void CKrStreamIndex::AddDuration(uint32_t samples)
{
    if (!m_durationPlace)
        return;
    m_duration += samples;
    m_patches.Put32(m_durationPlace, m_duration, EKrPatch::Count);
}

void CKrStreamIndex::Flush()
{
    if (m_pending.empty() || m_view == nullptr)
        return;
    const auto count = std::min<uint32_t>(static_cast<uint32_t>(Pending()), kStdIndexCapacity - m_copied);
    if (m_stream == EKrStream::Video)
        AddDuration(count);
    m_encoded.clear();
    CKrByteWriter out(m_encoded);
    if (m_copied == 0)
    {
        out.U64Le(m_base);
        m_patches.Put({m_view, kBaseOffsetAt}, m_encoded, EKrPatch::Name);
        m_encoded.clear();
    }
    for (uint32_t number = 0; number < count; ++number)
    {
        out.U32Le(m_pending[number].offset);
        out.U32Le(m_pending[number].size);
    }
    m_patches.Put({m_view, kEntriesAt + size_t{m_copied} * SKrStdIndexEntry::kEncodedSize}, m_encoded,
                  EKrPatch::Name);
    m_pending.erase(m_pending.begin(), m_pending.begin() + count);
    // After the entries, so that a reader of a killed recording sees complete ones only.
    m_copied += count;
    m_patches.Put32({m_view, kEntriesInUseAt}, m_copied, EKrPatch::Count);
    m_reachable += m_durationPlace ? count : 0;
    if (m_stream == EKrStream::Video)
        m_patches.SetFramesInIndex(m_reachable);
}

void CKrStreamIndex::Unmap()
{
    m_superIndex = {};
    m_durationPlace = {};
    m_view.reset();
}
