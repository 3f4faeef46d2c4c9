#include "writer/KrSampleWriter.h"

#include <mutex>
#include <utility>

namespace
{
// A sample's buffer, locked while this lives.
class CKrLockedBuffer
{
public:
    explicit CKrLockedBuffer(IKrMediaSample& sample) : m_sample(sample)
    {
        m_locked = sample.LockBuffer(&m_data, &m_length) != 0;
    }
    ~CKrLockedBuffer()
    {
        if (m_locked)
            m_sample.UnlockBuffer();
    }
    CKrLockedBuffer(const CKrLockedBuffer&) = delete;
    CKrLockedBuffer& operator=(const CKrLockedBuffer&) = delete;

    // Empty when the sample could not be locked.
    [[nodiscard]] KrByteSpan Bytes() const
    {
        if (!m_locked || m_data == nullptr || m_length < 1)
            return {};
        return {m_data, static_cast<size_t>(m_length)};
    }

private:
    IKrMediaSample& m_sample;
    uint8_t* m_data = nullptr;
    int32_t m_length = 0;
    bool m_locked = false;
};

uint32_t LengthOf(IKrMediaSample& sample)
{
    return static_cast<uint32_t>(CKrLockedBuffer(sample).Bytes().size());
}
} // namespace

void CKrSampleWriter::Begin(std::unique_ptr<CKrGrowingFile> file)
{
    m_pacer.Reset();
    const std::lock_guard guard(m_fileLock);
    m_file = std::move(file);
}

bool CKrSampleWriter::Write(EKrStream stream, IKrMediaSample& sample, EKrSegmentBudget budget)
{
    return WriteInGroup(stream, sample, budget, {});
}

// `rest` are the lengths of what follows the sample in its group.
bool CKrSampleWriter::WriteInGroup(EKrStream stream, IKrMediaSample& sample, EKrSegmentBudget budget,
                                   std::span<const uint32_t> rest)
{
    const CKrLockedBuffer buffer(sample);
    if (buffer.Bytes().empty())
    {
        m_faults.samplePassedOver = true;
        return true;
    }
    if (!WriteBytes(stream, buffer.Bytes(), budget, rest))
        return false;
    m_pacer.Pace();
    const std::lock_guard guard(m_fileLock);
    return m_file->KeepIndex(stream);
}

bool CKrSampleWriter::WriteBytes(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                 std::span<const uint32_t> rest)
{
    const std::lock_guard guard(m_fileLock);
    return m_file->WriteQueued(stream, data, budget, rest);
}

bool CKrSampleWriter::WriteGroup(SKrBatch& batch)
{
    if (!ReserveGroup(batch))
        return false;
    std::span<const uint32_t> rest(m_groupLengths);
    for (; !batch.audio.empty(); batch.audio.pop_front())
    {
        rest = rest.subspan(1);
        if (!WriteInGroup(EKrStream::Audio, *batch.audio.front().sample.Get(), EKrSegmentBudget::Reserved,
                          rest))
            return false;
    }
    if (!Write(EKrStream::Video, *batch.video.front().sample.Get(), EKrSegmentBudget::Reserved))
        return false;
    batch.video.pop_front();
    return true;
}

// Room for a frame and the audio that goes before it, so that no segment starts between them.
bool CKrSampleWriter::ReserveGroup(const SKrBatch& batch)
{
    m_groupLengths.clear();
    for (const SKrQueuedSample& queued : batch.audio)
        m_groupLengths.push_back(LengthOf(*queued.sample.Get()));
    m_groupLengths.push_back(LengthOf(*batch.video.front().sample.Get()));

    // Not before: a sample may be locked by whoever waits for the file.
    const std::lock_guard guard(m_fileLock);
    return m_file->Reserve(m_groupLengths);
}

void CKrSampleWriter::MeasureDataRate()
{
    const std::lock_guard guard(m_fileLock);
    m_file->MeasureDataRate();
}

bool CKrSampleWriter::Finish()
{
    const std::lock_guard guard(m_fileLock);
    return m_file->Finish();
}

void CKrSampleWriter::Close()
{
    const std::lock_guard guard(m_fileLock);
    m_file->Close();
    m_file.reset();
}

void CKrSampleWriter::AcceptDirect(bool accept)
{
    const std::lock_guard guard(m_fileLock);
    m_acceptingDirect = accept;
}

bool CKrSampleWriter::WriteDirect(EKrStream stream, KrByteSpan data)
{
    const std::lock_guard guard(m_fileLock);
    return m_acceptingDirect && m_file->Has(stream) && m_file->WriteDirect(stream, data);
}
