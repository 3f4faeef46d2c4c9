// A file system around another that reports when files are opened and closed.
#ifndef KR_TESTS_RIFFUTILS_KRHOOKEDFILESYSTEM_H
#define KR_TESTS_RIFFUTILS_KRHOOKEDFILESYSTEM_H

#include "platform/KrPlatform.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace KrTest
{
// The hooks are called on the thread that opens or closes, with no lock held: they may block or throw. Set
// them while no file is being opened or closed.
class CKrHookedFileSystem : public IKrFileSystem
{
public:
    using KrHook = std::function<void(const std::wstring& path)>;

    explicit CKrHookedFileSystem(IKrFileSystem& inner) : m_inner(inner) {}

    KrHook beforeOpen;
    KrHook afterClose; // must not throw

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        if (beforeOpen)
            beforeOpen(path);
        std::unique_ptr<IKrFile> file = m_inner.OpenForReading(path);
        return file == nullptr ? nullptr : std::make_unique<CFile>(*this, path, std::move(file));
    }

    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        return m_inner.CreateForWriting(path);
    }
    bool Exists(const wchar_t* path) override { return m_inner.Exists(path); }
    bool Delete(const wchar_t* path) override { return m_inner.Delete(path); }
    uint32_t BytesPerSector(const wchar_t* folder) override { return m_inner.BytesPerSector(folder); }

private:
    class CFile : public IKrFile
    {
    public:
        CFile(CKrHookedFileSystem& owner, std::wstring path, std::unique_ptr<IKrFile> file)
            : m_owner(owner), m_path(std::move(path)), m_file(std::move(file))
        {
        }
        ~CFile() override
        {
            m_file.reset();
            if (m_owner.afterClose)
                m_owner.afterClose(m_path);
        }
        std::optional<uint64_t> Size() override { return m_file->Size(); }
        bool Seek(uint64_t position) override { return m_file->Seek(position); }
        SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
        {
            return m_file->ReadAt(position, buffer, count);
        }

    private:
        CKrHookedFileSystem& m_owner;
        std::wstring m_path;
        std::unique_ptr<IKrFile> m_file;
    };

    IKrFileSystem& m_inner;
};
} // namespace KrTest

#endif
