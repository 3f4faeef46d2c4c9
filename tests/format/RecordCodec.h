// Shared by the tests of the record codecs.
#ifndef KR_TESTS_FORMAT_RECORDCODEC_H
#define KR_TESTS_FORMAT_RECORDCODEC_H

#include "format/KrBytes.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KrTest
{
// The bytes that a record's Encode appends.
template <class Record>
[[nodiscard]] std::vector<uint8_t> Encoded(const Record& record)
{
    std::vector<uint8_t> bytes;
    CKrByteWriter out(bytes);
    Encode(out, record);
    return bytes;
}

// The first `count` bytes in a separate block, so that a sanitizer detects a read past them.
[[nodiscard]] inline std::vector<uint8_t> Prefix(std::span<const uint8_t> bytes, size_t count)
{
    return {bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(count)};
}
} // namespace KrTest

#endif
