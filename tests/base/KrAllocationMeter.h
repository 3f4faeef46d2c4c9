// Measures memory use in the inner test program, which has its own allocation functions.
#ifndef KR_TESTS_BASE_KRALLOCATIONMETER_H
#define KR_TESTS_BASE_KRALLOCATIONMETER_H

#include <cstddef>

namespace KrTest
{
// Counts the bytes of operator new, and blocks in large pages, on all threads, from its construction on. Only
// one may exist at a time.
class CKrAllocationMeter
{
public:
    CKrAllocationMeter();

    // Bytes in use beyond those at the start: the peak, and now.
    [[nodiscard]] size_t Most() const;
    [[nodiscard]] size_t Now() const;

private:
    size_t m_before;
    size_t m_pagesBefore;
};
} // namespace KrTest

#endif
