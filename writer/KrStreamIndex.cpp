#include "writer/KrStreamIndex.h"

#include "format/KrAviIndexes.h"
#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"

#include <algorithm>
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

void AddLe32(uint8_t* at, uint32_t value)
{
    PutLe32(at, GetLe32(at) + value);
}

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

CKrStreamIndex::CKrStreamIndex(EKrStream stream, uint32_t chunkId)
    : m_stream(stream), m_chunkId(chunkId), m_empty(MakeEmptyStdIndex(stream, chunkId))
{
    m_pending.reserve(kStdIndexCapacity);
}

void CKrStreamIndex::SetSuperIndex(uint8_t* chunk)
{
    m_superIndex = chunk;
    if (chunk == nullptr)
        return;
    SKrSuperIndexHead head;
    head.chunkId = GetLe32(chunk);
    head.chunkSize = GetLe32(chunk + 4);
    head.streamChunkId = m_chunkId;
    std::vector<uint8_t> bytes;
    CKrByteWriter out(bytes);
    Encode(out, head);
    std::ranges::copy(bytes, chunk);
}

void CKrStreamIndex::StartStdIndex(uint64_t position, std::unique_ptr<IKrMappedView> view)
{
    m_view = std::move(view);
    m_copied = 0;
    m_duration = nullptr;
    if (m_superIndex == nullptr || m_superEntries == kSuperIndexCapacity)
        return;
    uint8_t* const entry =
        m_superIndex + kEntriesAt + size_t{m_superEntries} * SKrSuperIndexEntry::kEncodedSize;
    PutLe64(entry, position);
    PutLe32(entry + 8, kIndexChunkSize);
    PutLe32(entry + kDurationInSuperEntry, 0);
    PutLe32(m_superIndex + kEntriesInUseAt, ++m_superEntries);
    m_duration = entry + kDurationInSuperEntry;
}

void CKrStreamIndex::EndStdIndex()
{
    m_view.reset();
    m_duration = nullptr;
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
    return m_duration != nullptr;
}

void CKrStreamIndex::AddDuration(uint32_t samples)
{
    if (m_duration != nullptr)
        AddLe32(m_duration, samples);
}

void CKrStreamIndex::Flush()
{
    if (m_pending.empty() || m_view == nullptr)
        return;
    uint8_t* const chunk = m_view->Data();
    const auto count = std::min<uint32_t>(static_cast<uint32_t>(Pending()), kStdIndexCapacity - m_copied);
    if (m_stream == EKrStream::Video)
        AddDuration(count);
    if (m_copied == 0)
    {
        PutLe64(chunk + kBaseOffsetAt, m_base);
        PutLe32(chunk + kEntriesInUseAt, 0);
    }
    uint8_t* entry = chunk + kEntriesAt + size_t{m_copied} * SKrStdIndexEntry::kEncodedSize;
    for (uint32_t number = 0; number < count; ++number, entry += SKrStdIndexEntry::kEncodedSize)
    {
        PutLe32(entry, m_pending[number].offset);
        PutLe32(entry + 4, m_pending[number].size);
    }
    m_pending.erase(m_pending.begin(), m_pending.begin() + count);
    // After the entries, so that a reader of a killed recording sees complete ones only.
    AddLe32(chunk + kEntriesInUseAt, count);
    m_copied += count;
}

void CKrStreamIndex::Unmap()
{
    m_superIndex = nullptr;
    m_duration = nullptr;
    m_view.reset();
}
