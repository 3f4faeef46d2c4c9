#include "tests/support/KrFaultyFileSystem.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace KrTest
{
namespace
{
// The planned fault of a call.
struct SFault
{
    uint32_t osError = 0;
    std::optional<size_t> shortenTo; // reads and writes only: at most this many bytes
};
} // namespace

struct CKrFaultyFileSystem::SKrPlan
{
    std::mutex mutex; // guards the rest
    std::array<uint64_t, kFileCallKinds> calls{};
    uint64_t faultyNumber = 0; // 0: nothing planned
    EKrFileCall faultyKind = EKrFileCall::Open;
    EKrFaultSpan span = EKrFaultSpan::Once;
    SFault fault;
    bool struck = false;
    std::function<void(const SKrReadRequest&)> beforeRead;

    void Make(EKrFileCall kind, uint64_t number, EKrFaultSpan newSpan, SFault newFault)
    {
        const std::scoped_lock lock(mutex);
        faultyKind = kind;
        faultyNumber = number;
        span = newSpan;
        fault = newFault;
        struck = false;
    }

    // Counts a call and returns whether it has the fault.
    std::optional<SFault> Count(EKrFileCall kind)
    {
        const std::scoped_lock lock(mutex);
        return CountLocked(kind);
    }

    std::optional<SFault> CountLocked(EKrFileCall kind)
    {
        const uint64_t number = ++calls[static_cast<size_t>(kind)];
        if (faultyNumber == 0 || kind != faultyKind || number < faultyNumber ||
            (span == EKrFaultSpan::Once && number > faultyNumber))
            return std::nullopt;
        struck = true;
        return fault;
    }
};

namespace
{
class CFaultyFile final : public IKrFile
{
public:
    CFaultyFile(std::unique_ptr<IKrFile> inner, std::shared_ptr<CKrFaultyFileSystem::SKrPlan> plan)
        : m_inner(std::move(inner)), m_plan(std::move(plan))
    {
    }

    std::optional<uint64_t> Size() override
    {
        if (m_plan->Count(EKrFileCall::Size))
            return std::nullopt;
        return m_inner->Size();
    }

    bool Seek(uint64_t position) override
    {
        return !m_plan->Count(EKrFileCall::Seek) && m_inner->Seek(position);
    }

    bool ShareWithReadersOnly() override
    {
        return !m_plan->Count(EKrFileCall::Share) && m_inner->ShareWithReadersOnly();
    }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        std::optional<SFault> fault;
        SKrReadRequest request{0, position, count};
        std::function<void(const SKrReadRequest&)> hook;
        {
            const std::scoped_lock lock(m_plan->mutex);
            fault = m_plan->CountLocked(EKrFileCall::Read);
            request.number = m_plan->calls[static_cast<size_t>(EKrFileCall::Read)];
            hook = m_plan->beforeRead;
        }
        if (hook)
            hook(request);
        if (!fault)
            return m_inner->ReadAt(position, buffer, count);
        if (!fault->shortenTo)
            return {0, fault->osError};
        return m_inner->ReadAt(position, buffer, std::min(count, *fault->shortenTo));
    }

private:
    std::unique_ptr<IKrFile> m_inner;
    std::shared_ptr<CKrFaultyFileSystem::SKrPlan> m_plan;
};

class CFaultyWritableFile final : public IKrWritableFile
{
public:
    CFaultyWritableFile(std::unique_ptr<IKrWritableFile> inner,
                        std::shared_ptr<CKrFaultyFileSystem::SKrPlan> plan)
        : m_inner(std::move(inner)), m_plan(std::move(plan))
    {
    }

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        const std::optional<SFault> fault = m_plan->Count(EKrFileCall::Write);
        if (!fault)
            return m_inner->WriteAt(position, parts);
        size_t left = fault->shortenTo.value_or(0);
        std::vector<KrByteSpan> first;
        for (const KrByteSpan part : parts)
        {
            first.push_back(part.first(std::min(left, part.size())));
            left -= first.back().size();
        }
        return {m_inner->WriteAt(position, first).bytes, fault->osError};
    }

    SKrFlushOutcome Flush() override
    {
        const std::optional<SFault> fault = m_plan->Count(EKrFileCall::Flush);
        return fault ? SKrFlushOutcome{false, fault->osError} : m_inner->Flush();
    }

    bool ReserveTo(uint64_t size) override
    {
        return !m_plan->Count(EKrFileCall::Reserve) && m_inner->ReserveTo(size);
    }

    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
    {
        return m_plan->Count(EKrFileCall::Map) ? nullptr : m_inner->Map(position, length);
    }

    bool CutTo(uint64_t size) override { return !m_plan->Count(EKrFileCall::Cut) && m_inner->CutTo(size); }

private:
    std::unique_ptr<IKrWritableFile> m_inner;
    std::shared_ptr<CKrFaultyFileSystem::SKrPlan> m_plan;
};
} // namespace

CKrFaultyFileSystem::CKrFaultyFileSystem(IKrFileSystem& inner)
    : m_inner(inner), m_plan(std::make_shared<SKrPlan>())
{
}

CKrFaultyFileSystem::~CKrFaultyFileSystem() = default;

void CKrFaultyFileSystem::FailCall(EKrFileCall kind, uint64_t number, EKrFaultSpan span, uint32_t osError)
{
    m_plan->Make(kind, number, span, {osError, std::nullopt});
}

void CKrFaultyFileSystem::ShortenRead(uint64_t number, size_t bytes, EKrFaultSpan span)
{
    m_plan->Make(EKrFileCall::Read, number, span, {0, bytes});
}

void CKrFaultyFileSystem::ShortenWrite(uint64_t number, size_t bytes, EKrFaultSpan span)
{
    m_plan->Make(EKrFileCall::Write, number, span, {kAnyError, bytes});
}

void CKrFaultyFileSystem::Reset()
{
    m_plan->Make(EKrFileCall::Open, 0, EKrFaultSpan::Once, {});
    const std::scoped_lock lock(m_plan->mutex);
    m_plan->calls = {};
}

uint64_t CKrFaultyFileSystem::Calls(EKrFileCall kind) const
{
    const std::scoped_lock lock(m_plan->mutex);
    return m_plan->calls[static_cast<size_t>(kind)];
}

bool CKrFaultyFileSystem::FaultStruck() const
{
    const std::scoped_lock lock(m_plan->mutex);
    return m_plan->struck;
}

void CKrFaultyFileSystem::SetBeforeRead(std::function<void(const SKrReadRequest&)> hook)
{
    const std::scoped_lock lock(m_plan->mutex);
    m_plan->beforeRead = std::move(hook);
}

std::unique_ptr<IKrFile> CKrFaultyFileSystem::OpenForReading(const wchar_t* path)
{
    if (m_plan->Count(EKrFileCall::Open))
        return nullptr;
    std::unique_ptr<IKrFile> file = m_inner.OpenForReading(path);
    if (!file)
        return nullptr;
    return std::make_unique<CFaultyFile>(std::move(file), m_plan);
}

std::unique_ptr<IKrFile> CKrFaultyFileSystem::OpenForFollowing(const wchar_t* path)
{
    if (m_plan->Count(EKrFileCall::Open))
        return nullptr;
    std::unique_ptr<IKrFile> file = m_inner.OpenForFollowing(path);
    if (!file)
        return nullptr;
    return std::make_unique<CFaultyFile>(std::move(file), m_plan);
}

std::unique_ptr<IKrWritableFile> CKrFaultyFileSystem::CreateForWriting(const wchar_t* path)
{
    if (m_plan->Count(EKrFileCall::Create))
        return nullptr;
    std::unique_ptr<IKrWritableFile> file = m_inner.CreateForWriting(path);
    if (!file)
        return nullptr;
    return std::make_unique<CFaultyWritableFile>(std::move(file), m_plan);
}

SKrChangedFile CKrFaultyFileSystem::OpenForChanging(const wchar_t* path)
{
    if (m_plan->Count(EKrFileCall::Open))
        return {};
    SKrChangedFile file = m_inner.OpenForChanging(path);
    if (file.reading == nullptr)
        return {};
    return {std::make_unique<CFaultyFile>(std::move(file.reading), m_plan),
            std::make_unique<CFaultyWritableFile>(std::move(file.writing), m_plan)};
}

SKrFlushOutcome CKrFaultyFileSystem::FlushName(const wchar_t* path)
{
    const std::optional<SFault> fault = m_plan->Count(EKrFileCall::FlushName);
    return fault ? SKrFlushOutcome{false, fault->osError} : m_inner.FlushName(path);
}

bool CKrFaultyFileSystem::Exists(const wchar_t* path)
{
    return !m_plan->Count(EKrFileCall::Exists) && m_inner.Exists(path);
}

bool CKrFaultyFileSystem::Delete(const wchar_t* path)
{
    return !m_plan->Count(EKrFileCall::Delete) && m_inner.Delete(path);
}

uint32_t CKrFaultyFileSystem::BytesPerSector(const wchar_t* folder)
{
    return m_plan->Count(EKrFileCall::SectorQuery) ? 0 : m_inner.BytesPerSector(folder);
}
} // namespace KrTest
