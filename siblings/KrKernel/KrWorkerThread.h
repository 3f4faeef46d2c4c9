// Stand-in for the worker thread of the suite's kernel library. The suite's own library can take its place
// when the program is linked.
#ifndef KR_SIBLINGS_KRWORKERTHREAD_H
#define KR_SIBLINGS_KRWORKERTHREAD_H

#include "KrRiffUtils/IKrUnknown.h"

#include <cstdint>
#include <stop_token>

// Runs on the thread until it returns; it should do so soon once the stop is requested.
using KrWorkRoutine = uint32_t (*)(void* context, std::stop_token stop);

// A thread that can be started and stopped again and again. Operations that answer an int give non-zero for
// success. Start, Stop and the waits are for one thread at a time. The routine may call them too: Start and
// the waits answer 0 at once there.
class IKrWorkerThread : public IKrUnknown
{
public:
    // Priority, 0 for the normal one, and whatever else the kernel library sets up by itself. The stand-in
    // has one kind of thread and accepts both.
    virtual int SetPriority(int priority) = 0;
    virtual int UseDefaults() = 0;

    // The routine of the next start.
    virtual int SetWorkRoutine(KrWorkRoutine routine, void* context) = 0;

    // Fails while the routine runs, without a routine, and when the system has no thread or memory to give.
    virtual int Start() = 0;

    // Asks the routine to end. Only the token tells it: whoever stops a routine that waits for something else
    // wakes it as well.
    virtual void Stop() = 0;

    // Waits until the routine has ended, 0xFFFFFFFF milliseconds for ever. 0 when the time was up before.
    virtual int WaitForEnd(uint32_t milliseconds) = 0;

    virtual int StopAndWait(uint32_t milliseconds) = 0;
};

inline constexpr uint32_t kKrWaitForEver = 0xFFFFFFFF;

// Makes a thread that does not run yet. The last Release asks it to end and waits; on the worker's own thread
// it leaves the routine to end by itself. 0 for a null pointer and when memory is short.
int KrCreateWorkerThread(int kind, IKrWorkerThread** out);

#endif
