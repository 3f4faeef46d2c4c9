// Files that are written under a name of their own and moved to their final one. Paths are UTF-8. Linked into
// kravi only.
#ifndef KR_PLATFORM_KRNEWFILE_H
#define KR_PLATFORM_KRNEWFILE_H

#include "platform/KrFileProbe.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// What a file operation did: 0, or the system's error number.
struct SKrOsResult
{
    uint32_t error = 0;
    bool alreadyThere = false; // the error is that the file exists

    bool Ok() const { return error == 0; }
};

// A file of which the system itself copies ranges into a new one; none where the name leads to another file
// by now, or the system has no such copies. Closed by its destructor.
class CKrRangeSource
{
public:
    CKrRangeSource(const std::string& path, const std::optional<SKrFileIdentity>& file);
    ~CKrRangeSource();
    CKrRangeSource(const CKrRangeSource&) = delete;
    CKrRangeSource& operator=(const CKrRangeSource&) = delete;

private:
    friend class CKrNewFile;
    static constexpr intptr_t kClosed = -1;
    intptr_t m_handle = kClosed;
};

// A file being written. Closed by its destructor.
class CKrNewFile
{
public:
    CKrNewFile() = default;
    ~CKrNewFile() { Discard(); }
    CKrNewFile(const CKrNewFile&) = delete;
    CKrNewFile& operator=(const CKrNewFile&) = delete;

    // Creates a file that must not exist yet.
    [[nodiscard]] SKrOsResult Create(const std::string& path);
    [[nodiscard]] SKrOsResult Write(const void* data, size_t size);
    [[nodiscard]] SKrOsResult SeekTo(uint64_t position);

    // Writes a range of another file that does not pass through this process. Returns how many bytes: fewer,
    // or none, where the system has no such copies or the copy failed. Then Write goes on where it ended.
    [[nodiscard]] uint64_t CopyFrom(const CKrRangeSource& source, uint64_t position, uint64_t count);
    [[nodiscard]] SKrOsResult Close();

    // Closes a file that nobody needs any more.
    void Discard();

private:
    static constexpr intptr_t kClosed = -1;
    intptr_t m_handle = kClosed;
};

// Gives a finished file its final name. Without `replace` an existing file of that name is never touched.
[[nodiscard]] SKrOsResult MoveIntoPlace(const std::string& from, const std::string& to, bool replace);
void RemoveFile(const std::string& path);
unsigned ProcessNumber();

#endif
