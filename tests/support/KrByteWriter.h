// The builder's own little-endian writer. Independent of the library's codec, which the built files test.
#ifndef KR_TESTS_SUPPORT_KRBYTEWRITER_H
#define KR_TESTS_SUPPORT_KRBYTEWRITER_H

#include "tests/support/KrFileContent.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace KrTest
{
// The 32-bit value of a FourCC: its first character is the lowest byte. Throws std::invalid_argument unless
// the text has four characters.
[[nodiscard]] uint32_t FourCcValue(std::string_view fourCc);

// Appends values to bytes; calls can be chained.
class CKrTestByteWriter
{
public:
    CKrTestByteWriter& U8(uint8_t value);
    CKrTestByteWriter& U16(uint16_t value);
    CKrTestByteWriter& U32(uint32_t value);
    CKrTestByteWriter& U64(uint64_t value);
    CKrTestByteWriter& U32Be(uint32_t value); // highest byte first
    CKrTestByteWriter& FourCc(std::string_view fourCc);
    CKrTestByteWriter& Raw(std::span<const uint8_t> bytes);
    CKrTestByteWriter& Fill(size_t count, uint8_t value);

    [[nodiscard]] const KrBytes& Bytes() const { return m_bytes; }

private:
    KrBytes m_bytes;
};
} // namespace KrTest

#endif
