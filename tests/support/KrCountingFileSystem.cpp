#include "tests/support/KrCountingFileSystem.h"

#include <mutex>
#include <utility>

namespace KrTest
{
struct CKrCountingFileSystem::SKrTally
{
    std::mutex mutex; // guards the rest
    SKrFileCalls calls;
    std::vector<SKrReadCall> reads;

    void Add(uint64_t SKrFileCalls::*counter)
    {
        const std::scoped_lock lock(mutex);
        ++(calls.*counter);
    }
};

namespace
{
class CCountingFile final : public IKrFile
{
public:
    CCountingFile(std::unique_ptr<IKrFile> inner, std::shared_ptr<CKrCountingFileSystem::SKrTally> tally)
        : m_inner(std::move(inner)), m_tally(std::move(tally))
    {
        m_tally->Add(&SKrFileCalls::openFiles);
    }

    ~CCountingFile() override
    {
        const std::scoped_lock lock(m_tally->mutex);
        --m_tally->calls.openFiles;
    }

    std::optional<uint64_t> Size() override
    {
        m_tally->Add(&SKrFileCalls::sizes);
        return m_inner->Size();
    }

    bool Seek(uint64_t position) override
    {
        m_tally->Add(&SKrFileCalls::seeks);
        return m_inner->Seek(position);
    }

    bool ShareWithReadersOnly() override
    {
        m_tally->Add(&SKrFileCalls::shares);
        return m_inner->ShareWithReadersOnly();
    }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        const SKrTransfer transfer = m_inner->ReadAt(position, buffer, count);
        const std::scoped_lock lock(m_tally->mutex);
        ++m_tally->calls.reads;
        m_tally->calls.bytes += transfer.bytes;
        m_tally->reads.push_back({position, count, transfer.bytes});
        return transfer;
    }

private:
    std::unique_ptr<IKrFile> m_inner;
    std::shared_ptr<CKrCountingFileSystem::SKrTally> m_tally;
};

class CCountingWritableFile final : public IKrWritableFile
{
public:
    CCountingWritableFile(std::unique_ptr<IKrWritableFile> inner,
                          std::shared_ptr<CKrCountingFileSystem::SKrTally> tally)
        : m_inner(std::move(inner)), m_tally(std::move(tally))
    {
        m_tally->Add(&SKrFileCalls::openFiles);
    }

    ~CCountingWritableFile() override
    {
        const std::scoped_lock lock(m_tally->mutex);
        --m_tally->calls.openFiles;
    }

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        const SKrTransfer transfer = m_inner->WriteAt(position, parts);
        const std::scoped_lock lock(m_tally->mutex);
        ++m_tally->calls.writes;
        m_tally->calls.written += transfer.bytes;
        return transfer;
    }

    SKrFlushOutcome Flush() override
    {
        m_tally->Add(&SKrFileCalls::flushes);
        return m_inner->Flush();
    }

    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
    {
        m_tally->Add(&SKrFileCalls::maps);
        return m_inner->Map(position, length);
    }

    bool ReserveTo(uint64_t size) override
    {
        m_tally->Add(&SKrFileCalls::reservations);
        return m_inner->ReserveTo(size);
    }

    bool CutTo(uint64_t size) override
    {
        m_tally->Add(&SKrFileCalls::cuts);
        return m_inner->CutTo(size);
    }

private:
    std::unique_ptr<IKrWritableFile> m_inner;
    std::shared_ptr<CKrCountingFileSystem::SKrTally> m_tally;
};
} // namespace

CKrCountingFileSystem::CKrCountingFileSystem(IKrFileSystem& inner)
    : m_inner(inner), m_tally(std::make_shared<SKrTally>())
{
}

CKrCountingFileSystem::~CKrCountingFileSystem() = default;

SKrFileCalls CKrCountingFileSystem::Calls() const
{
    const std::scoped_lock lock(m_tally->mutex);
    return m_tally->calls;
}

std::vector<SKrReadCall> CKrCountingFileSystem::Reads() const
{
    const std::scoped_lock lock(m_tally->mutex);
    return m_tally->reads;
}

void CKrCountingFileSystem::Reset()
{
    const std::scoped_lock lock(m_tally->mutex);
    m_tally->calls = {.openFiles = m_tally->calls.openFiles};
    m_tally->reads.clear();
}

std::unique_ptr<IKrFile> CKrCountingFileSystem::OpenForReading(const wchar_t* path)
{
    m_tally->Add(&SKrFileCalls::opens);
    std::unique_ptr<IKrFile> file = m_inner.OpenForReading(path);
    if (!file)
        return nullptr;
    return std::make_unique<CCountingFile>(std::move(file), m_tally);
}

std::unique_ptr<IKrFile> CKrCountingFileSystem::OpenForFollowing(const wchar_t* path)
{
    m_tally->Add(&SKrFileCalls::opens);
    std::unique_ptr<IKrFile> file = m_inner.OpenForFollowing(path);
    if (!file)
        return nullptr;
    return std::make_unique<CCountingFile>(std::move(file), m_tally);
}

std::unique_ptr<IKrWritableFile> CKrCountingFileSystem::CreateForWriting(const wchar_t* path)
{
    m_tally->Add(&SKrFileCalls::creates);
    std::unique_ptr<IKrWritableFile> file = m_inner.CreateForWriting(path);
    if (!file)
        return nullptr;
    return std::make_unique<CCountingWritableFile>(std::move(file), m_tally);
}

SKrChangedFile CKrCountingFileSystem::OpenForChanging(const wchar_t* path)
{
    m_tally->Add(&SKrFileCalls::opens);
    SKrChangedFile file = m_inner.OpenForChanging(path);
    if (file.reading == nullptr)
        return {};
    return {std::make_unique<CCountingFile>(std::move(file.reading), m_tally),
            std::make_unique<CCountingWritableFile>(std::move(file.writing), m_tally)};
}
} // namespace KrTest
