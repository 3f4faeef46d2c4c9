// The headers that the library's writer must write.
#ifndef KR_TESTS_SUPPORT_KRWRITTENHEADER_H
#define KR_TESTS_SUPPORT_KRWRITTENHEADER_H

#include "tests/support/KrAviChecker.h"

namespace KrTest
{
// The indexes that the writer writes.
inline constexpr uint32_t kStdIndexSize = 32256; // bytes of a standard index with its header
inline constexpr uint32_t kStdIndexEntries = 4028;
inline constexpr uint32_t kSuperIndexEntries = 2014;

constexpr uint64_t RoundUpTo(uint64_t value, uint64_t multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

// All bytes up to the type of the first 'movi', for a file with the findings after its headers. Sizes of
// segments are taken from the file.
[[nodiscard]] KrBytes WrittenHeader(const CKrFileContent& file, const SKrWritten& from,
                                    const SKrCheckedAvi& found);
} // namespace KrTest

#endif
