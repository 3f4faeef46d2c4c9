// Stand-in for the worker thread of the suite's kernel library. The suite's own library can replace it at
// link time.
#ifndef KR_SIBLINGS_KRWORKERTHREAD_H
#define KR_SIBLINGS_KRWORKERTHREAD_H

#include "KrRiffUtils/IKrUnknown.h"

#include <cstdint>
#include <stop_token>

// Runs on the thread until it returns, which it should do soon after the stop is requested.
using KrWorkRoutine = uint32_t (*)(void* context, std::stop_token stop);

// A thread that can be started and stopped repeatedly. Operations that return an int return non-zero for
// success. Start, Stop and the waits are for one thread at a time. The routine may call them too: there Start
// and the waits return 0 at once.
class IKrWorkerThread : public IKrUnknown
{
public:
    // Priority, 0 for the normal one, and any other settings of the kernel library. The stand-in has one kind
    // of thread and accepts both.
    virtual int SetPriority(int priority) = 0;
    virtual int UseDefaults() = 0;

    // Sets the routine of the next start.
    virtual int SetWorkRoutine(KrWorkRoutine routine, void* context) = 0;

    // Fails while the routine runs, without a routine, and when the system is out of threads or memory.
    virtual int Start() = 0;

    // Asks the routine to end, through the token only: a caller must also wake a routine that waits for
    // something else.
    virtual void Stop() = 0;

    // Waits until the routine has ended, 0xFFFFFFFF milliseconds for ever. Returns 0 on timeout.
    virtual int WaitForEnd(uint32_t milliseconds) = 0;

    virtual int StopAndWait(uint32_t milliseconds) = 0;
};

inline constexpr uint32_t kKrWaitForEver = 0xFFFFFFFF;

// Creates a thread that does not run yet. The last Release asks it to end and waits; on the worker's own
// thread it does not wait. Returns 0 for a null pointer and when out of memory.
int KrCreateWorkerThread(int kind, IKrWorkerThread** out);

#endif
