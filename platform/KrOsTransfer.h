// How much one call to the system moves.
#ifndef KR_PLATFORM_KROSTRANSFER_H
#define KR_PLATFORM_KROSTRANSFER_H

#include <cstddef>

// The most that one call is asked for: counts have 32 bits on Windows, some systems refuse or cut what does
// not fit 31 bits, and network file systems like less.
constexpr size_t kMostBytesPerCall = size_t{1} << 30;

#endif
