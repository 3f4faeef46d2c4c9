// Files that are read by position: the bytes of any file, and why one cannot be read.
#ifndef KR_TOOLS_AVI_KRINPUTFILE_H
#define KR_TOOLS_AVI_KRINPUTFILE_H

#include "platform/KrFileProbe.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

class IKrFile;

namespace KrTool
{
// A file that is open, whoever opened it. Reads may come from any thread.
class CKrByteSource
{
public:
    virtual ~CKrByteSource() = default;

    [[nodiscard]] const std::string& Path() const { return m_path; }
    [[nodiscard]] uint64_t Length() const { return m_length; }

    // Reads what the file holds of a range: fewer bytes than asked for at its end.
    virtual size_t ReadAt(uint64_t position, void* buffer, size_t count) const = 0;

    // Fills the bytes from a position on, or throws CKrToolError.
    void Fill(uint64_t position, std::span<uint8_t> bytes) const;

protected:
    explicit CKrByteSource(std::string path) : m_path(std::move(path)) {}
    void SetLength(uint64_t length) { m_length = length; }

private:
    const std::string m_path;
    uint64_t m_length = 0;
};

// Any file, without a look at what it holds.
class CKrInputFile final : public CKrByteSource
{
public:
    // Throws CKrToolError when it cannot be opened.
    explicit CKrInputFile(const std::string& path);

    size_t ReadAt(uint64_t position, void* buffer, size_t count) const override;

private:
    std::shared_ptr<IKrFile> m_file;
};

// The path as the system's calls take it. Throws CKrToolError when it is no UTF-8.
std::wstring WidePath(const std::string& path);

// Why a file cannot be read: for one that the system does not let anybody read now; general words for one
// that it does.
std::string WhyNotReadable(const SKrFileProbe& probe);
} // namespace KrTool

#endif
