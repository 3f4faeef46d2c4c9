// The head of a file, read at once; the rest is read from the file.
#ifndef KR_READER_KRHEADERCOPY_H
#define KR_READER_KRHEADERCOPY_H

#include "platform/KrPlatform.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

// Lets what parses headers read them from memory: all of them as they were at one moment.
class CKrHeaderCopy final : public IKrFile
{
public:
    CKrHeaderCopy(std::span<const uint8_t> header, IKrFile& file) : m_header(header), m_file(file) {}

    std::optional<uint64_t> Size() override { return m_file.Size(); }
    bool Seek(uint64_t position) override { return m_file.Seek(position); }

    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        if (position >= m_header.size())
            return m_file.ReadAt(position, buffer, count);
        // What comes short here is asked for again from where it ended.
        count = std::min<size_t>(count, m_header.size() - static_cast<size_t>(position));
        std::memcpy(buffer, m_header.data() + position, count);
        return {count, 0};
    }

private:
    std::span<const uint8_t> m_header;
    IKrFile& m_file;
};

#endif
