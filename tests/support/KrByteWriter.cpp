#include "tests/support/KrByteWriter.h"

#include <stdexcept>

namespace KrTest
{
uint32_t FourCcValue(std::string_view fourCc)
{
    if (fourCc.size() != 4)
        throw std::invalid_argument("a FourCC has four characters");
    uint32_t value = 0;
    for (size_t index = 4; index-- > 0;)
        value = (value << 8) | static_cast<uint8_t>(fourCc[index]);
    return value;
}

CKrTestByteWriter& CKrTestByteWriter::U8(uint8_t value)
{
    m_bytes.push_back(value);
    return *this;
}

CKrTestByteWriter& CKrTestByteWriter::U16(uint16_t value)
{
    return U8(static_cast<uint8_t>(value)).U8(static_cast<uint8_t>(value >> 8));
}

CKrTestByteWriter& CKrTestByteWriter::U32(uint32_t value)
{
    return U16(static_cast<uint16_t>(value)).U16(static_cast<uint16_t>(value >> 16));
}

CKrTestByteWriter& CKrTestByteWriter::U64(uint64_t value)
{
    return U32(static_cast<uint32_t>(value)).U32(static_cast<uint32_t>(value >> 32));
}

CKrTestByteWriter& CKrTestByteWriter::U32Be(uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        U8(static_cast<uint8_t>(value >> shift));
    return *this;
}

CKrTestByteWriter& CKrTestByteWriter::FourCc(std::string_view fourCc)
{
    return U32(FourCcValue(fourCc));
}

CKrTestByteWriter& CKrTestByteWriter::Raw(std::span<const uint8_t> bytes)
{
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    return *this;
}

CKrTestByteWriter& CKrTestByteWriter::Fill(size_t count, uint8_t value)
{
    m_bytes.insert(m_bytes.end(), count, value);
    return *this;
}
} // namespace KrTest
