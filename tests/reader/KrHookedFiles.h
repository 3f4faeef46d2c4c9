// A file system for followers during whose calls a test does something else.
#ifndef KR_TESTS_READER_KRHOOKEDFILES_H
#define KR_TESTS_READER_KRHOOKEDFILES_H

#include "platform/KrPlatform.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace KrTest
{
// Followed files that call somebody before they are asked for the share mode or the size.
class CKrHookedFiles final : public IKrFileSystem
{
public:
    explicit CKrHookedFiles(IKrFileSystem& inner) : m_inner(inner) {}
    virtual ~CKrHookedFiles() = default;

    std::function<void()> beforeShare = [] {
    };
    std::function<void()> beforeSize = [] {
    };

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t*) override { return nullptr; }
    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override
    {
        return std::make_unique<CFile>(*this, m_inner.OpenForFollowing(path));
    }
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t*) override { return nullptr; }
    bool Exists(const wchar_t*) override { return false; }
    bool Delete(const wchar_t*) override { return false; }
    uint32_t BytesPerSector(const wchar_t*) override { return 0; }

private:
    class CFile final : public IKrFile
    {
    public:
        CFile(CKrHookedFiles& owner, std::unique_ptr<IKrFile> inner)
            : m_owner(owner), m_inner(std::move(inner))
        {
        }

        std::optional<uint64_t> Size() override
        {
            m_owner.beforeSize();
            return m_inner->Size();
        }
        bool Seek(uint64_t position) override { return m_inner->Seek(position); }
        SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
        {
            return m_inner->ReadAt(position, buffer, count);
        }
        bool ShareWithReadersOnly() override
        {
            m_owner.beforeShare();
            return m_inner->ShareWithReadersOnly();
        }

    private:
        CKrHookedFiles& m_owner;
        std::unique_ptr<IKrFile> m_inner;
    };

    IKrFileSystem& m_inner;
};
} // namespace KrTest

#endif
