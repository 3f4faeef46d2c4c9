// The reference-counted base of every object that the library creates, and the one place that handles the
// differences between the C++ ABIs of Windows compilers.
#ifndef KRRIFFUTILS_IKRUNKNOWN_H
#define KRRIFFUTILS_IKRUNKNOWN_H

#include <stdint.h>

// Slot 0 of every interface is the destructor. Microsoft's ABI gives it one slot, which deletes when the flag
// argument has bit 0 set; the Itanium ABI of mingw gives it two. Under mingw the slot is therefore an
// ordinary operation of that shape, so that the table is the same for hosts of both kinds; `delete` on an
// interface pointer is then a compile error in mingw hosts, which call Release() like all others.
//
// KR_INTERFACE_DESTRUCTOR comes first in the root interface. Put KR_IMPLEMENT_INTERFACE_DESTRUCTOR in a class
// that implements an interface (a host's own media sample, for example) and give that class a virtual
// destructor.
#if defined(_WIN32) && !defined(_MSC_VER)
#define KR_INTERFACE_DESTRUCTOR(Class)                                                                       \
    virtual void* KrDeletingDestructor(unsigned int flags) = 0;                                              \
    void operator delete(void*) = delete;                                                                    \
                                                                                                             \
protected:                                                                                                   \
    ~Class() = default;                                                                                      \
                                                                                                             \
public:
#define KR_IMPLEMENT_INTERFACE_DESTRUCTOR(Class)                                                             \
    void operator delete(void* memory)                                                                       \
    {                                                                                                        \
        ::operator delete(memory);                                                                           \
    }                                                                                                        \
    void* KrDeletingDestructor(unsigned int flags) final                                                     \
    {                                                                                                        \
        void* const self = this;                                                                             \
        if ((flags & 1u) != 0)                                                                               \
            delete this;                                                                                     \
        else                                                                                                 \
            this->~Class();                                                                                  \
        return self;                                                                                         \
    }
#else
#define KR_INTERFACE_DESTRUCTOR(Class)                                                                       \
    virtual ~Class() {}
#define KR_IMPLEMENT_INTERFACE_DESTRUCTOR(Class)
#endif

// Base of all interfaces. An object starts with one reference, which its creator owns. AddRef and Release
// may be called from any thread.
class IKrUnknown
{
public:
    KR_INTERFACE_DESTRUCTOR(IKrUnknown)

    // Adds a reference. Returns the new count, a snapshot for diagnostics only, never below 1.
    virtual uint32_t AddRef() = 0;

    // Drops a reference. Returns 0 exactly when that was the last one and the object is destroyed; otherwise
    // a snapshot of the count, never below 1.
    virtual uint32_t Release() = 0;
};

#endif
