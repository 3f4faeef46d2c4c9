// File operations of the system that tests need beyond the library's own seam.
#ifndef KR_TESTS_SUPPORT_KROSTESTFILES_H
#define KR_TESTS_SUPPORT_KROSTESTFILES_H

#include "tests/support/KrFileContent.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace KrTest
{
// Paths are absolute. The functions return true on success.
namespace Os
{
// The path for the standard library's functions, whatever locale the test runs in.
[[nodiscard]] std::filesystem::path StdPath(const std::wstring& path);

// A path below the temporary folder that no other process uses.
[[nodiscard]] std::wstring NewTemporaryPath();

[[nodiscard]] bool WriteSparseFile(const std::wstring& path, const CKrFileContent& content);
[[nodiscard]] bool MakeFolder(const std::wstring& path);
[[nodiscard]] bool RemoveFile(const std::wstring& path);
[[nodiscard]] bool RemoveTree(const std::wstring& path);

// Bytes that a file takes on the disk, or all bits set when the system does not report it.
[[nodiscard]] uint64_t AllocatedSize(const std::wstring& path);

// Makes a named pipe in the file system; false also where the platform has none.
[[nodiscard]] bool MakeFifo(const std::wstring& path);

inline constexpr wchar_t kSeparator =
#if defined(_WIN32)
    L'\\';
#else
    L'/';
#endif

// Whether paths may begin with the letter of a drive.
inline constexpr bool kHasDrives = kSeparator == L'\\';

// Whether the system's file names are case-insensitive.
inline constexpr bool kNamesIgnoreCase = kSeparator == L'\\';
} // namespace Os

// Holds an existing file open like another program that writes it: for writing with all sharing on Windows,
// with an exclusive advisory lock elsewhere.
class CKrForeignWriter
{
public:
    explicit CKrForeignWriter(const std::wstring& path);
    ~CKrForeignWriter();
    CKrForeignWriter(const CKrForeignWriter&) = delete;
    CKrForeignWriter& operator=(const CKrForeignWriter&) = delete;

    // Whether the system allowed it.
    [[nodiscard]] bool IsOpen() const { return m_handle != nullptr; }

    struct SKrHandle; // the platform's own

private:
    std::unique_ptr<SKrHandle> m_handle;
};
} // namespace KrTest

#endif
