// Shared by all fuzzers. They use the tests' own checks: a failed check ends the run, which the fuzzer
// reports.
#ifndef KR_FUZZ_KRFUZZING_H
#define KR_FUZZ_KRFUZZING_H

#include "tests/support/KrFileContent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace KrFuzz
{
inline void StopAtFailures()
{
    GTEST_FLAG_SET(break_on_failure, true);
}

inline KrTest::KrBytes BytesOf(const uint8_t* data, size_t size)
{
    return KrTest::KrBytes(data, data + size);
}

// Takes values from the front of the fuzzer's bytes; zeros after their end.
class CKrScript
{
public:
    CKrScript(const uint8_t* data, size_t size) : m_data(data), m_left(size) {}

    [[nodiscard]] bool IsAtEnd() const { return m_left == 0; }

    uint8_t Byte()
    {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_data++;
    }

    uint32_t Number(size_t bytes)
    {
        uint32_t number = 0;
        while (bytes-- > 0)
            number = number << 8 | Byte();
        return number;
    }

    [[nodiscard]] KrTest::KrBytes Rest() const { return BytesOf(m_data, m_left); }

private:
    const uint8_t* m_data;
    size_t m_left;
};
} // namespace KrFuzz

// Called once by the fuzzer, and by nothing here: without the attribute the compiler would leave it out.
extern "C" __attribute__((used)) inline int LLVMFuzzerInitialize(int*, char***)
{
    KrFuzz::StopAtFailures();
    return 0;
}

#endif
