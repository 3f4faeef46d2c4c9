// The undo file beside a file: the records of its changes, the newest last.
#ifndef KR_TOOLS_MEND_KRUNDOFILE_H
#define KR_TOOLS_MEND_KRUNDOFILE_H

#include "platform/KrPlatform.h"
#include "tools/mend/KrUndoRecord.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KrTool
{
// A record is whole on the disk before the change that it describes begins, and stays until the change was
// taken back on the disk. So what follows the last whole record means nothing, and is overwritten.
class CKrUndoFile
{
public:
    // Reads what is there; no file is as good as an empty one. Throws CKrToolError when it cannot be read or
    // is something else than an undo file.
    CKrUndoFile(IKrFileSystem& files, std::string path);

    [[nodiscard]] const std::string& Path() const { return m_path; }
    [[nodiscard]] bool IsThere() const { return m_isThere; }
    [[nodiscard]] const std::optional<SKrUndoRecord>& Last() const { return m_last; }

    // On the disk, with its name, when this returns. Throws CKrToolError, and then leaves no part of it.
    void Append(const SKrUndoRecord& record);

    // Drops the last record, and what follows it; without any record the file. Throws CKrToolError.
    void DropLast();

private:
    void Open();
    void ReadRecords();
    [[nodiscard]] std::vector<uint8_t> Read(uint64_t position, uint64_t count) const;
    [[nodiscard]] bool Write(const std::vector<uint8_t>& bytes, uint32_t& error);
    void Remove();
    [[noreturn]] void Refuse(uint32_t error) const;

    IKrFileSystem& m_files;
    const std::string m_path;
    const std::wstring m_widePath;
    bool m_isThere = false;
    SKrChangedFile m_file; // while it is there; without a reading side once it was made here
    std::optional<SKrUndoRecord> m_last;
    uint64_t m_lastStart = 0;
    uint64_t m_end = 0; // of the last record
    uint64_t m_size = 0;
};
} // namespace KrTool

#endif
