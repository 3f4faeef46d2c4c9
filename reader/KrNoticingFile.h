// A file that remembers whether a read of it failed.
#ifndef KR_READER_KRNOTICINGFILE_H
#define KR_READER_KRNOTICINGFILE_H

#include "platform/KrPlatform.h"

#include <cstdint>
#include <optional>

// For steps that take a failed read for the end of what they look for: their result is kept only when none
// failed. For one thread.
class CKrNoticingFile final : public IKrFile
{
public:
    explicit CKrNoticingFile(IKrFile& file) : m_file(file) {}

    [[nodiscard]] bool Failed() const { return m_failed; }

    std::optional<uint64_t> Size() override { return m_file.Size(); }
    bool Seek(uint64_t position) override { return m_file.Seek(position); }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        const SKrTransfer read = m_file.ReadAt(position, buffer, count);
        m_failed = m_failed || read.Failed();
        return read;
    }

private:
    IKrFile& m_file;
    bool m_failed = false;
};

#endif
