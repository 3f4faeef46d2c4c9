// A file system in memory: files of any size and content without a disk.
#ifndef KR_TESTS_SUPPORT_KRMEMORYFILESYSTEM_H
#define KR_TESTS_SUPPORT_KRMEMORYFILESYSTEM_H

#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"

#include <memory>
#include <mutex>
#include <string>

namespace KrTest
{
// Paths are compared exactly. All operations may be called from any thread.
//
//   CKrMemoryFileSystem files;
//   files.Set(L"a.avi", BuildSimpleAvi({}).content);
//   KrPlatform::CFileSystemScope scope(files);   // readers now open their files here
class CKrMemoryFileSystem : public IKrFileSystem
{
public:
    // Makes a file or replaces its content. Files that are open keep the content that they were opened with.
    void Set(const std::wstring& path, CKrFileContent content);

    // Whether there was such a file. Files that are open stay readable.
    bool Remove(const std::wstring& path);

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override;

private:
    std::mutex m_mutex; // guards m_files
    std::map<std::wstring, std::shared_ptr<const CKrFileContent>> m_files;
};
} // namespace KrTest

#endif
