// A pool of media samples around a host's DirectShow samples.
#ifndef KRRIFFUTILS_IKRDSMEDIASAMPLEPOOL_H
#define KRRIFFUTILS_IKRDSMEDIASAMPLEPOOL_H

#include "IKrMediaSample.h"
#include "IKrUnknown.h"
#include "KrPlatformTypes.h"

// A fixed number of sample objects, each of which wraps one DirectShow sample while it is lent. May be called
// from any thread. Lent samples stay valid if the pool is released before them.
class IKrdsMediaSamplePool : public IKrUnknown
{
public:
    // Lends a sample that wraps `source`, to which it adds a reference. Waits up to `wait` milliseconds for a
    // free one: 0 does not wait, 0xFFFFFFFF and all bits set wait for ever. Returns 1 with one reference for
    // the caller in `out`, whose Release returns the sample to the pool; 0 with `out` untouched when an
    // argument is null or no sample became free in time.
    //
    // A returned sample keeps its last DirectShow sample until it is lent again or the pool is destroyed. A
    // host's allocator thus needs more buffers than the pool has samples, or it can run out.
    virtual int GetSample(unsigned long wait, IMediaSample* source, IKrMediaSample** out) = 0;
};

#endif
