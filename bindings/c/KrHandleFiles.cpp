#include "bindings/c/KrHandleFiles.h"

#include <cwchar>
#include <utility>

namespace
{
constexpr wchar_t kSourcePrefix[] = L"\x1kr-source:";
constexpr uint32_t kOutputSectorSize = 512;
constexpr size_t kPrefixLength = sizeof kSourcePrefix / sizeof *kSourcePrefix - 1;

// The address in the path of a source; null for any other path.
const void* SourceAt(const wchar_t* path)
{
    if (path == nullptr || std::wcsncmp(path, kSourcePrefix, kPrefixLength) != 0)
        return nullptr;
    // The number is the address of an object that the opening call holds.
    return reinterpret_cast<const void*>( // NOLINT(performance-no-int-to-ptr)
        std::wcstoull(path + kPrefixLength, nullptr, 10));
}

// Notes the errors of its reads.
class CKrNotedFile final : public IKrFile
{
public:
    CKrNotedFile(std::shared_ptr<IKrFile> file, CKrHandled& object)
        : m_file(std::move(file)), m_object(object)
    {
    }

    std::optional<uint64_t> Size() override { return m_file->Size(); }
    bool Seek(uint64_t position) override { return m_file->Seek(position); }
    bool ShareWithReadersOnly() override { return m_file->ShareWithReadersOnly(); }
    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        const SKrTransfer read = m_file->ReadAt(position, buffer, count);
        if (read.Failed())
            m_object.NoteReadError(read.osError);
        return read;
    }

private:
    std::shared_ptr<IKrFile> m_file;
    CKrHandled& m_object;
};
} // namespace

std::wstring KrSourcePath(const void* source)
{
    return std::wstring(kSourcePrefix) + std::to_wstring(reinterpret_cast<uint64_t>(source));
}

bool KrIsSourcePath(const std::wstring& path)
{
    return path.starts_with(kSourcePrefix);
}

std::unique_ptr<IKrFile> CKrHandleFiles::Noting(std::unique_ptr<IKrFile> file)
{
    m_openedLast = file != nullptr;
    if (file == nullptr)
        return nullptr;
    m_opened = std::move(file);
    return std::make_unique<CKrNotedFile>(m_opened, m_object);
}

std::unique_ptr<IKrFile> CKrHandleFiles::OpenForReading(const wchar_t* path)
{
    if (const void* const source = SourceAt(path))
        return Noting(
            std::make_unique<CKrSourceFile>(*static_cast<const std::shared_ptr<CKrInput>*>(source)));
    return Noting(KrPlatform::FileSystem().OpenForReading(path));
}

std::unique_ptr<IKrFile> CKrHandleFiles::OpenForFollowing(const wchar_t* path)
{
    return Noting(KrPlatform::FileSystem().OpenForFollowing(path));
}

std::unique_ptr<IKrWritableFile> CKrHandleFiles::CreateForWriting(const wchar_t* path)
{
    std::unique_ptr<IKrWritableFile> file;
    const void* const source = SourceAt(path);
    m_createsOutput = source != nullptr;
    if (source != nullptr)
        file = std::make_unique<CKrTargetFile>(*static_cast<const std::shared_ptr<CKrOutput>*>(source));
    else
        file = KrPlatform::FileSystem().CreateForWriting(path);
    m_openedLast = file != nullptr;
    return file;
}

bool CKrHandleFiles::Exists(const wchar_t* path)
{
    return SourceAt(path) == nullptr && KrPlatform::FileSystem().Exists(path);
}

bool CKrHandleFiles::Delete(const wchar_t* path)
{
    return SourceAt(path) != nullptr || KrPlatform::FileSystem().Delete(path);
}

uint32_t CKrHandleFiles::BytesPerSector(const wchar_t* folder)
{
    if (m_createsOutput)
        return kOutputSectorSize; // the same everywhere
    return KrPlatform::FileSystem().BytesPerSector(folder);
}
