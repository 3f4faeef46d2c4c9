#include "tests/mend/KrCrashDisk.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

namespace KrTest
{
namespace
{
enum class EKrDiskEvent
{
    Write,
    Cut,
    Flush,
    Create,
    Delete,
    FlushName
};

struct SKrDiskEvent
{
    EKrDiskEvent kind = EKrDiskEvent::Write;
    size_t file = 0; // number of its content; one that replaces another has a number of its own
    uint64_t position = 0;
    KrBytes bytes;
};
} // namespace

struct CKrCrashDisk::SKrLog
{
    std::vector<SKrDiskEvent> events;
    std::vector<KrBytes> initial;           // content of each file when recording began
    std::vector<std::wstring> names;        // of each file
    std::map<std::wstring, size_t> current; // the file of each name
    std::map<std::wstring, size_t> first;   // likewise, when recording began

    void Add(EKrDiskEvent kind, size_t file, uint64_t position = 0, KrBytes bytes = {})
    {
        events.push_back({kind, file, position, std::move(bytes)});
    }

    size_t AddFile(const std::wstring& name, KrBytes content)
    {
        initial.push_back(std::move(content));
        names.push_back(name);
        current[name] = initial.size() - 1;
        return initial.size() - 1;
    }
};

namespace
{
class CLoggedFile final : public IKrWritableFile
{
public:
    CLoggedFile(std::unique_ptr<IKrWritableFile> inner, std::shared_ptr<CKrCrashDisk::SKrLog> log,
                size_t file)
        : m_inner(std::move(inner)), m_log(std::move(log)), m_file(file)
    {
    }

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        const SKrTransfer transfer = m_inner->WriteAt(position, parts);
        KrBytes bytes;
        for (const KrByteSpan& part : parts)
            bytes.insert(bytes.end(), part.begin(), part.end());
        bytes.resize(transfer.bytes);
        m_log->Add(EKrDiskEvent::Write, m_file, position, std::move(bytes));
        return transfer;
    }

    SKrFlushOutcome Flush() override
    {
        m_log->Add(EKrDiskEvent::Flush, m_file);
        return m_inner->Flush();
    }

    std::unique_ptr<IKrMappedView> Map(uint64_t, size_t) override { return nullptr; }

    bool CutTo(uint64_t size) override
    {
        m_log->Add(EKrDiskEvent::Cut, m_file, size);
        return m_inner->CutTo(size);
    }

private:
    std::unique_ptr<IKrWritableFile> m_inner;
    std::shared_ptr<CKrCrashDisk::SKrLog> m_log;
    size_t m_file;
};

uint64_t SizeOfFileAfter(uint64_t size, const SKrDiskEvent& event)
{
    return event.kind == EKrDiskEvent::Cut ? event.position
                                           : std::max(size, event.position + event.bytes.size());
}

template <class Action>
void ForSectorsOf(const SKrDiskEvent& event, Action action)
{
    for (uint64_t from = event.position; from < event.position + event.bytes.size();)
    {
        const uint64_t sector = from / CKrCrashDisk::kSector;
        const uint64_t to =
            std::min<uint64_t>(event.position + event.bytes.size(), (sector + 1) * CKrCrashDisk::kSector);
        action(sector, from, to);
        from = to;
    }
}

void PutBytes(KrBytes& content, const SKrDiskEvent& event, uint64_t from, uint64_t to)
{
    if (content.size() < to)
        content.resize(static_cast<size_t>(to));
    std::copy_n(event.bytes.begin() + static_cast<ptrdiff_t>(from - event.position), to - from,
                content.begin() + static_cast<ptrdiff_t>(from));
}

// What a crash leaves of a file after these of its writes, cuts and flushes.
KrBytes ContentAfterCrash(KrBytes content, const std::vector<const SKrDiskEvent*>& events,
                          std::mt19937_64& random)
{
    const auto upTo = [&random](uint64_t most)
    {
        return random() % (most + 1);
    };
    const auto isFlush = [](const SKrDiskEvent* event)
    {
        return event->kind == EKrDiskEvent::Flush;
    };
    const auto durable = std::find_if(events.rbegin(), events.rend(), isFlush).base();
    for (auto event = events.begin(); event != durable; ++event)
    {
        content.resize(static_cast<size_t>(SizeOfFileAfter(content.size(), **event)));
        std::ranges::copy((*event)->bytes, content.begin() + static_cast<ptrdiff_t>((*event)->position) *
                                                                 ((*event)->bytes.empty() ? 0 : 1));
    }
    std::unordered_map<uint64_t, uint64_t> versions;
    uint64_t size = content.size();
    uint64_t smallest = size;
    uint64_t largest = size;
    for (auto event = durable; event != events.end(); ++event)
    {
        size = SizeOfFileAfter(size, **event);
        smallest = std::min(smallest, size);
        largest = std::max(largest, size);
        ForSectorsOf(**event, [&versions](uint64_t sector, uint64_t, uint64_t) { ++versions[sector]; });
    }
    const uint64_t kind = upTo(3); // none, all, and any at every second time
    for (auto& [sector, count] : versions)
        count = kind == 0 ? 0 : kind == 1 ? count : upTo(count);
    for (auto event = durable; event != events.end(); ++event)
    {
        ForSectorsOf(**event,
                     [&](uint64_t sector, uint64_t from, uint64_t to)
                     {
                         if (versions[sector] == 0)
                             return;
                         --versions[sector];
                         PutBytes(content, **event, from, to);
                     });
    }
    // Often the size is on the disk and bytes before it are not, which then are zeros.
    const bool hasSize = kind == 1 || upTo(1) == 0;
    content.resize(static_cast<size_t>(hasSize ? size : smallest + upTo(largest - smallest)));
    return content;
}
} // namespace

CKrCrashDisk::CKrCrashDisk(const Files& files) : m_log(std::make_shared<SKrLog>())
{
    for (const auto& [name, content] : files)
    {
        m_memory.Set(name, CKrFileContent(content));
        m_log->first[name] = m_log->AddFile(name, content);
    }
}

CKrCrashDisk::~CKrCrashDisk() = default;

size_t CKrCrashDisk::Events() const
{
    return m_log->events.size();
}

CKrCrashDisk::Files CKrCrashDisk::Now() const
{
    Files files;
    for (const auto& [name, file] : m_log->current)
        files[name] = m_memory.Content(name).ToBytes();
    return files;
}

CKrCrashDisk::Files CKrCrashDisk::Crash(size_t events, std::mt19937_64& random) const
{
    // The last flush of each name; what happened to the name since is done or not.
    std::map<std::wstring, size_t> flushed;
    std::vector<std::vector<const SKrDiskEvent*>> ofFile(m_log->initial.size());
    for (size_t number = 0; number < events; ++number)
    {
        const SKrDiskEvent& event = m_log->events[number];
        if (event.kind == EKrDiskEvent::FlushName)
            flushed[m_log->names[event.file]] = number;
        else if (event.kind != EKrDiskEvent::Create && event.kind != EKrDiskEvent::Delete)
            ofFile[event.file].push_back(&event);
    }
    std::map<std::wstring, size_t> named = m_log->first;
    std::map<std::wstring, bool> isLost;
    for (size_t number = 0; number < events; ++number)
    {
        const SKrDiskEvent& event = m_log->events[number];
        if (event.kind != EKrDiskEvent::Create && event.kind != EKrDiskEvent::Delete)
            continue;
        const std::wstring& name = m_log->names[event.file];
        const auto flush = flushed.find(name);
        const bool isDurable = flush != flushed.end() && flush->second > number;
        isLost[name] = !isDurable && (isLost[name] || random() % 2 == 0); // and with it what follows
        if (isLost[name])
            continue;
        if (event.kind == EKrDiskEvent::Create)
            named[name] = event.file;
        else
            named.erase(name);
    }
    Files files;
    for (const auto& [name, file] : named)
        files[name] = ContentAfterCrash(m_log->initial[file], ofFile[file], random);
    return files;
}

std::unique_ptr<IKrFile> CKrCrashDisk::OpenForReading(const wchar_t* path)
{
    return m_memory.OpenForReading(path);
}

std::unique_ptr<IKrWritableFile> CKrCrashDisk::CreateForWriting(const wchar_t* path)
{
    std::unique_ptr<IKrWritableFile> file = m_memory.CreateForWriting(path);
    if (file == nullptr)
        return nullptr;
    const size_t number = m_log->AddFile(path, {});
    m_log->Add(EKrDiskEvent::Create, number);
    return std::make_unique<CLoggedFile>(std::move(file), m_log, number);
}

SKrChangedFile CKrCrashDisk::OpenForChanging(const wchar_t* path)
{
    SKrChangedFile file = m_memory.OpenForChanging(path);
    if (file.writing == nullptr)
        return {};
    file.writing = std::make_unique<CLoggedFile>(std::move(file.writing), m_log, m_log->current.at(path));
    return file;
}

SKrFlushOutcome CKrCrashDisk::FlushName(const wchar_t* path)
{
    for (size_t file = m_log->names.size(); file-- > 0;)
    {
        if (m_log->names[file] != path)
            continue;
        m_log->Add(EKrDiskEvent::FlushName, file);
        break;
    }
    return {true, 0};
}

bool CKrCrashDisk::Exists(const wchar_t* path)
{
    return m_memory.Exists(path);
}

bool CKrCrashDisk::Delete(const wchar_t* path)
{
    const bool isDone = m_memory.Delete(path);
    if (isDone)
    {
        m_log->Add(EKrDiskEvent::Delete, m_log->current.at(path));
        m_log->current.erase(path);
    }
    return isDone;
}
} // namespace KrTest
