#include "tests/support/KrMemoryFileSystem.h"

#include <utility>

namespace KrTest
{
namespace
{
constexpr uint32_t kBadPosition = 22;

class CMemoryFile final : public IKrFile
{
public:
    explicit CMemoryFile(std::shared_ptr<const CKrFileContent> content) : m_content(std::move(content)) {}

    std::optional<uint64_t> Size() override { return m_content->Size(); }

    bool Seek(uint64_t position) override { return KrPlatform::IsFilePosition(position); }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        if (!KrPlatform::IsFilePosition(position))
            return {0, kBadPosition};
        return {m_content->Read(position, buffer, count), 0};
    }

private:
    std::shared_ptr<const CKrFileContent> m_content;
};
} // namespace

void CKrMemoryFileSystem::Set(const std::wstring& path, CKrFileContent content)
{
    auto shared = std::make_shared<const CKrFileContent>(std::move(content));
    const std::scoped_lock lock(m_mutex);
    m_files[path] = std::move(shared);
}

bool CKrMemoryFileSystem::Remove(const std::wstring& path)
{
    const std::scoped_lock lock(m_mutex);
    return m_files.erase(path) != 0;
}

std::unique_ptr<IKrFile> CKrMemoryFileSystem::OpenForReading(const wchar_t* path)
{
    if (path == nullptr)
        return nullptr;
    const std::scoped_lock lock(m_mutex);
    const auto found = m_files.find(path);
    if (found == m_files.end())
        return nullptr;
    return std::make_unique<CMemoryFile>(found->second);
}
} // namespace KrTest
