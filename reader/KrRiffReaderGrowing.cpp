// Files that another process is writing: opening them, and taking in what was added.
#include "reader/KrRiffReader.h"

#include "format/KrFourCC.h"
#include "format/KrLimits.h"
#include "reader/KrStreamChunkDetection.h"

#include <algorithm>
#include <new>
#include <optional>
#include <string>
#include <utility>

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
    if (file == nullptr)
        return 0;
    const std::optional<uint64_t> size = file->Size();
    if (!size.has_value() || *size <= kLargestRefusedSize)
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
        const EKrNews news = m_growth->Refresh();
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
    if (!m_parsedOldIndex && m_growth->Segments().front().idx1.offset != 0)
    {
        m_parsedOldIndex = true;
        static_cast<void>(ParseFile()); // now the two older loads find it as well
    }
    if (m_state.videoStreamNumber != kNotLocated)
        m_state.totalFrames = std::max(m_state.totalFrames, m_growth->TotalFrames());
    TakeChunkIds();
    PublishFacts();
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
