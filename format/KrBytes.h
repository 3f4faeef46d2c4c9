// Byte order: single values, and cursors that read or write the fields of a record straight down.
#ifndef KR_FORMAT_KRBYTES_H
#define KR_FORMAT_KRBYTES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <vector>

inline uint16_t GetLe16(const uint8_t* from)
{
    return static_cast<uint16_t>(from[0] | from[1] << 8);
}

inline uint32_t GetLe32(const uint8_t* from)
{
    return uint32_t{from[0]} | uint32_t{from[1]} << 8 | uint32_t{from[2]} << 16 | uint32_t{from[3]} << 24;
}

inline uint64_t GetLe64(const uint8_t* from)
{
    return GetLe32(from) | uint64_t{GetLe32(from + 4)} << 32;
}

inline uint32_t GetBe32(const uint8_t* from)
{
    return uint32_t{from[0]} << 24 | uint32_t{from[1]} << 16 | uint32_t{from[2]} << 8 | uint32_t{from[3]};
}

inline void PutLe16(uint8_t* to, uint16_t value)
{
    to[0] = static_cast<uint8_t>(value);
    to[1] = static_cast<uint8_t>(value >> 8);
}

inline void PutLe32(uint8_t* to, uint32_t value)
{
    PutLe16(to, static_cast<uint16_t>(value));
    PutLe16(to + 2, static_cast<uint16_t>(value >> 16));
}

inline void PutLe64(uint8_t* to, uint64_t value)
{
    PutLe32(to, static_cast<uint32_t>(value));
    PutLe32(to + 4, static_cast<uint32_t>(value >> 32));
}

inline void PutBe32(uint8_t* to, uint32_t value)
{
    to[0] = static_cast<uint8_t>(value >> 24);
    to[1] = static_cast<uint8_t>(value >> 16);
    to[2] = static_cast<uint8_t>(value >> 8);
    to[3] = static_cast<uint8_t>(value);
}

// Reads fields one after another. Bytes past the end read as zeros, and Ok() turns false.
class CKrByteReader
{
public:
    explicit CKrByteReader(std::span<const uint8_t> bytes) : m_bytes(bytes) {}

    bool Ok() const { return m_ok; }

    uint8_t U8() { return *Take<1>(); }
    uint16_t U16Le() { return GetLe16(Take<2>()); }
    uint32_t U32Le() { return GetLe32(Take<4>()); }
    uint64_t U64Le() { return GetLe64(Take<8>()); }
    uint32_t U32Be() { return GetBe32(Take<4>()); }

private:
    template <size_t Count>
    const uint8_t* Take()
    {
        if (m_bytes.size() < Count)
        {
            std::fill(std::copy(m_bytes.begin(), m_bytes.end(), m_last), std::end(m_last), uint8_t{0});
            m_bytes = {};
            m_ok = false;
            return m_last;
        }
        const uint8_t* const at = m_bytes.data();
        m_bytes = m_bytes.subspan(Count);
        return at;
    }

    std::span<const uint8_t> m_bytes;
    uint8_t m_last[8] = {}; // a field that the end cuts short
    bool m_ok = true;
};

// Appends fields to a growing block.
class CKrByteWriter
{
public:
    explicit CKrByteWriter(std::vector<uint8_t>& bytes) : m_bytes(bytes) {}

    void U8(uint8_t value) { m_bytes.push_back(value); }
    void U16Le(uint16_t value) { PutLe16(Space(2), value); }
    void U32Le(uint32_t value) { PutLe32(Space(4), value); }
    void U64Le(uint64_t value) { PutLe64(Space(8), value); }
    void U32Be(uint32_t value) { PutBe32(Space(4), value); }

    // So many bytes for fields that the caller puts there at once.
    [[nodiscard]] uint8_t* Space(size_t count)
    {
        m_bytes.resize(m_bytes.size() + count);
        return m_bytes.data() + m_bytes.size() - count;
    }

private:
    std::vector<uint8_t>& m_bytes;
};

#endif
