// Memory that is short, for the inner test program, whose allocation functions are its own.
#ifndef KR_TESTS_BASE_KRFAILINGALLOCATION_H
#define KR_TESTS_BASE_KRFAILINGALLOCATION_H

namespace KrTest
{
// Which allocation from now on fails, 0: none. Of this thread only.
unsigned& FailingAllocation();

class CFailingAllocation
{
public:
    explicit CFailingAllocation(unsigned number) { FailingAllocation() = number; }
    ~CFailingAllocation() { FailingAllocation() = 0; }
    CFailingAllocation(const CFailingAllocation&) = delete;
    CFailingAllocation& operator=(const CFailingAllocation&) = delete;

    [[nodiscard]] bool Struck() const { return FailingAllocation() == 0; }
};
} // namespace KrTest

#endif
