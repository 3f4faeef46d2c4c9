// The files that one handle of the C interface reads and writes.
#ifndef KR_BINDINGS_C_KRHANDLEFILES_H
#define KR_BINDINGS_C_KRHANDLEFILES_H

#include "bindings/c/KrByteSources.h"
#include "bindings/c/KrHandled.h"
#include "platform/KrPlatform.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

// The path under which an input or output is opened: no file of the system has such a name.
[[nodiscard]] std::wstring KrSourcePath(const void* source);
[[nodiscard]] bool KrIsSourcePath(const std::wstring& path);

// Files of the system, and sources under their paths. Errors of reads are noted in the handle's object;
// whether the last open or create succeeded is remembered.
class CKrHandleFiles final : public IKrFileSystem
{
public:
    explicit CKrHandleFiles(CKrHandled& object) : m_object(object) {}

    void StartOpen() { m_openedLast = false; }

    // The file that was opened last, itself: its errors are not noted. One thread at a time opens and takes.
    [[nodiscard]] std::shared_ptr<IKrFile> TakeOpened() { return std::move(m_opened); }
    [[nodiscard]] bool OpenedLast() const { return m_openedLast; }

    // What is opened as `KrSourcePath` of it. The caller keeps it until the open returns.
    static std::wstring PathOf(const std::shared_ptr<CKrInput>& input) { return KrSourcePath(&input); }
    static std::wstring PathOf(const std::shared_ptr<CKrOutput>& output) { return KrSourcePath(&output); }

    std::unique_ptr<IKrFile> OpenForReading(const wchar_t* path) override;
    std::unique_ptr<IKrFile> OpenForFollowing(const wchar_t* path) override;
    std::unique_ptr<IKrWritableFile> CreateForWriting(const wchar_t* path) override;
    bool Exists(const wchar_t* path) override;
    bool Delete(const wchar_t* path) override;
    uint32_t BytesPerSector(const wchar_t* folder) override;

private:
    [[nodiscard]] std::unique_ptr<IKrFile> Noting(std::unique_ptr<IKrFile> file);

    CKrHandled& m_object;
    std::shared_ptr<IKrFile> m_opened;
    KrAtomic<bool> m_openedLast = false;
    KrAtomic<bool> m_createsOutput = false;
};

#endif
