// Files read by position, and the reason why one cannot be read.
#ifndef KR_TOOLS_AVI_KRINPUTFILE_H
#define KR_TOOLS_AVI_KRINPUTFILE_H

#include "platform/KrFileProbe.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

class IKrFile;

namespace KrTool
{
// An open file. Any thread may read.
class CKrByteSource
{
public:
    virtual ~CKrByteSource() = default;

    [[nodiscard]] const std::string& Path() const { return m_path; }
    [[nodiscard]] uint64_t Length() const { return m_length; }

    // Nothing where another file took the name while it was opened.
    [[nodiscard]] const std::optional<SKrFileIdentity>& Identity() const { return m_identity; }

    // Reads what the file holds of a range: fewer bytes than asked for at its end.
    virtual size_t ReadAt(uint64_t position, void* buffer, size_t count) const = 0;

    // Fills the bytes from a position on, or throws CKrToolError.
    void Fill(uint64_t position, std::span<uint8_t> bytes) const;

protected:
    // The file is opened between these two.
    explicit CKrByteSource(std::string path) : m_path(std::move(path)), m_identity(IdentityAt(m_path)) {}
    void NoteOpened(uint64_t length);

    void SetLength(uint64_t length) { m_length = length; }

private:
    const std::string m_path;
    std::optional<SKrFileIdentity> m_identity;
    uint64_t m_length = 0;
};

// Any file, whatever its content.
class CKrInputFile final : public CKrByteSource
{
public:
    // Throws CKrToolError when it cannot be opened.
    explicit CKrInputFile(const std::string& path);

    size_t ReadAt(uint64_t position, void* buffer, size_t count) const override;

private:
    std::shared_ptr<IKrFile> m_file;
};

// The path for system calls. Throws CKrToolError when it is not UTF-8.
std::wstring WidePath(const std::string& path);

// Throws CKrToolError for a file that cannot be opened: before others are read for long.
void CheckReadable(const std::string& path);

// Why a file cannot be read; a general reason if the system can read it.
std::string WhyNotReadable(const SKrFileProbe& probe);

// The same for a file that is to be changed in place.
std::string WhyNotChangeable(const SKrFileProbe& probe);
} // namespace KrTool

#endif
