// Makes allocations fail in the inner test program, which has its own allocation functions.
#ifndef KR_TESTS_BASE_KRFAILINGALLOCATION_H
#define KR_TESTS_BASE_KRFAILINGALLOCATION_H

namespace KrTest
{
// The number of the allocation from now on that fails; 0: none. For this thread only.
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
