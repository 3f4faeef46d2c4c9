#include "writer/KrFileTail.h"

#include <new>
#include <utility>

namespace
{
uint64_t TotalSize(std::span<const KrByteSpan> parts)
{
    uint64_t total = 0;
    for (const KrByteSpan& part : parts)
        total += part.size();
    return total;
}
} // namespace

CKrFileTail::CKrFileTail(std::unique_ptr<IKrWritableFile> file, SKrRecordingFaults& faults)
    : m_faults(faults), m_file(std::move(file))
{
}

uint64_t CKrFileTail::Write(std::span<const KrByteSpan> parts)
{
    return Write(parts, TotalSize(parts));
}

bool CKrFileTail::WriteWhole(std::span<const KrByteSpan> parts)
{
    const uint64_t size = TotalSize(parts);
    return Write(parts, size) == size;
}

uint64_t CKrFileTail::Write(std::span<const KrByteSpan> parts, uint64_t size)
{
    try
    {
        const uint64_t written = m_file->WriteAt(m_position, parts).bytes;
        if (written < size)
            m_faults.writeFailed = true;
        return written;
    }
    catch (const std::bad_alloc&)
    {
        m_faults.writeFailed = true; // who called may be a direct chunk, which ends nothing by itself
        throw;
    }
}

std::unique_ptr<IKrMappedView> CKrFileTail::Map(uint64_t position, size_t length)
{
    std::unique_ptr<IKrMappedView> view = m_file->Map(position, length);
    if (view == nullptr)
        m_faults.viewMissing = true;
    return view;
}

// A recording continues without what the device could not take, also when there was no memory to ask it.
bool CKrFileTail::Flush()
{
    try
    {
        if (m_file->Flush())
            return true;
    }
    catch (const std::bad_alloc&)
    {
    }
    m_faults.flushFailed = true;
    return false;
}

void CKrFileTail::Close(bool mayHaveMore)
{
    if (m_file == nullptr)
        return;
    if (mayHaveMore || m_faults.writeFailed)
        static_cast<void>(m_file->CutTo(m_position)); // should that fail too, the tail does no harm
    static_cast<void>(Flush());
    m_file.reset();
}
