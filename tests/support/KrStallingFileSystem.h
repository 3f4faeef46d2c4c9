// A file system whose writes and flushes a test can block.
#ifndef KR_TESTS_SUPPORT_KRSTALLINGFILESYSTEM_H
#define KR_TESTS_SUPPORT_KRSTALLINGFILESYSTEM_H

#include "platform/KrPlatform.h"

#include <functional>
#include <memory>
#include <utility>

namespace KrTest
{
// Passes everything on to another file system. The hooks are called before each write and each flush, on the
// thread that writes; set them before a file is created, and keep the objects they use until it is closed.
class CKrStallingFileSystem : public IKrFileSystem
{
public:
    explicit CKrStallingFileSystem(IKrFileSystem& files) : m_files(files) {}

    std::function<void()> beforeWrite = [] {
    };
    std::function<void()> beforeFlush = [] {
    };
    std::function<void()> beforeNameFlush = [] {
    };

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        return m_files.OpenForReading(path);
    }

    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        std::unique_ptr<IKrWritableFile> file = m_files.CreateForWriting(path);
        return file != nullptr ? std::make_unique<CWrittenFile>(*this, std::move(file)) : nullptr;
    }

    bool Exists(const wchar_t* path) override { return m_files.Exists(path); }
    bool Delete(const wchar_t* path) override { return m_files.Delete(path); }
    SKrFlushOutcome FlushName(const wchar_t* path) override
    {
        beforeNameFlush();
        return m_files.FlushName(path);
    }
    uint32_t BytesPerSector(const wchar_t* folder) override { return m_files.BytesPerSector(folder); }

private:
    class CWrittenFile final : public IKrWritableFile
    {
    public:
        CWrittenFile(CKrStallingFileSystem& owner, std::unique_ptr<IKrWritableFile> file)
            : m_owner(owner), m_file(std::move(file))
        {
        }

        SKrTransfer WriteAt(uint64_t position, std::span<const KrByteSpan> parts) override
        {
            m_owner.beforeWrite();
            return m_file->WriteAt(position, parts);
        }

        SKrFlushOutcome Flush() override
        {
            m_owner.beforeFlush();
            return m_file->Flush();
        }

        bool CutTo(uint64_t size) override { return m_file->CutTo(size); }

        bool ReserveTo(uint64_t size) override { return m_file->ReserveTo(size); }

        std::unique_ptr<IKrMappedView> Map(uint64_t position, size_t length) override
        {
            return m_file->Map(position, length);
        }

    private:
        CKrStallingFileSystem& m_owner;
        std::unique_ptr<IKrWritableFile> m_file;
    };

    IKrFileSystem& m_files;
};
} // namespace KrTest

#endif
