// The files of CKrMemoryFileSystem.
#ifndef KR_TESTS_SUPPORT_KRMEMORYFILESYSTEMFILES_H
#define KR_TESTS_SUPPORT_KRMEMORYFILESYSTEMFILES_H

#include "tests/support/KrMemoryFileSystem.h"

#include <memory>
#include <mutex>
#include <set>

namespace KrTest
{
class CKrMemoryView;

// Shared by all files.
struct CKrMemoryFileSystem::SKrDisk
{
    std::mutex mutex; // guards everything in the file system except the bytes of views
    uint64_t capacity = UINT64_MAX;
    size_t openFiles = 0;
    size_t openWritableFiles = 0;
    size_t openViews = 0;
    size_t mostOpenViews = 0;
};

struct CKrMemoryFileSystem::SKrNode
{
    CKrFileContent content;
    uint64_t reserved = 0;
    std::set<CKrMemoryView*> views;
    int readers = 0;
    int writers = 0;

    [[nodiscard]] bool IsOpen() const { return readers + writers > 0; }
};

using KrDiskPointer = std::shared_ptr<CKrMemoryFileSystem::SKrDisk>;
using KrNodePointer = std::shared_ptr<CKrMemoryFileSystem::SKrNode>;

// Each is called with the disk's mutex held; the files take it themselves, also when they are closed.
[[nodiscard]] std::unique_ptr<IKrFile> MakeMemoryFile(KrDiskPointer disk, KrNodePointer node);
[[nodiscard]] std::unique_ptr<IKrWritableFile> MakeWritableMemoryFile(KrDiskPointer disk, KrNodePointer node);

// A file that may be written meanwhile. What is in views is in the file.
[[nodiscard]] std::unique_ptr<IKrFile> MakeFollowedMemoryFile(KrDiskPointer disk, KrNodePointer node);

// A file with what its views hold.
[[nodiscard]] CKrFileContent ContentWithViews(const CKrMemoryFileSystem::SKrNode& node);
} // namespace KrTest

#endif
