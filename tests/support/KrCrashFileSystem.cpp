#include "tests/support/KrCrashFileSystem.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace KrTest
{
namespace
{
// A write or a patch; a cut has no bytes.
struct SKrEvent
{
    bool isCut = false;
    uint64_t position = 0;
    KrBytes bytes;
};

struct SKrFlushed
{
    size_t began = 0; // events at that moment
    size_t ended = 0;
};
} // namespace

struct CKrCrashFileSystem::SKrRecord
{
    mutable std::mutex mutex; // guards what follows
    std::vector<SKrEvent> events;
    std::vector<SKrFlushed> flushes; // those that were done, in the order of their ends

    void Add(bool isCut, uint64_t position, KrBytes bytes)
    {
        const std::scoped_lock lock(mutex);
        events.push_back({isCut, position, std::move(bytes)});
    }

    [[nodiscard]] size_t Count() const
    {
        const std::scoped_lock lock(mutex);
        return events.size();
    }

    // How many events a crash cannot undo.
    [[nodiscard]] size_t Durable(size_t count) const
    {
        size_t durable = 0;
        for (const SKrFlushed& flush : flushes)
        {
            if (flush.ended <= count)
                durable = std::max(durable, flush.began);
        }
        return durable;
    }
};

namespace
{
using SRecord = CKrCrashFileSystem::SKrRecord;

class CRecordedView final : public IKrMappedView
{
public:
    CRecordedView(std::unique_ptr<IKrMappedView> inner, std::shared_ptr<SRecord> record, uint64_t position)
        : m_inner(std::move(inner)), m_record(std::move(record)), m_position(position)
    {
    }

    uint8_t* Data() override { return m_inner->Data(); }

    void Put(size_t offset, KrByteSpan bytes) override
    {
        m_record->Add(false, m_position + offset, {bytes.begin(), bytes.end()});
        m_inner->Put(offset, bytes);
    }

private:
    std::unique_ptr<IKrMappedView> m_inner;
    std::shared_ptr<SRecord> m_record;
    uint64_t m_position;
};

class CRecordedFile final : public IKrWritableFile
{
public:
    CRecordedFile(std::unique_ptr<IKrWritableFile> inner, std::shared_ptr<SRecord> record)
        : m_inner(std::move(inner)), m_record(std::move(record))
    {
    }

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        const SKrTransfer transfer = m_inner->WriteAt(position, parts);
        KrBytes bytes;
        for (const KrByteSpan& part : parts)
            bytes.insert(bytes.end(), part.begin(), part.end());
        bytes.resize(transfer.bytes);
        m_record->Add(false, position, std::move(bytes));
        return transfer;
    }

    SKrFlushOutcome Flush() override
    {
        const size_t began = m_record->Count();
        const SKrFlushOutcome outcome = m_inner->Flush();
        const std::scoped_lock lock(m_record->mutex);
        if (outcome.done)
            m_record->flushes.push_back({began, m_record->events.size()});
        return outcome;
    }

    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
    {
        std::unique_ptr<IKrMappedView> view = m_inner->Map(position, length);
        if (view == nullptr)
            return nullptr;
        return std::make_unique<CRecordedView>(std::move(view), m_record, position);
    }

    bool ReserveTo(uint64_t size) override { return m_inner->ReserveTo(size); }

    bool CutTo(uint64_t size) override
    {
        if (!m_inner->CutTo(size))
            return false;
        m_record->Add(true, size, {});
        return true;
    }

private:
    std::unique_ptr<IKrWritableFile> m_inner;
    std::shared_ptr<SRecord> m_record;
};

// The part of an event that lies in a sector, put into the content.
void PutPart(KrBytes& content, const SKrEvent& event, uint64_t sector)
{
    const uint64_t from = std::max(event.position, sector * CKrCrashFileSystem::kSector);
    const uint64_t to =
        std::min<uint64_t>(event.position + event.bytes.size(), (sector + 1) * CKrCrashFileSystem::kSector);
    std::copy_n(event.bytes.begin() + static_cast<ptrdiff_t>(from - event.position), to - from,
                content.begin() + static_cast<ptrdiff_t>(from));
}

template <class Action>
void ForEachSector(const SKrEvent& event, Action action)
{
    if (event.bytes.empty())
        return;
    const uint64_t last = (event.position + event.bytes.size() - 1) / CKrCrashFileSystem::kSector;
    for (uint64_t sector = event.position / CKrCrashFileSystem::kSector; sector <= last; ++sector)
        action(sector);
}

uint64_t SizeAfter(uint64_t size, const SKrEvent& event)
{
    return event.isCut ? event.position : std::max(size, event.position + event.bytes.size());
}
} // namespace

CKrCrashFileSystem::CKrCrashFileSystem(IKrFileSystem& inner)
    : m_inner(inner), m_record(std::make_shared<SKrRecord>())
{
}

CKrCrashFileSystem::~CKrCrashFileSystem() = default;

size_t CKrCrashFileSystem::Events() const
{
    return m_record->Count();
}

uint64_t CKrCrashFileSystem::DurableSize(size_t events) const
{
    const std::scoped_lock lock(m_record->mutex);
    uint64_t size = 0;
    const size_t durable = m_record->Durable(events);
    for (size_t number = 0; number < durable; ++number)
        size = SizeAfter(size, m_record->events[number]);
    return size;
}

KrBytes CKrCrashFileSystem::Crash(size_t events, std::mt19937_64& random) const
{
    const std::scoped_lock lock(m_record->mutex);
    const size_t durable = m_record->Durable(events);
    const auto upTo = [&random](uint64_t most)
    {
        return random() % (most + 1);
    };

    uint64_t durableSize = 0;
    KrBytes content;
    for (size_t number = 0; number < durable; ++number)
    {
        const SKrEvent& event = m_record->events[number];
        durableSize = SizeAfter(durableSize, event);
        content.resize(static_cast<size_t>(durableSize));
        std::ranges::copy(event.bytes, content.begin() + static_cast<ptrdiff_t>(event.position));
    }

    // How many versions each sector has had, and which of them it has on the disk.
    std::unordered_map<uint64_t, uint64_t> versions;
    uint64_t smallest = durableSize;
    uint64_t size = durableSize;
    uint64_t largest = durableSize;
    for (size_t number = durable; number < events; ++number)
    {
        const SKrEvent& event = m_record->events[number];
        size = SizeAfter(size, event);
        smallest = std::min(smallest, size);
        largest = std::max(largest, size);
        ForEachSector(event, [&](uint64_t sector) { ++versions[sector]; });
    }
    const uint64_t kind = upTo(3); // none, all, and any at every second time
    for (auto& [sector, count] : versions)
        count = kind == 0 ? 0 : kind == 1 ? count : upTo(count);
    content.resize(static_cast<size_t>(largest));
    for (size_t number = durable; number < events; ++number)
    {
        const SKrEvent& event = m_record->events[number];
        ForEachSector(event,
                      [&](uint64_t sector)
                      {
                          uint64_t& left = versions[sector];
                          if (left > 0)
                          {
                              --left;
                              PutPart(content, event, sector);
                          }
                      });
    }
    const uint64_t end = kind == 1 ? size : smallest + upTo(largest - smallest);
    content.resize(static_cast<size_t>(end));
    return content;
}

std::unique_ptr<IKrFile> CKrCrashFileSystem::OpenForReading(const wchar_t* path)
{
    return m_inner.OpenForReading(path);
}

std::unique_ptr<IKrWritableFile> CKrCrashFileSystem::CreateForWriting(const wchar_t* path)
{
    std::unique_ptr<IKrWritableFile> file = m_inner.CreateForWriting(path);
    if (file == nullptr)
        return nullptr;
    return std::make_unique<CRecordedFile>(std::move(file), m_record);
}

bool CKrCrashFileSystem::Exists(const wchar_t* path)
{
    return m_inner.Exists(path);
}

bool CKrCrashFileSystem::Delete(const wchar_t* path)
{
    return m_inner.Delete(path);
}

uint32_t CKrCrashFileSystem::BytesPerSector(const wchar_t* folder)
{
    return m_inner.BytesPerSector(folder);
}
} // namespace KrTest
