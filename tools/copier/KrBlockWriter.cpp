#include "tools/copier/KrBlockWriter.h"

#include "tools/command/KrProgress.h"
#include "tools/output/KrOutputFile.h"

#include <algorithm>
#include <utility>

namespace KrTool
{
namespace
{
constexpr uint32_t kLookEvery = 100; // milliseconds, for progress and for a user who wants to stop
constexpr uint64_t kCopiedAtOnce = uint64_t{32} << 20;
} // namespace

CKrBlockWriter::CKrBlockWriter(CKrOutputFile& output, CKrProgress& progress)
    : m_output(output), m_progress(progress)
{
    m_free.resize(kBlocks);
    TakeFreeBlock();
    m_thread = std::thread([this] { Run(); });
}

CKrBlockWriter::~CKrBlockWriter()
{
    {
        const std::scoped_lock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.NotifyAll();
    m_thread.join();
}

std::span<uint8_t> CKrBlockWriter::Free()
{
    if (m_current.used == kBlockBytes)
        Send();
    return {m_current.bytes.get() + m_current.used, kBlockBytes - m_current.used};
}

void CKrBlockWriter::Commit(size_t count)
{
    m_current.used += count;
    m_position += count;
}

void CKrBlockWriter::Put(std::span<const uint8_t> bytes)
{
    while (!bytes.empty())
    {
        const std::span<uint8_t> free = Free();
        const size_t count = std::min(free.size(), bytes.size());
        std::copy_n(bytes.begin(), count, free.begin());
        Commit(count);
        bytes = bytes.subspan(count);
    }
}

uint64_t CKrBlockWriter::PutFrom(const CKrRangeSource& source, uint64_t position, uint64_t count)
{
    WriteAll();
    uint64_t done = 0;
    while (done < count)
    {
        const uint64_t wanted = std::min(count - done, kCopiedAtOnce);
        const uint64_t went = m_output.CopyFrom(source, position + done, wanted);
        done += went;
        m_position += went;
        m_progress.Advance(m_position);
        if (went < wanted)
            break;
    }
    const std::scoped_lock lock(m_mutex);
    m_written = m_position;
    return done;
}

void CKrBlockWriter::Finish()
{
    WriteAll();
    m_progress.Advance(m_written);
}

// When the thread has nothing left to do, the rest is written here: waking it would take longer.
void CKrBlockWriter::WriteAll()
{
    std::unique_lock lock(m_mutex);
    WaitUntil(lock, [this] { return m_waiting.empty(); });
    m_output.Write(m_current.bytes.get(), m_current.used);
    m_written += m_current.used;
    m_current.used = 0;
}

void CKrBlockWriter::Send()
{
    {
        const std::scoped_lock lock(m_mutex);
        m_waiting.push_back(std::move(m_current));
    }
    m_changed.NotifyAll();
    TakeFreeBlock();
}

// The lock is free while progress is shown.
template <class PREDICATE>
void CKrBlockWriter::WaitUntil(std::unique_lock<CKrMutex>& lock, PREDICATE holds)
{
    for (bool isThere = false; !isThere;)
    {
        isThere = m_changed.WaitFor(lock, kLookEvery, [&] { return m_failure != nullptr || holds(); });
        if (m_failure != nullptr)
            std::rethrow_exception(m_failure);
        const uint64_t written = m_written;
        lock.unlock();
        m_progress.Advance(written);
        lock.lock();
    }
}

void CKrBlockWriter::TakeFreeBlock()
{
    std::unique_lock lock(m_mutex);
    WaitUntil(lock, [this] { return !m_free.empty(); });
    m_current = std::move(m_free.back());
    m_free.pop_back();
    m_current.used = 0;
    if (m_current.bytes == nullptr)
        m_current.bytes = std::make_unique_for_overwrite<uint8_t[]>(kBlockBytes);
}

void CKrBlockWriter::Run()
{
    std::unique_lock lock(m_mutex);
    for (;;)
    {
        m_changed.Wait(lock, [this] { return m_isEnding || !m_waiting.empty(); });
        if (m_isEnding)
            return;
        const SBlock& block = m_waiting.front(); // only this thread removes it
        lock.unlock();
        std::exception_ptr failure;
        try
        {
            m_output.Write(block.bytes.get(), block.used);
        }
        catch (...)
        {
            failure = std::current_exception();
        }
        lock.lock();
        m_failure = failure;
        m_written += block.used;
        m_free.push_back(std::move(m_waiting.front()));
        m_waiting.pop_front();
        m_changed.NotifyAll();
        if (failure != nullptr)
            return;
    }
}
} // namespace KrTool
