// A file that is changed in place, so that the change can be taken back.
#ifndef KR_TOOLS_MEND_KRMENDEDFILE_H
#define KR_TOOLS_MEND_KRMENDEDFILE_H

#include "platform/KrPlatform.h"
#include "tools/avi/KrInputFile.h"
#include "tools/mend/KrBytePatches.h"
#include "tools/mend/KrUndoFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
// "clip.avi.kravi-undo"
std::string UndoPathOf(const std::string& path);

struct SKrMendedBytes
{
    uint64_t ranges = 0;
    uint64_t bytes = 0; // in them
};

// What was taken back.
struct SKrUndone
{
    std::string verb; // empty: the change had not begun
    SKrMendedBytes changed;
    bool hasMore = false; // earlier changes that can be taken back as well
};

// Nobody else can open the file for reading or writing as long as this lives.
class CKrMendedFile final : public CKrByteSource
{
public:
    // Throws CKrToolError with the reason when the file cannot be opened for changes.
    CKrMendedFile(IKrFileSystem& files, const std::string& path);

    size_t ReadAt(uint64_t position, void* buffer, size_t count) const override;

    // Writes what differs. The old bytes are in the undo file, and that on the disk, before the first byte of
    // the file changes: whenever the power goes, the file is the old one, the new one, or one that Undo makes
    // the old one again. Throws CKrToolError; the file is then as it was, unless the message says otherwise.
    SKrMendedBytes Change(const CKrBytePatches& patches, const std::string& verb);

    // Takes back the last change, also half of one, and also when it was taken back in part before.
    SKrUndone Undo();

private:
    void CheckEarlierChange(CKrUndoFile& undo) const;
    void CheckSize() const;
    [[nodiscard]] bool Write(const std::vector<SKrChangedBytes>& differences, uint32_t& error);
    [[nodiscard]] bool Restore(const SKrUndoRecord& record, uint32_t& error);
    [[noreturn]] void GiveUp(CKrUndoFile& undo, uint32_t error);

    IKrFileSystem& m_files;
    SKrChangedFile m_file;
};
} // namespace KrTool

#endif
