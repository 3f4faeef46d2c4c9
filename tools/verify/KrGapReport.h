// Bytes in no chunk, and what they are reported as.
#ifndef KR_TOOLS_VERIFY_KRGAPREPORT_H
#define KR_TOOLS_VERIFY_KRGAPREPORT_H

#include "tools/verify/KrVerifyModel.h"
#include "tools/verify/KrVerifyResults.h"

namespace KrTool
{
// Inside a list.
inline EKrCheck KindOf(const SKrGap& gap)
{
    return gap.isZeros ? EKrCheck::ZeroRun : EKrCheck::UnknownData;
}

inline void AddGap(CKrVerifyResults& results, EKrCheck check, const SKrGap& gap)
{
    results.Add(
        check, gap.from,
        [&] {
            return SKrExpectation{"a chunk", Counted(gap.to - gap.from, gap.isZeros ? "zero byte" : "byte")};
        });
}
} // namespace KrTool

#endif
