#include "writer/KrSampleWriter.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

namespace
{
// A sample's buffer, locked while this lives.
class CKrLockedBuffer
{
public:
    explicit CKrLockedBuffer(const SKrQueuedSample& queued)
        : m_sample(*queued.sample.Get()), m_skip(queued.skip)
    {
        m_locked = m_sample.LockBuffer(&m_data, &m_length) != 0;
    }
    ~CKrLockedBuffer()
    {
        if (m_locked)
            m_sample.UnlockBuffer();
    }
    CKrLockedBuffer(const CKrLockedBuffer&) = delete;
    CKrLockedBuffer& operator=(const CKrLockedBuffer&) = delete;

    // What is to be written of it. Empty when the sample could not be locked.
    [[nodiscard]] KrByteSpan Bytes() const
    {
        if (!m_locked || m_data == nullptr || m_length < 1)
            return {};
        const KrByteSpan all(m_data, static_cast<size_t>(m_length));
        return all.subspan(std::min<size_t>(m_skip, all.size()));
    }

private:
    IKrMediaSample& m_sample;
    const uint32_t m_skip;
    uint8_t* m_data = nullptr;
    int32_t m_length = 0;
    bool m_locked = false;
};

uint32_t LengthOf(const SKrQueuedSample& queued)
{
    return static_cast<uint32_t>(CKrLockedBuffer(queued).Bytes().size());
}
} // namespace

void CKrSampleWriter::Begin(std::unique_ptr<CKrGrowingFile> file, const SKrRecordingRules& rules)
{
    m_rules = rules;
    m_joins = !rules.AreDefaults();
    m_hasJoined = false;
    m_pacer.Reset(rules.chunkSpacingMs, rules.AreDefaults());
    m_flushesBeside = m_joins && m_flusher.Start([flushed = file.get()] { flushed->Flush(); });
    const std::lock_guard guard(m_fileTurn);
    m_file = std::move(file);
}

bool CKrSampleWriter::Write(EKrStream stream, const SKrQueuedSample& sample, EKrSegmentBudget budget)
{
    return WriteInGroup(stream, sample, budget, {});
}

bool CKrSampleWriter::Write(EKrStream stream, CKrSampleList& samples, EKrSegmentBudget budget)
{
    if (!Write(stream, samples.front(), budget))
        return false;
    MoveOn(samples);
    return true;
}

void CKrSampleWriter::MoveOn(CKrSampleList& samples)
{
    if (m_joins)
        m_written.splice(m_written.end(), samples, samples.begin());
    else
        samples.pop_front();
}

// `rest` are the lengths of what follows the sample in its group.
bool CKrSampleWriter::WriteInGroup(EKrStream stream, const SKrQueuedSample& sample, EKrSegmentBudget budget,
                                   std::span<const uint32_t> rest)
{
    std::optional<CKrLockedBuffer> buffer(std::in_place, sample);
    const KrByteSpan bytes = buffer->Bytes();
    if (bytes.empty())
    {
        m_faults.samplePassedOver = true;
        m_status.PassedOver();
        return true;
    }
    if (!m_joins)
        return WriteBytes(stream, bytes, budget, rest) && KeepWritten(stream);
    if (!JoinBytes(stream, bytes, budget, rest))
        return false;
    buffer.reset(); // before the next one is locked, and before the pause
    if (m_rules.JoinsChunks())
        return true;
    const bool written = WriteJoined();
    m_pacer.Pace();
    return written;
}

bool CKrSampleWriter::KeepWritten(EKrStream stream)
{
    m_pacer.Pace();
    const std::lock_guard guard(m_fileTurn);
    return m_file->KeepIndex(stream);
}

bool CKrSampleWriter::JoinBytes(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                std::span<const uint32_t> rest)
{
    const std::lock_guard guard(m_fileTurn);
    const bool joined = m_file->JoinQueued(stream, data, budget, rest);
    m_hasJoined = m_file->HasJoined();
    return joined;
}

bool CKrSampleWriter::WriteJoined()
{
    const std::lock_guard guard(m_fileTurn);
    m_hasJoined = false;
    return m_file->WriteJoined();
}

CKrSampleList CKrSampleWriter::TakeWritten()
{
    return std::exchange(m_written, {});
}

bool CKrSampleWriter::WriteBytes(EKrStream stream, KrByteSpan data, EKrSegmentBudget budget,
                                 std::span<const uint32_t> rest)
{
    const std::lock_guard guard(m_fileTurn);
    return m_file->WriteQueued(stream, data, budget, rest);
}

bool CKrSampleWriter::WriteGroup(SKrBatch& batch)
{
    if (!ReserveGroup(batch))
        return false;
    std::span<const uint32_t> rest(m_groupLengths);
    for (; !batch.audio.empty(); MoveOn(batch.audio))
    {
        rest = rest.subspan(1);
        if (!WriteInGroup(EKrStream::Audio, batch.audio.front(), EKrSegmentBudget::Reserved, rest))
            return false;
    }
    return Write(EKrStream::Video, batch.video, EKrSegmentBudget::Reserved);
}

// Room for a frame and the audio that goes before it, so that no segment starts between them.
bool CKrSampleWriter::ReserveGroup(const SKrBatch& batch)
{
    m_groupLengths.clear();
    for (const SKrQueuedSample& queued : batch.audio)
        m_groupLengths.push_back(LengthOf(queued));
    m_groupLengths.push_back(LengthOf(batch.video.front()));

    // Not before: a sample may be locked by whoever waits for the file.
    const std::lock_guard guard(m_fileTurn);
    return m_file->Reserve(m_groupLengths);
}

void CKrSampleWriter::MeasureDataRate()
{
    const std::lock_guard guard(m_fileTurn);
    if (!m_file->MeasureDataRate())
        return;
    if (m_flushesBeside)
        m_flusher.Request();
    else
        m_file->Flush();
}

bool CKrSampleWriter::Finish()
{
    const std::lock_guard guard(m_fileTurn);
    return m_file->Finish();
}

void CKrSampleWriter::Close()
{
    m_flusher.Stop();
    const std::lock_guard guard(m_fileTurn);
    m_file->Close();
    m_file.reset();
}

void CKrSampleWriter::AcceptDirect(bool accept)
{
    const std::lock_guard guard(m_fileTurn);
    m_acceptingDirect = accept;
}

bool CKrSampleWriter::WriteDirect(EKrStream stream, KrByteSpan data)
{
    const std::lock_guard guard(m_fileTurn);
    return m_acceptingDirect && m_file->Has(stream) && m_file->WriteDirect(stream, data);
}
