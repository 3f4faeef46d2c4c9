#include "tests/support/KrMemoryFileSystem.h"

#include "tests/support/KrMemoryFileSystemFiles.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace KrTest
{
CKrMemoryFileSystem::CKrMemoryFileSystem() : m_disk(std::make_shared<SKrDisk>()) {}

CKrMemoryFileSystem::~CKrMemoryFileSystem() = default;

std::shared_ptr<CKrMemoryFileSystem::SKrNode> CKrMemoryFileSystem::Find(const std::wstring& path) const
{
    const auto found = m_files.find(path);
    return found == m_files.end() ? nullptr : found->second;
}

void CKrMemoryFileSystem::Set(const std::wstring& path, CKrFileContent content)
{
    auto node = std::make_shared<SKrNode>();
    node->content = std::move(content);
    const std::scoped_lock lock(m_disk->mutex);
    m_files[path] = std::move(node);
}

bool CKrMemoryFileSystem::Remove(const std::wstring& path)
{
    const std::scoped_lock lock(m_disk->mutex);
    return m_files.erase(path) != 0;
}

CKrFileContent CKrMemoryFileSystem::Content(const std::wstring& path) const
{
    const std::scoped_lock lock(m_disk->mutex);
    const std::shared_ptr<SKrNode> node = Find(path);
    if (node == nullptr)
        throw std::out_of_range("no such file");
    return ContentWithViews(*node);
}

uint64_t CKrMemoryFileSystem::ReservedEnd(const std::wstring& path) const
{
    const std::scoped_lock lock(m_disk->mutex);
    const std::shared_ptr<SKrNode> node = Find(path);
    if (node == nullptr)
        throw std::out_of_range("no such file");
    return std::max(node->reserved, node->content.Size());
}

std::wstring CKrMemoryFileSystem::LastVolumeFolder() const
{
    const std::scoped_lock lock(m_disk->mutex);
    return m_lastVolumeFolder;
}

void CKrMemoryFileSystem::SetCapacity(uint64_t bytes)
{
    const std::scoped_lock lock(m_disk->mutex);
    m_disk->capacity = bytes;
}

size_t CKrMemoryFileSystem::OpenFiles() const
{
    const std::scoped_lock lock(m_disk->mutex);
    return m_disk->openFiles;
}

size_t CKrMemoryFileSystem::OpenWritableFiles() const
{
    const std::scoped_lock lock(m_disk->mutex);
    return m_disk->openWritableFiles;
}

size_t CKrMemoryFileSystem::OpenViews() const
{
    const std::scoped_lock lock(m_disk->mutex);
    return m_disk->openViews;
}

size_t CKrMemoryFileSystem::MostOpenViews() const
{
    const std::scoped_lock lock(m_disk->mutex);
    return m_disk->mostOpenViews;
}

std::unique_ptr<IKrFile> CKrMemoryFileSystem::OpenForReading(const wchar_t* path)
{
    if (path == nullptr)
        return nullptr;
    const std::scoped_lock lock(m_disk->mutex);
    const std::shared_ptr<SKrNode> node = Find(path);
    if (node == nullptr || node->writers > 0)
        return nullptr;
    return MakeMemoryFile(m_disk, node);
}

std::unique_ptr<IKrFile> CKrMemoryFileSystem::OpenForFollowing(const wchar_t* path)
{
    if (path == nullptr)
        return nullptr;
    const std::scoped_lock lock(m_disk->mutex);
    const std::shared_ptr<SKrNode> node = Find(path);
    return node != nullptr ? MakeFollowedMemoryFile(m_disk, node) : nullptr;
}

std::unique_ptr<IKrWritableFile> CKrMemoryFileSystem::CreateForWriting(const wchar_t* path)
{
    if (path == nullptr || *path == L'\0')
        return nullptr;
    const std::scoped_lock lock(m_disk->mutex);
    std::shared_ptr<SKrNode>& node = m_files[path];
    if (node != nullptr && node->IsOpen())
        return nullptr;
    node = std::make_shared<SKrNode>();
    return MakeWritableMemoryFile(m_disk, node);
}

SKrChangedFile CKrMemoryFileSystem::OpenForChanging(const wchar_t* path)
{
    if (path == nullptr)
        return {};
    const std::scoped_lock lock(m_disk->mutex);
    const std::shared_ptr<SKrNode> node = Find(path);
    if (node == nullptr || node->IsOpen())
        return {};
    return {MakeFollowedMemoryFile(m_disk, node), MakeWritableMemoryFile(m_disk, node)};
}

bool CKrMemoryFileSystem::Exists(const wchar_t* path)
{
    if (path == nullptr)
        return false;
    const std::scoped_lock lock(m_disk->mutex);
    return Find(path) != nullptr;
}

bool CKrMemoryFileSystem::Delete(const wchar_t* path)
{
    if (path == nullptr)
        return false;
    const std::scoped_lock lock(m_disk->mutex);
    const std::shared_ptr<SKrNode> node = Find(path);
    return node != nullptr && !node->IsOpen() && m_files.erase(path) != 0;
}

uint32_t CKrMemoryFileSystem::BytesPerSector(const wchar_t* folder)
{
    if (folder == nullptr)
        return 0;
    const std::scoped_lock lock(m_disk->mutex);
    m_lastVolumeFolder = folder;
    return m_bytesPerSector;
}
} // namespace KrTest
