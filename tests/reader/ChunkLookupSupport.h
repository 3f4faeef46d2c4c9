// Runs the chunk lookup over bytes in memory, and a second lookup that applies the same rules one header at a
// time.
#ifndef KR_TESTS_READER_CHUNKLOOKUPSUPPORT_H
#define KR_TESTS_READER_CHUNKLOOKUPSUPPORT_H

#include "reader/KrChunkLookup.h"
#include "reader/KrFileCursor.h"
#include "tests/support/KrByteWriter.h"
#include "tests/support/KrFileContent.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string_view>

namespace KrTest
{
// Bytes as an open file.
class CKrBytesFile : public IKrFile
{
public:
    explicit CKrBytesFile(const KrBytes& bytes) : m_bytes(bytes) {}

    std::optional<uint64_t> Size() override { return m_bytes.size(); }
    bool Seek(uint64_t) override { return true; }
    SKrTransfer ReadAt(uint64_t position, void* buffer, size_t count) override
    {
        if (position >= m_bytes.size())
            return {};
        const size_t start = static_cast<size_t>(position);
        const size_t bytes = std::min(count, m_bytes.size() - start);
        std::memcpy(buffer, m_bytes.data() + start, bytes);
        return {.bytes = bytes};
    }

private:
    const KrBytes& m_bytes;
};

// Pieces of a file: a chunk header, one with the type of a container, equal bytes; and the pieces in a row.
[[nodiscard]] inline KrBytes Header(std::string_view id, uint32_t size)
{
    return CKrTestByteWriter().FourCc(id).U32(size).Bytes();
}

[[nodiscard]] inline KrBytes Header(std::string_view id, uint32_t size, std::string_view type)
{
    return CKrTestByteWriter().FourCc(id).U32(size).FourCc(type).Bytes();
}

[[nodiscard]] inline KrBytes Zeros(size_t count)
{
    return KrBytes(count);
}

[[nodiscard]] inline KrBytes Join(std::initializer_list<KrBytes> pieces)
{
    KrBytes all;
    for (const KrBytes& piece : pieces)
        all.insert(all.end(), piece.begin(), piece.end());
    return all;
}

// The arguments of a lookup.
struct SKrLookupCase
{
    uint64_t start = 0; // position of the file pointer
    uint32_t id = 0;
    uint32_t type = 0;
    std::optional<SKrRiffChunkInfo> parent{};
    EKrLookupMode mode = EKrLookupMode::AnyChunk;
    int zeroLimit = 0;
};

// Its outcome.
struct SKrLookupOutcome
{
    bool found = false;
    SKrRiffChunkInfo record = {};
    uint64_t position = 0; // of the file pointer afterwards

    bool operator==(const SKrLookupOutcome& other) const
    {
        return found == other.found && position == other.position && record.ckid == other.record.ckid &&
               record.cksize == other.record.cksize && record.fccType == other.record.fccType &&
               record.offset == other.record.offset;
    }

    friend std::ostream& operator<<(std::ostream& out, const SKrLookupOutcome& outcome)
    {
        return out << (outcome.found ? "found" : "not found") << ", id " << std::hex << outcome.record.ckid
                   << ", size " << outcome.record.cksize << ", type " << outcome.record.fccType << std::dec
                   << ", offset " << outcome.record.offset << ", file pointer " << outcome.position;
    }
};

// A record passed by a caller. Fields that the lookup does not use must be unchanged when nothing is found.
[[nodiscard]] inline SKrRiffChunkInfo WantedRecord(const SKrLookupCase& lookup)
{
    return {.ckid = lookup.id, .cksize = 0x5A5A5A5A, .fccType = lookup.type, .offset = 0x5A5A5A5A5A5A5A5A};
}

// The outcome of a lookup that finds nothing: the record is unchanged.
[[nodiscard]] inline SKrLookupOutcome NotFound(const SKrLookupCase& lookup, uint64_t position)
{
    return {.found = false, .record = WantedRecord(lookup), .position = position};
}

inline constexpr auto kRiffs = EKrLookupMode::RiffOnly;
inline constexpr auto kLists = EKrLookupMode::ListOnly;

[[nodiscard]] inline SKrLookupOutcome RunLookup(CKrFileCursor& cursor, const SKrLookupCase& lookup)
{
    SKrLookupOutcome outcome;
    outcome.record = WantedRecord(lookup);
    cursor.SeekTo(lookup.start);
    outcome.found = FindChunk(cursor, outcome.record, lookup.parent ? &*lookup.parent : nullptr, lookup.mode,
                              lookup.zeroLimit);
    outcome.position = cursor.Position();
    return outcome;
}

[[nodiscard]] inline SKrLookupOutcome RunLookup(const KrBytes& bytes, const SKrLookupCase& lookup)
{
    CKrBytesFile file(bytes);
    CKrFileCursor cursor;
    cursor.Attach(file, bytes.size());
    return RunLookup(cursor, lookup);
}

// The same lookup without any shortcut: every header is read where the rules lead, zero bytes one by one.
class CKrPlainLookup
{
public:
    CKrPlainLookup(const KrBytes& file, const SKrLookupCase& lookup)
        : m_file(file), m_lookup(lookup), m_pointer(lookup.start)
    {
    }

    [[nodiscard]] SKrLookupOutcome Run()
    {
        SKrLookupOutcome outcome;
        outcome.record = WantedRecord(m_lookup);
        outcome.found = Find(outcome.record);
        outcome.position = m_pointer;
        return outcome;
    }

private:
    static constexpr uint32_t kRiff = 0x46464952; // "RIFF"
    static constexpr uint32_t kList = 0x5453494C; // "LIST"

    struct SHeader
    {
        uint64_t begin = 0;
        uint64_t bytesRead = 0;
        uint64_t dataOffset = 0;
        uint32_t id = 0;
        uint32_t size = 0;
        uint32_t type = 0; // 0 where the file ends before it
    };

    [[nodiscard]] uint32_t Word(uint64_t position) const
    {
        uint32_t value = 0;
        for (uint64_t index = 4; index-- > 0;)
            value = value * 256 + m_file[static_cast<size_t>(position + index)];
        return value;
    }

    SHeader ReadHeader(uint64_t length)
    {
        SHeader header;
        header.begin = m_pointer;
        while (header.bytesRead < length && m_pointer < m_file.size())
        {
            ++header.bytesRead;
            ++m_pointer;
        }
        header.dataOffset = m_pointer - header.bytesRead + 8;
        if (header.bytesRead >= 8)
        {
            header.id = Word(header.begin);
            header.size = Word(header.begin + 4);
        }
        if (header.bytesRead >= 12)
            header.type = Word(header.begin + 8);
        return header;
    }

    [[nodiscard]] bool OutsideParent() const
    {
        if (!m_lookup.parent)
            return false;
        const uint64_t first = m_lookup.parent->offset;
        const uint64_t end = first + m_lookup.parent->cksize;
        return m_pointer < first || m_pointer >= end;
    }

    [[nodiscard]] bool Wanted(const SHeader& header) const
    {
        const bool id = m_lookup.id == 0 || m_lookup.id == header.id;
        const bool type = m_lookup.type == 0 || m_lookup.type == header.type;
        return id && type;
    }

    // One header that neither matches nor is all zeros.
    void SkipChunk(const SHeader& header)
    {
        if (header.size == 0)
        {
            m_pointer = header.begin + 1;
            return;
        }
        m_pointer = header.dataOffset + header.size;
        if (m_pointer % 2 == 1)
            ++m_pointer;
    }

    void Take(const SHeader& header, SKrRiffChunkInfo& record)
    {
        record.ckid = header.id;
        record.cksize = header.size;
        record.offset = header.dataOffset;
        record.fccType = 0;
        if (header.id == kRiff || header.id == kList)
            record.fccType = header.type;
        else if (header.bytesRead > 8)
            m_pointer = header.dataOffset;
    }

    [[nodiscard]] uint64_t ZeroBytesOfId(const SHeader& header) const
    {
        uint64_t zeros = 0;
        while (zeros < 4 && m_file[static_cast<size_t>(header.begin + zeros)] == 0)
            ++zeros;
        return zeros;
    }

    [[nodiscard]] bool Find(SKrRiffChunkInfo& record)
    {
        if (m_pointer + 8 > m_file.size())
            return false;
        uint64_t length = m_file.size() - m_pointer;
        if (length > 12)
            length = 12;
        int emptyHeaders = 0;
        bool resynchronising = false;
        while (true)
        {
            if (OutsideParent())
                return false;
            const SHeader header = ReadHeader(length);
            if (header.bytesRead < 8)
                return false;
            if (header.id == 0 || header.size == 0)
            {
                ++emptyHeaders;
                if (m_lookup.zeroLimit >= 1 && emptyHeaders >= m_lookup.zeroLimit)
                    return false;
            }
            else
                emptyHeaders = 0;

            if (m_lookup.mode != EKrLookupMode::AnyChunk)
            {
                if (header.bytesRead < 12)
                    return false;
                const uint32_t only = m_lookup.mode == EKrLookupMode::RiffOnly ? kRiff : kList;
                if (header.id == only && Wanted(header))
                {
                    Take(header, record);
                    return true;
                }
                if (header.id == 0)
                    m_pointer = header.begin + 1;
                else
                    SkipChunk(header);
                continue;
            }

            if (header.id == 0)
            {
                resynchronising = true;
                m_pointer = header.begin + 1;
            }
            else if (resynchronising)
            {
                resynchronising = false;
                m_pointer = header.begin + ZeroBytesOfId(header);
            }
            else if (Wanted(header))
            {
                Take(header, record);
                return true;
            }
            else
                SkipChunk(header);
        }
    }

    const KrBytes& m_file;
    const SKrLookupCase& m_lookup;
    uint64_t m_pointer;
};

[[nodiscard]] inline SKrLookupOutcome RunPlainLookup(const KrBytes& bytes, const SKrLookupCase& lookup)
{
    return CKrPlainLookup(bytes, lookup).Run();
}
} // namespace KrTest

#endif
