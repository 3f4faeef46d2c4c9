#include "platform/win32/KrWritableFileWin32.h"

#include "platform/KrFileRange.h"
#include "platform/KrOsTransfer.h"
#include "platform/KrSync.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace
{
constexpr size_t kSmallPart =
    16 * 1024; // smaller parts are joined, since there is no buffered gathered write

uint64_t AllocationGranularity()
{
    static const uint64_t granularity = []
    {
        SYSTEM_INFO facts{};
        GetSystemInfo(&facts);
        return uint64_t{facts.dwAllocationGranularity};
    }();
    return granularity;
}

// A range of a file in memory.
class CMapping
{
public:
    CMapping() = default;
    ~CMapping()
    {
        if (m_start != nullptr)
            UnmapViewOfFile(m_start);
    }
    CMapping(const CMapping&) = delete;
    CMapping& operator=(const CMapping&) = delete;

    // Maps a range that lies in the file. Once at most.
    [[nodiscard]] bool Map(HANDLE file, uint64_t position, size_t length)
    {
        const HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
        if (mapping == nullptr)
            return false;
        m_before = static_cast<size_t>(position % AllocationGranularity());
        const uint64_t start = position - m_before;
        m_start = MapViewOfFile(mapping, FILE_MAP_WRITE, static_cast<DWORD>(start >> 32),
                                static_cast<DWORD>(start), m_before + length);
        CloseHandle(mapping); // the view keeps the mapping
        return m_start != nullptr;
    }

    // Flushes what was put there to the file.
    [[nodiscard]] BOOL Flush() const { return FlushViewOfFile(m_start, 0); }

    [[nodiscard]] uint8_t* Data() const { return static_cast<uint8_t*>(m_start) + m_before; }

private:
    void* m_start = nullptr;
    size_t m_before = 0; // bytes of the view before the range
};

// The mapping is closed with the view, or after a flush of the file that is using it. So nobody who releases
// a view waits for the disk.
class CWin32View final : public IKrMappedView
{
public:
    explicit CWin32View(std::shared_ptr<const CMapping> mapping) : m_mapping(std::move(mapping)) {}

    uint8_t* Data() override { return m_mapping->Data(); }

private:
    std::shared_ptr<const CMapping> m_mapping;
};

class CWin32WritableFile final : public IKrWritableFile
{
public:
    explicit CWin32WritableFile(CKrFileHandle handle) : m_handle(std::move(handle))
    {
        m_joined.reserve(2 * kSmallPart); // all that is ever joined, so that no write ends in the middle
    }

    SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
    {
        SKrTransfer total;
        m_joined.clear();
        for (const KrByteSpan& part : parts)
        {
            if (part.size() < kSmallPart)
            {
                m_joined.insert(m_joined.end(), part.begin(), part.end());
                if (m_joined.size() < kSmallPart)
                    continue;
            }
            if (!Write(position, m_joined, total))
                return total;
            m_joined.clear();
            if (part.size() >= kSmallPart && !Write(position, part, total))
                return total;
        }
        static_cast<void>(Write(position, m_joined, total));
        return total;
    }

    // What was put into views is not in the file's buffers yet: it must be flushed there first.
    SKrFlushOutcome Flush() override
    {
        SKrFlushOutcome outcome{true, 0};
        const auto note = [&outcome](BOOL done)
        {
            if (!done && outcome.done)
                outcome = {false, GetLastError()};
        };
        for (const auto& mapping : LiveMappings())
            note(mapping->Flush());
        note(FlushFileBuffers(m_handle.Get()));
        return outcome;
    }

    // The allocation alone: a size below the file's own would cut it.
    bool ReserveTo(uint64_t size) override
    {
        LARGE_INTEGER now{};
        if (!KrPlatform::IsFilePosition(size) || !GetFileSizeEx(m_handle.Get(), &now))
            return false;
        if (size <= static_cast<uint64_t>(now.QuadPart))
            return true;
        FILE_ALLOCATION_INFO allocation{};
        allocation.AllocationSize.QuadPart = static_cast<LONGLONG>(size);
        return SetFileInformationByHandle(m_handle.Get(), FileAllocationInfo, &allocation, sizeof allocation);
    }

    std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
    {
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(m_handle.Get(), &size) ||
            !KrPlatform::IsRangeInside(position, length, static_cast<uint64_t>(size.QuadPart)))
            return nullptr;
        auto mapping = std::make_shared<CMapping>();
        if (!mapping->Map(m_handle.Get(), position, length))
            return nullptr;
        {
            const std::lock_guard guard(m_mutex);
            std::erase_if(m_mappings, [](const auto& old) { return old.expired(); });
            m_mappings.emplace_back(mapping);
        }
        return std::make_unique<CWin32View>(std::move(mapping));
    }

    // Unlike SetEndOfFile, this does not depend on the file pointer.
    bool CutTo(uint64_t size) override
    {
        if (!KrPlatform::IsFilePosition(size))
            return false;
        FILE_END_OF_FILE_INFO end{};
        end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
        return SetFileInformationByHandle(m_handle.Get(), FileEndOfFileInfo, &end, sizeof end);
    }

private:
    [[nodiscard]] std::vector<std::shared_ptr<const CMapping>> LiveMappings()
    {
        std::vector<std::shared_ptr<const CMapping>> live;
        const std::lock_guard guard(m_mutex);
        for (const auto& mapping : m_mappings)
        {
            if (auto lives = mapping.lock())
                live.push_back(std::move(lives));
        }
        return live;
    }

    // Writes after what `total` counts already.
    [[nodiscard]] bool Write(uint64_t position, KrByteSpan bytes, SKrTransfer& total)
    {
        while (!bytes.empty())
        {
            const uint64_t at = position + total.bytes;
            if (!KrPlatform::IsFilePosition(at))
            {
                total.osError = ERROR_NEGATIVE_SEEK;
                return false;
            }
            OVERLAPPED place{};
            place.Offset = static_cast<DWORD>(at);
            place.OffsetHigh = static_cast<DWORD>(at >> 32);
            DWORD written = 0;
            const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMostBytesPerCall));
            const BOOL ok = WriteFile(m_handle.Get(), bytes.data(), wanted, &written, &place);
            total.bytes += written;
            bytes = bytes.subspan(written);
            if (!ok || written == 0)
            {
                total.osError = ok ? ERROR_DISK_FULL : GetLastError();
                return false;
            }
        }
        return true;
    }

    CKrFileHandle m_handle;
    std::vector<uint8_t> m_joined; // one write's small parts; kept for its memory
    CKrMutex m_mutex;
    std::vector<std::weak_ptr<const CMapping>> m_mappings; // guarded by m_mutex; some may be gone
};
} // namespace

std::unique_ptr<IKrWritableFile> MakeWritableFile(CKrFileHandle handle)
{
    return std::make_unique<CWin32WritableFile>(std::move(handle));
}
