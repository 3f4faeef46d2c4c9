#include "writer/KrObservedFile.h"

#include <algorithm>
#include <utility>

namespace
{
// Both end an operation also when it throws for want of memory: it has failed then.
class CWriteScope
{
public:
    explicit CWriteScope(CKrRecordingStatus& status) : m_status(status) { m_status.BeginWrite(); }
    ~CWriteScope() { m_status.EndWrite(m_transfer, m_whole); }
    CWriteScope(const CWriteScope&) = delete;
    CWriteScope& operator=(const CWriteScope&) = delete;

    SKrTransfer End(const SKrTransfer& transfer, uint64_t wanted)
    {
        m_transfer = transfer;
        m_whole = transfer.bytes == wanted;
        return transfer;
    }

private:
    CKrRecordingStatus& m_status;
    SKrTransfer m_transfer;
    bool m_whole = false;
};

class CFlushScope
{
public:
    explicit CFlushScope(CKrRecordingStatus& status) : m_status(status) { m_status.BeginFlush(); }
    ~CFlushScope() { m_status.EndFlush(m_outcome); }
    CFlushScope(const CFlushScope&) = delete;
    CFlushScope& operator=(const CFlushScope&) = delete;

    SKrFlushOutcome End(const SKrFlushOutcome& outcome) { return m_outcome = outcome; }

private:
    CKrRecordingStatus& m_status;
    SKrFlushOutcome m_outcome;
};
} // namespace

CKrObservedFile::CKrObservedFile(std::unique_ptr<IKrWritableFile> file, CKrRecordingStatus& status,
                                 uint64_t reserveAhead)
    : m_file(std::move(file)), m_status(status), m_reserveAhead(reserveAhead)
{
}

SKrTransfer CKrObservedFile::WriteAt(uint64_t position, std::span<const KrByteSpan> parts)
{
    uint64_t total = 0;
    for (const KrByteSpan& part : parts)
        total += part.size();
    CWriteScope scope(m_status);
    ReserveAheadOf(position + total);
    return scope.End(m_file->WriteAt(position, parts), total);
}

// In large steps: half of what is reserved ahead is used up first. A disk that cannot is not asked again.
void CKrObservedFile::ReserveAheadOf(uint64_t end)
{
    if (m_reserveAhead == 0 || !m_mayReserve || end + m_reserveAhead / 2 <= m_reservedEnd)
        return;
    const uint64_t wanted = end + std::min(m_reserveAhead, INT64_MAX - std::min<uint64_t>(end, INT64_MAX));
    m_mayReserve = m_file->ReserveTo(wanted);
    m_reservedEnd = wanted;
}

SKrFlushOutcome CKrObservedFile::Flush()
{
    CFlushScope scope(m_status);
    return scope.End(m_file->Flush());
}

std::unique_ptr<IKrMappedView> CKrObservedFile::Map(uint64_t position, size_t length)
{
    return m_file->Map(position, length);
}

bool CKrObservedFile::CutTo(uint64_t size)
{
    return m_file->CutTo(size);
}
