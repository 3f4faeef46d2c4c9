// A folder on disk for the duration of a test.
#ifndef KR_TESTS_SUPPORT_KRTEMPFOLDER_H
#define KR_TESTS_SUPPORT_KRTEMPFOLDER_H

#include "tests/support/KrFileContent.h"

#include <string>

namespace KrTest
{
// Makes a folder with a unique name below the system's temporary folder; the destructor removes it with its
// content. Names are relative and may have any characters; "/" separates folders. Paths may become longer
// than 260 characters. Throws std::runtime_error on disk errors.
class CKrTempFolder
{
public:
    CKrTempFolder();
    ~CKrTempFolder();
    CKrTempFolder(const CKrTempFolder&) = delete;
    CKrTempFolder& operator=(const CKrTempFolder&) = delete;

    // Absolute path of the folder, without a separator at its end.
    [[nodiscard]] const std::wstring& Path() const { return m_path; }

    // Absolute path of a name in the folder, whether the file exists or not.
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const;

    // Writes or replaces a file and returns its absolute path. Holes of the content take no space on the
    // disk.
    std::wstring Write(const std::wstring& name, const CKrFileContent& content) const;

    // A file of `size` bytes, zero except for the given bytes; the same as Write with such a content.
    std::wstring WriteSparse(const std::wstring& name, uint64_t size,
                             const std::map<uint64_t, KrBytes>& extents) const;

    // Makes a folder, whose parent must exist, and returns its absolute path.
    std::wstring MakeFolder(const std::wstring& name) const;

    // Removes a file.
    void Remove(const std::wstring& name) const;

private:
    std::wstring m_path;
};
} // namespace KrTest

#endif
