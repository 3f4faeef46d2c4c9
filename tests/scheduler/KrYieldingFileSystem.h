// A file system whose calls are switch points, also in the middle of a transfer.
#ifndef KR_TESTS_SCHEDULER_KRYIELDINGFILESYSTEM_H
#define KR_TESTS_SCHEDULER_KRYIELDINGFILESYSTEM_H

#include "platform/KrPlatform.h"
#include "tests/scheduler/KrScheduler.h"

#include <memory>
#include <set>
#include <utility>

namespace KrTest
{
// Forwards everything to another file system. Detects a file that is closed while it is read or written.
class CKrYieldingFileSystem : public IKrFileSystem
{
public:
    explicit CKrYieldingFileSystem(IKrFileSystem& files) : m_files(files) {}

    // Whether a file was closed during a transfer.
    [[nodiscard]] bool WasClosedUnderATransfer() const { return m_closedUnderATransfer; }

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        YieldToScheduler();
        std::unique_ptr<IKrFile> file = m_files.OpenForReading(path);
        return file != nullptr ? std::make_unique<CReadFile>(*this, std::move(file)) : nullptr;
    }

    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override
    {
        YieldToScheduler();
        std::unique_ptr<IKrFile> file = m_files.OpenForFollowing(path);
        return file != nullptr ? std::make_unique<CReadFile>(*this, std::move(file)) : nullptr;
    }

    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        YieldToScheduler();
        std::unique_ptr<IKrWritableFile> file = m_files.CreateForWriting(path);
        return file != nullptr ? std::make_unique<CWrittenFile>(*this, std::move(file)) : nullptr;
    }

    bool Exists(const wchar_t* path) override { return m_files.Exists(path); }
    bool Delete(const wchar_t* path) override { return m_files.Delete(path); }
    uint32_t BytesPerSector(const wchar_t* folder) override { return m_files.BytesPerSector(folder); }

private:
    // In the list of open files while it exists.
    class COpen
    {
    public:
        explicit COpen(CKrYieldingFileSystem& owner) : m_owner(owner) { m_owner.m_open.insert(this); }
        ~COpen() { m_owner.m_open.erase(this); }
        COpen(const COpen&) = delete;
        COpen& operator=(const COpen&) = delete;

        // Lets others run. Detects their changes to this file without access to the file itself.
        bool OthersGoOn()
        {
            CKrYieldingFileSystem& owner = m_owner;
            const COpen* const self = this;
            YieldToScheduler();
            const bool isOpen = owner.m_open.contains(self);
            owner.m_closedUnderATransfer |= !isOpen;
            return isOpen;
        }

    private:
        CKrYieldingFileSystem& m_owner;
    };

    class CReadFile final : public IKrFile
    {
    public:
        CReadFile(CKrYieldingFileSystem& owner, std::unique_ptr<IKrFile> file)
            : m_open(owner), m_file(std::move(file))
        {
        }

        std::optional<uint64_t> Size() override { return m_file->Size(); }
        bool Seek(uint64_t position) override { return m_file->Seek(position); }
        bool ShareWithReadersOnly() override { return m_file->ShareWithReadersOnly(); }

        SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
        {
            if (!m_open.OthersGoOn())
                return {};
            return m_file->ReadAt(position, buffer, count);
        }

    private:
        COpen m_open;
        std::unique_ptr<IKrFile> m_file;
    };

    class CWrittenFile final : public IKrWritableFile
    {
    public:
        CWrittenFile(CKrYieldingFileSystem& owner, std::unique_ptr<IKrWritableFile> file)
            : m_open(owner), m_file(std::move(file))
        {
        }

        SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
        {
            if (!m_open.OthersGoOn())
                return {};
            const SKrTransfer written = m_file->WriteAt(position, parts);
            static_cast<void>(m_open.OthersGoOn());
            return written;
        }

        SKrFlushOutcome Flush() override
        {
            if (!m_open.OthersGoOn())
                return {};
            const SKrFlushOutcome flushed = m_file->Flush();
            static_cast<void>(m_open.OthersGoOn());
            return flushed;
        }

        bool ReserveTo(uint64_t size) override { return m_file->ReserveTo(size); }

        bool CutTo(uint64_t size) override { return m_file->CutTo(size); }

        std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
        {
            return m_file->Map(position, length);
        }

    private:
        COpen m_open;
        std::unique_ptr<IKrWritableFile> m_file;
    };

    IKrFileSystem& m_files;
    std::set<const COpen*> m_open;
    bool m_closedUnderATransfer = false;
};
} // namespace KrTest

#endif
