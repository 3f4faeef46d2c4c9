#include "reader/KrStreamTable.h"

#include "reader/KrFileCursor.h"
#include "reader/KrFirstChunks.h"
#include "reader/KrNoticingFile.h"
#include "reader/KrRawRead.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

void CKrStreamTable::Attach(std::shared_ptr<IKrFile> file, uint64_t size, const SKrDeclarations& declarations)
{
    SState state;
    state.file = std::move(file);
    state.size = size;
    state.declarations = declarations;
    const std::lock_guard guard(m_lock);
    std::swap(m_state, state);
}

void CKrStreamTable::Detach()
{
    Attach(nullptr, 0, {});
}

void CKrStreamTable::Update(uint64_t size, std::shared_ptr<const KrStreamLists> streams,
                            const KrSegments& segments)
{
    auto newSegments = std::make_shared<const KrSegments>(segments);
    const std::lock_guard guard(m_lock);
    const bool sameIndexes =
        m_state.segments != nullptr &&
        std::ranges::equal(
            *m_state.segments, segments, {}, [](const SKrSegment& segment) { return segment.idx1.offset; },
            [](const SKrSegment& segment) { return segment.idx1.offset; });
    const bool hasAllIds =
        m_state.chunkIds != nullptr && std::ranges::find(*m_state.chunkIds, 0u) == m_state.chunkIds->end();
    m_state.size = size;
    m_state.streams = std::move(streams);
    m_state.segments = std::move(newSegments);
    if (!sameIndexes)
        m_state.oldIndex = nullptr;
    if (!hasAllIds)
        m_state.chunkIds = nullptr;
}

CKrStreamTable::SState CKrStreamTable::State()
{
    const std::lock_guard guard(m_lock);
    return m_state;
}

// Leaves what was read for others, unless another file is open by now, or more is known of this one: each
// update brings segments of its own.
template <class Part>
void CKrStreamTable::Keep(const SState& state, std::shared_ptr<const Part> SState::*part)
{
    const std::lock_guard guard(m_lock);
    if (m_state.file == state.file && m_state.segments == state.segments)
        m_state.*part = state.*part;
}

bool CKrStreamTable::ReadStreams(SState& state)
{
    if (state.file == nullptr)
        return false;
    if (state.streams != nullptr)
        return true;
    CKrNoticingFile file(*state.file);
    CKrFileCursor cursor;
    cursor.Attach(file, state.size);
    KrStreamLists streams;
    if (const auto first = ReadFirstRiff(cursor))
    {
        if (const auto hdrl = FindHeaderList(cursor, first->riff))
            streams = ReadStreamLists(cursor, *hdrl);
    }
    if (file.Failed())
        return false;
    state.streams = std::make_shared<const KrStreamLists>(std::move(streams));
    Keep(state, &SState::streams);
    return true;
}

bool CKrStreamTable::ReadOldIndex(SState& state)
{
    if (!ReadStreams(state))
        return false;
    if (state.oldIndex != nullptr)
        return true;
    CKrNoticingFile file(*state.file);
    KrSegments segments;
    if (state.segments != nullptr)
    {
        segments = *state.segments;
    }
    else
    {
        CKrFileCursor cursor;
        cursor.Attach(file, state.size);
        segments = ReadSegments(cursor);
    }
    const auto oldIndex = std::make_shared<CKrOldStreamIndex>();
    if (!oldIndex->Read(file, state.size, segments, state.streams->size()) || file.Failed())
        return false;
    state.oldIndex = oldIndex;
    Keep(state, &SState::oldIndex);
    return true;
}

bool CKrStreamTable::ReadChunkIds(SState& state)
{
    if (!ReadOldIndex(state))
        return false;
    if (state.chunkIds != nullptr)
        return true;
    CKrNoticingFile file(*state.file);
    auto ids = std::make_shared<const std::vector<uint32_t>>(
        FindFirstChunkIds(file, state.size, *state.streams, *state.oldIndex));
    if (file.Failed())
        return false;
    state.chunkIds = std::move(ids);
    Keep(state, &SState::chunkIds);
    return true;
}

// Memory that is not there is like a file that cannot be read: there is no answer.
uint32_t CKrStreamTable::Count()
{
    const auto streams = Streams();
    return streams != nullptr ? static_cast<uint32_t>(streams->size()) : 0;
}

std::shared_ptr<const KrStreamLists> CKrStreamTable::Streams()
try
{
    SState state = State();
    return ReadStreams(state) ? state.streams : nullptr;
}
catch (const std::bad_alloc&)
{
    return nullptr;
}

std::shared_ptr<const CKrOldStreamIndex> CKrStreamTable::OldIndex()
try
{
    SState state = State();
    return ReadOldIndex(state) ? state.oldIndex : nullptr;
}
catch (const std::bad_alloc&)
{
    return nullptr;
}

std::vector<uint32_t> CKrStreamTable::ChunkIds()
{
    SState state = State();
    return ReadChunkIds(state) ? *state.chunkIds : std::vector<uint32_t>();
}

bool CKrStreamTable::Properties(uint32_t stream, SKrStreamProperties& properties)
try
{
    SState state = State();
    if (!ReadStreams(state) || stream >= state.streams->size() || !ReadChunkIds(state))
        return false;
    const SKrStreamList& list = (*state.streams)[stream];
    SKrStreamProperties filled = {};
    filled.size = properties.size;
    filled.type = list.header.type;
    filled.handler = list.header.handler;
    filled.chunkId = (*state.chunkIds)[stream];
    filled.rate = list.header.rate;
    filled.scale = list.header.scale;
    filled.start = list.header.start;
    filled.length = list.header.length;
    filled.sampleSize = list.header.sampleSize;
    filled.suggestedBufferSize = list.header.suggestedBufferSize;
    filled.formatSize = list.formatSize;
    filled.flags = (list.indexPosition != 0 ? kHasSuperIndex : 0) |
                   (state.oldIndex->FirstChunkId(stream) != 0 ? kHasOldEntries : 0) |
                   (state.declarations.stream == stream ? state.declarations.flags : 0);
    filled.droppedEntries = stream < state.dropped.size() ? state.dropped[stream] : 0;
    std::memcpy(&properties, &filled, sizeof filled);
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

uint32_t CKrStreamTable::ReadFormat(uint32_t stream, void* buffer, uint32_t size)
try
{
    SState state = State();
    if (!ReadStreams(state) || stream >= state.streams->size())
        return 0;
    const SKrStreamList& list = (*state.streams)[stream];
    return list.formatSize != 0
               ? RawRead(*state.file, list.formatPosition, buffer, std::min(size, list.formatSize))
               : 0;
}
catch (const std::bad_alloc&)
{
    return 0;
}

void CKrStreamTable::SetDropped(uint32_t stream, uint32_t entries)
{
    const std::lock_guard guard(m_lock);
    if (m_state.dropped.size() <= stream)
        m_state.dropped.resize(stream + 1);
    m_state.dropped[stream] = entries;
}
