// A media sample that the pool lends and the writer takes.
#ifndef KRRIFFUTILS_IKRMEDIASAMPLE_H
#define KRRIFFUTILS_IKRMEDIASAMPLE_H

#include "IKrUnknown.h"

#include <stdint.h>

// An element of a pool, lent out and returned.
class IKrPoolElement : public IKrUnknown
{
public:
    // Releases what the element holds. For the pool alone: it takes no lock.
    virtual void ResetElement() = 0;
};

// A frame or a block of audio in a buffer. The operations may be called from any thread, but LockBuffer and
// its UnlockBuffer from the same one. Hosts may implement this interface themselves.
//
// The writer calls GetDataLength once, on the thread that submits the sample. Its worker's thread calls
// LockBuffer and UnlockBuffer, twice for most samples of a file with sound (first for the lengths of samples
// that are written together), and Release. None of them is called under a lock: a sample may take locks of
// the host.
class IKrMediaSample : public IKrPoolElement
{
public:
    // Locks the buffer for the calling thread until UnlockBuffer and outputs its address and the number of
    // valid bytes, at least 1. Other threads that lock it, or query the length, wait. The same thread may
    // lock again; each lock needs its unlock. Returns 1, or 0 with nothing locked (the outputs may have been
    // written) when there is no buffer or it is empty. The owner keeps the memory.
    virtual int LockBuffer(uint8_t** data, int32_t* length) = 0;

    // Ends a LockBuffer of the calling thread. Without one it does nothing.
    virtual void UnlockBuffer() = 0;

    // Returns the number of valid bytes in the buffer; 0 when there is none.
    virtual uint32_t GetDataLength() = 0;
};

#endif
