// How an operation of the C interface ended.
#ifndef KR_BINDINGS_C_KROUTCOME_H
#define KR_BINDINGS_C_KROUTCOME_H

#include "KrRiffUtils/kr_riff.h"

#include <cstdint>

struct SKrOutcome
{
    SKrOutcome(kr_result endedWith, uint32_t osError = 0) : result(endedWith), systemError(osError) {}

    [[nodiscard]] bool Failed() const { return result < 0; }

    kr_result result;
    uint32_t systemError; // or the number that a callback returned
};

// Tells the host's log of a failure. Under no lock.
void KrReportFailure(const char* operation, const SKrOutcome& outcome) noexcept;

#endif
