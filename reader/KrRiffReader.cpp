#include "reader/KrRiffReader.h"

#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "reader/KrHeaderParser.h"
#include "reader/KrHostArray.h"
#include "reader/KrRawRead.h"
#include "reader/KrStreamChunkDetection.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace
{
constexpr uint64_t kDefaultStart = std::numeric_limits<uint64_t>::max();

// The table of virtual operations of this class, noted by the first object made. Every ABI that the library
// is built for keeps the pointer to it at the start of an object.
KrAtomic<const void*> g_operations;

const void* OperationsOf(const IKrRiffReader* reader)
{
    const void* operations;
    std::memcpy(&operations, static_cast<const void*>(reader), sizeof operations);
    return operations;
}

void Report(SKrChunkTreeNode& reported, uint32_t* type, uint32_t* size, uint64_t* dataOffset,
            SKrRiffChunkNode** node)
{
    *type = reported.chunk.fccType;
    *size = reported.chunk.cksize;
    *dataOffset = reported.chunk.offset;
    if (node != nullptr)
        *node = &reported;
}

// The size of a file that may hold something to parse; nothing when it is not open, or too small.
std::optional<uint64_t> UsableSize(IKrFile* file)
{
    const std::optional<uint64_t> size = file != nullptr ? file->Size() : std::nullopt;
    return size.value_or(0) > kLargestRefusedSize ? size : std::nullopt;
}
} // namespace

CKrRiffReader::CKrRiffReader(IKrFileSystem& fileSystem) : m_fileSystem(fileSystem)
{
    g_operations.store(OperationsOf(this), std::memory_order_relaxed);
}

CKrRiffReader::~CKrRiffReader()
{
    Close();
}

CKrReentrantLock* CKrRiffReader::FindLock(IKrRiffReader* reader)
{
    const bool isOurs =
        reader != nullptr && OperationsOf(reader) == g_operations.load(std::memory_order_relaxed);
    return isOurs ? &static_cast<CKrRiffReader*>(reader)->m_lock : nullptr;
}

// The lock is held throughout, so that nobody sees a reader whose headers are half parsed.
int CKrRiffReader::Open(const wchar_t* path)
{
    const CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    if (path != nullptr && m_file != nullptr && KrPlatform::IsSamePath(m_path, path))
        return 1;
    Close();
    if (path == nullptr)
        return 0;
    std::wstring keptPath(path);
    std::unique_ptr<IKrFile> file = m_fileSystem.OpenForReading(path);
    const std::optional<uint64_t> size = UsableSize(file.get());
    if (!size)
        return 0;

    CDetachUnlessOpened guard(*this);
    Attach(std::move(file), *size);
    if (!ParseFile())
        return 0;
    m_cursor.SeekTo(0);
    m_path = std::move(keptPath);
    m_streams.Attach(m_file, *size, m_state.declarations);
    guard.Opened();
    return 1;
}

void CKrRiffReader::Close()
{
    CKrTryLockScope scope(m_lock);
    if (scope.Entered())
    {
        EndChunkSearch();
        Detach();
    }
    m_firstChunkPosition = 0;
}

void CKrRiffReader::Attach(std::unique_ptr<IKrFile> file, uint64_t size)
{
    std::shared_ptr<IKrFile> shared = std::move(file);
    m_cursor.Attach(*shared, size);
    const std::lock_guard guard(m_sharedLock);
    m_file = std::move(shared);
}

// Returns to the closed state, but keeps what the parse found. A raw read in progress keeps the file open
// until it ends.
void CKrRiffReader::Detach()
{
    m_tree.Clear();
    m_growth.reset();
    m_growingState = 0;
    m_indexes.Clear();
    m_streams.Detach();
    m_cursor.Detach();
    m_path.clear();
    m_state.totalFrames = 0;
    std::shared_ptr<IKrFile> closed; // outside the lock
    const std::lock_guard guard(m_sharedLock);
    closed.swap(m_file);
    m_facts.totalFrames = 0;
}

std::shared_ptr<IKrFile> CKrRiffReader::OpenedFile()
{
    const std::lock_guard guard(m_sharedLock);
    return m_file;
}

uint64_t CKrRiffReader::GetFileLength()
{
    CKrLockScope scope(m_lock);
    return m_cursor.Size();
}

int CKrRiffReader::FindFirstRiffSegment()
{
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    if (!m_tree.HasSegments())
    {
        m_cursor.SeekTo(0);
        if (m_cursor.Size() == 0 || !m_file->Seek(0))
        {
            // Kept: the calling thread keeps the reader locked; other threads are refused from now on.
            scope.LeaveTheLockHeldOnPurpose();
            return 0;
        }
        if (!m_tree.ReadFirstSegment(m_cursor))
            return 0;
    }
    m_tree.StartSegmentWalk();
    return 1;
}

int CKrRiffReader::FindNextRiffSegment(uint32_t* formType, uint32_t* size, uint64_t* dataOffset,
                                       SKrRiffChunkNode** node)
{
    if (formType == nullptr || size == nullptr || dataOffset == nullptr)
        return 0;
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    SKrChunkTreeNode* const current = m_tree.CurrentSegment();
    if (current == nullptr)
        return 0;
    Report(*current, formType, size, dataOffset, node);
    return m_tree.AdvanceSegment(m_cursor) ? 1 : 0;
}

int CKrRiffReader::FindFirstSubChunk(SKrRiffChunkNode* node)
{
    if (node == nullptr || (node->chunk.ckid != kFccRiff && node->chunk.ckid != kFccList))
        return 0;
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    return m_tree.StartSubChunkWalk(m_cursor, *node) ? 1 : 0;
}

int CKrRiffReader::FindNextSubChunk(uint32_t* ckid, uint32_t* type, uint32_t* size, uint64_t* dataOffset,
                                    SKrRiffChunkNode** node)
{
    if (ckid == nullptr || type == nullptr || size == nullptr || dataOffset == nullptr)
        return 0;
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    SKrChunkTreeNode* const current = m_tree.CurrentSubChunk();
    if (current == nullptr)
        return 0;
    *ckid = current->chunk.ckid;
    Report(*current, type, size, dataOffset, node);
    return m_tree.AdvanceSubChunk(m_cursor) ? 1 : 0;
}

// Kept: the type of a container is skipped, yet all of `cksize` is read, four bytes past its end. Hosts
// size their buffers by `cksize` alone.
uint32_t CKrRiffReader::ReadChunkData(const SKrRiffChunkInfo* chunk, uint8_t* buffer, uint32_t bufferSize)
{
    if (chunk == nullptr || buffer == nullptr || bufferSize < chunk->cksize)
        return 0;
    const bool container = chunk->ckid == kFccRiff || chunk->ckid == kFccList;
    return ReadAt(chunk->offset + (container ? kListTypeSize : 0), buffer, chunk->cksize);
}

uint32_t CKrRiffReader::ReadAt(uint64_t position, void* buffer, uint32_t count)
{
    const std::shared_ptr<IKrFile> file = OpenedFile();
    return file != nullptr && buffer != nullptr ? RawRead(*file, position, buffer, count) : 0;
}

SKrRiffChunkInfo* CKrRiffReader::GetLastRiffSegment()
{
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return nullptr;
    SKrRiffChunkNode* last = nullptr;
    if (FindFirstRiffSegment() != 0)
    {
        uint32_t formType, size;
        uint64_t dataOffset;
        while (FindNextRiffSegment(&formType, &size, &dataOffset, &last) != 0)
        {
        }
    }
    return last == nullptr ? nullptr : &last->chunk;
}

int CKrRiffReader::FindFirstChunk(const CDWordArray* fourccs, uint64_t startPosition)
{
    if (fourccs == nullptr || !KrHostArray::IsUsable(*fourccs) || fourccs->IsEmpty())
        return 0;
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    EndChunkSearch();
    if (startPosition == kDefaultStart)
    {
        const uint32_t firstChunk = m_firstChunkPosition;
        startPosition = firstChunk != 0 ? firstChunk : kLargestRefusedSize;
    }
    return m_search.Start(m_cursor, *fourccs, startPosition) ? 1 : 0;
}

int CKrRiffReader::FindNextChunk(uint32_t* ckid, uint32_t* fccType, uint32_t* size, uint64_t* dataOffset,
                                 SKrRiffChunkInfo** record)
{
    if (ckid == nullptr || fccType == nullptr || size == nullptr || dataOffset == nullptr)
        return 0;
    CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    SKrRiffChunkInfo& current = m_search.Current();
    *ckid = current.ckid;
    *fccType = current.fccType;
    *size = current.cksize;
    *dataOffset = current.offset;
    if (record != nullptr)
        *record = &current;
    return m_search.Advance(m_cursor) ? 1 : 0;
}

void CKrRiffReader::EndChunkSearch()
{
    CKrTryLockScope scope(m_lock);
    if (scope.Entered())
        m_search.End();
}

// As in Open, the lock is held throughout. No chunk has to be there yet.
int CKrRiffReader::OpenGrowing(const wchar_t* path)
{
    const CKrTryLockScope scope(m_lock);
    if (!scope.Entered())
        return 0;
    Close();
    if (path == nullptr)
        return 0;
    std::wstring keptPath(path);
    std::unique_ptr<IKrFile> file = m_fileSystem.OpenForFollowing(path);
    const std::optional<uint64_t> size = UsableSize(file.get());
    if (!size)
        return 0;

    CDetachUnlessOpened guard(*this);
    Attach(std::move(file), *size);
    m_growth = std::make_unique<CKrGrowth>(*m_file, m_indexes);
    if (!m_growth->Start(*size))
        return 0;
    m_cursor.Resize(m_growth->Size());
    static_cast<void>(ParseFile());
    m_parsedOldIndex = m_growth->Segments().front().idx1.offset != 0;
    m_cursor.SeekTo(0);
    m_streams.Attach(m_file, m_growth->Size(), m_state.declarations);
    m_idsSoughtAt = 0;
    TakeGrowth();
    m_path = std::move(keptPath);
    m_growingState = static_cast<uint32_t>(m_growth->State());
    guard.Opened();
    return 1;
}

int CKrRiffReader::Refresh()
{
    const CKrTryLockScope scope(m_lock);
    if (!scope.Entered() || m_file == nullptr)
        return -1;
    if (m_growth == nullptr)
        return 0; // nobody writes what is open in the usual way
    try
    {
        EKrNews news = m_growth->Refresh();
        if (news == EKrNews::More && !ParseOldIndexThatCame())
            news = EKrNews::Failed;
        if (news == EKrNews::More)
            TakeGrowth();
        m_growingState = static_cast<uint32_t>(m_growth->State());
        return news == EKrNews::Failed ? -1 : news == EKrNews::More ? 1 : 0;
    }
    catch (const std::bad_alloc&)
    {
        return -1;
    }
}

uint32_t CKrRiffReader::GetGrowingState()
{
    return m_growingState;
}

// Lets everybody see what the last look found.
void CKrRiffReader::TakeGrowth()
{
    m_cursor.Resize(m_growth->Size());
    m_tree.UseSegments(m_growth->Segments());
    m_streams.Update(m_growth->Size(), m_growth->Streams(), m_growth->Segments());
    if (m_state.videoStreamNumber != kNotLocated)
        m_state.totalFrames = std::max(m_state.totalFrames, m_growth->TotalFrames());
    TakeChunkIds();
    PublishFacts();
    m_growth->Told();
}

// The ids that an open would have found, had there been chunks. Where they stay unknown they are looked for
// each time that the file has doubled.
void CKrRiffReader::TakeChunkIds()
{
    if ((m_state.firstVideoChunkId != 0 && m_state.firstAudioChunkId != 0) ||
        m_growth->Size() / 2 < m_idsSoughtAt)
        return;
    m_idsSoughtAt = m_growth->Size();
    for (const uint32_t id : m_streams.ChunkIds())
    {
        if (!IsStreamDataChunkId(id))
            continue;
        uint32_t& first = KrFourCCChar(id, 2) == 'd' ? m_state.firstVideoChunkId : m_state.firstAudioChunkId;
        if (first == 0)
            first = id;
    }
}
