// A file system around another with a range in its files where reads stay short, so that their number depends
// on how the reader crosses it.
#ifndef KR_TESTS_SUPPORT_KRNARROWFILESYSTEM_H
#define KR_TESTS_SUPPORT_KRNARROWFILESYSTEM_H

#include "platform/KrPlatform.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace KrTest
{
struct SKrStretch
{
    uint64_t from = 0;
    uint64_t to = 0; // first position after it
};

// A read that starts inside the range returns no more than the header of a list, whatever its size. So no
// window holds a header and the one a byte further on: single-byte steps take a read each, whereas a jump
// takes one for every kBytesOfARead of them.
class CKrNarrowFileSystem final : public IKrFileSystem
{
public:
    static constexpr size_t kBytesOfARead = 12;

    CKrNarrowFileSystem(IKrFileSystem& inner, SKrStretch stretch) : m_inner(inner), m_stretch(stretch) {}

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override
    {
        std::unique_ptr<IKrFile> file = m_inner.OpenForReading(path);
        if (file == nullptr)
            return nullptr;
        return std::make_unique<CNarrowFile>(std::move(file), m_stretch);
    }
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override
    {
        return m_inner.CreateForWriting(path);
    }
    bool Exists(const wchar_t* path) override { return m_inner.Exists(path); }
    bool Delete(const wchar_t* path) override { return m_inner.Delete(path); }
    uint32_t BytesPerSector(const wchar_t* folder) override { return m_inner.BytesPerSector(folder); }

private:
    class CNarrowFile final : public IKrFile
    {
    public:
        CNarrowFile(std::unique_ptr<IKrFile> inner, SKrStretch stretch)
            : m_inner(std::move(inner)), m_stretch(stretch)
        {
        }

        std::optional<uint64_t> Size() override { return m_inner->Size(); }
        bool Seek(uint64_t position) override { return m_inner->Seek(position); }
        SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
        {
            const bool isNarrow = position >= m_stretch.from && position < m_stretch.to;
            return m_inner->ReadAt(position, buffer, isNarrow ? std::min(count, kBytesOfARead) : count);
        }

    private:
        std::unique_ptr<IKrFile> m_inner;
        SKrStretch m_stretch;
    };

    IKrFileSystem& m_inner;
    SKrStretch m_stretch;
};
} // namespace KrTest

#endif
