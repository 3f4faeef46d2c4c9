// A folder on disk that lives as long as a test.
#ifndef KR_TESTS_SUPPORT_KRTEMPFOLDER_H
#define KR_TESTS_SUPPORT_KRTEMPFOLDER_H

#include "tests/support/KrFileContent.h"

#include <string>

namespace KrTest
{
// Makes a folder with a name of its own below the system's temporary folder; the destructor removes it with
// all that lies in it. Names are relative and may have any characters; "/" separates folders. Paths may
// become longer than 260 characters. Throws std::runtime_error when the disk does not play along.
class CKrTempFolder
{
public:
    CKrTempFolder();
    ~CKrTempFolder();
    CKrTempFolder(const CKrTempFolder&) = delete;
    CKrTempFolder& operator=(const CKrTempFolder&) = delete;

    // Absolute path of the folder, without a separator at its end.
    [[nodiscard]] const std::wstring& Path() const { return m_path; }

    // Absolute path of a name in the folder, whether there is such a file or not.
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const;

    // Writes or replaces a file and returns its absolute path. Holes of the content take no room on the disk.
    std::wstring Write(const std::wstring& name, const CKrFileContent& content) const;

    // A file of `size` bytes, zero but for the bytes given; the same as Write with such a content.
    std::wstring WriteSparse(const std::wstring& name, uint64_t size,
                             const std::map<uint64_t, KrBytes>& extents) const;

    // Makes a folder, whose parent must be there, and returns its absolute path.
    std::wstring MakeFolder(const std::wstring& name) const;

    // Removes a file.
    void Remove(const std::wstring& name) const;

private:
    std::wstring m_path;
};
} // namespace KrTest

#endif
