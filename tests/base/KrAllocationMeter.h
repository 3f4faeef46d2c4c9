// How much memory something takes, for the inner test program, whose allocation functions are its own.
#ifndef KR_TESTS_BASE_KRALLOCATIONMETER_H
#define KR_TESTS_BASE_KRALLOCATIONMETER_H

#include <cstddef>

namespace KrTest
{
// Counts what operator new gives, and blocks in large pages, on all threads, from its construction on. One at
// a time.
class CKrAllocationMeter
{
public:
    CKrAllocationMeter();

    // Bytes in use beyond those at the start: at most at one time, and now.
    [[nodiscard]] size_t Most() const;
    [[nodiscard]] size_t Now() const;

private:
    size_t m_before;
    size_t m_pagesBefore;
};
} // namespace KrTest

#endif
