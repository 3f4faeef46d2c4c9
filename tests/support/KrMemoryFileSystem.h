// A file system in memory: files of any size and content without a disk.
#ifndef KR_TESTS_SUPPORT_KRMEMORYFILESYSTEM_H
#define KR_TESTS_SUPPORT_KRMEMORYFILESYSTEM_H

#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace KrTest
{
// Paths are compared exactly. All operations may be called from any thread. The share rules are those of the
// real file systems: only followers open a file being written, and an open file cannot be deleted or replaced
// unless only followers have it open. Views of one file must not overlap while they exist, nor extend past
// the end to which a file is cut: mapping such a range, and such a cut, throw std::logic_error.
//
//   CKrMemoryFileSystem files;
//   files.Set(L"a.avi", BuildSimpleAvi({}).content);
//   KrPlatform::CFileSystemScope scope(files);   // readers now open their files here
class CKrMemoryFileSystem : public IKrFileSystem
{
public:
    // Creates a file or replaces its content. Open files keep the content that they were opened with.
    void Set(const std::wstring& path, CKrFileContent content);

    // Removes a file; returns whether it existed. Open files stay readable.
    bool Remove(const std::wstring& path);

    // The current content of a file, including that of mapped views. Throws std::out_of_range when there is
    // no such file.
    [[nodiscard]] CKrFileContent Content(const std::wstring& path) const;

    // Sets the sector size of every folder's volume; 512 by default.
    void SetBytesPerSector(uint32_t bytes) { m_bytesPerSector = bytes; }
    [[nodiscard]] std::wstring LastVolumeFolder() const;

    // A full disk: writes that would make a file longer than that fall short, and CutTo is refused.
    void SetCapacity(uint64_t bytes);

    // Up to where space is reserved for a file: at least its size. Throws like Content.
    [[nodiscard]] uint64_t ReservedEnd(const std::wstring& path) const;

    // Open files, those of them that are being written, and mapped views.
    [[nodiscard]] size_t OpenFiles() const;
    [[nodiscard]] size_t OpenWritableFiles() const;
    [[nodiscard]] size_t OpenViews() const;
    [[nodiscard]] size_t MostOpenViews() const; // at one time, so far

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override;
    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override;
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override;
    SKrChangedFile OpenForChanging(const wchar_t* path) override;
    bool Exists(const wchar_t* path) override;
    bool Delete(const wchar_t* path) override;
    uint32_t BytesPerSector(const wchar_t* folder) override;

    struct SKrDisk; // private to the implementation
    struct SKrNode;

    CKrMemoryFileSystem();
    virtual ~CKrMemoryFileSystem();

private:
    [[nodiscard]] std::shared_ptr<SKrNode> Find(const std::wstring& path) const;

    std::shared_ptr<SKrDisk> m_disk;
    std::map<std::wstring, std::shared_ptr<SKrNode>> m_files; // guarded by the disk's mutex
    uint32_t m_bytesPerSector = 512;
    std::wstring m_lastVolumeFolder; // guarded by the disk's mutex
};
} // namespace KrTest

#endif
