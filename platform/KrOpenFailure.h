// Why a file could not be opened or created, asked right afterwards. Linked into the C interface only.
#ifndef KR_PLATFORM_KROPENFAILURE_H
#define KR_PLATFORM_KROPENFAILURE_H

#include <cstdint>

enum class EKrOpenFailure
{
    NotFound, // the file or its folder
    NotAllowed,
    InUse,
    Other
};
struct SKrOpenFailure
{
    EKrOpenFailure kind = EKrOpenFailure::Other;
    uint32_t osError = 0; // the system's number; 0: it gives no reason, or not any more
};

SKrOpenFailure WhyNotRead(const wchar_t* path);
SKrOpenFailure WhyNotWritten(const wchar_t* path);

#endif
