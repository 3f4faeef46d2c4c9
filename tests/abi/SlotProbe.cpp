// Calls each operation on an object whose table of virtual operations records which slot was called. Every
// compiler of the platform builds this same source.
#include "KrRiffUtils/KrRiffUtils.h"

#include <stdio.h>

namespace
{
int g_calledSlot = -1;
unsigned int g_flags = 0;
int g_wrong = 0;
int g_count = 0;

// Ignores the operation's arguments.
template <int Slot>
uint64_t Entry(void*, unsigned int flags)
{
    g_calledSlot = Slot;
    g_flags = flags;
    return 0;
}

typedef uint64_t (*KrEntry)(void*, unsigned int);

const KrEntry g_table[] = {
    &Entry<0>,  &Entry<1>,  &Entry<2>,  &Entry<3>,  &Entry<4>,  &Entry<5>,  &Entry<6>,  &Entry<7>,
    &Entry<8>,  &Entry<9>,  &Entry<10>, &Entry<11>, &Entry<12>, &Entry<13>, &Entry<14>, &Entry<15>,
    &Entry<16>, &Entry<17>, &Entry<18>, &Entry<19>, &Entry<20>, &Entry<21>, &Entry<22>, &Entry<23>,
    &Entry<24>, &Entry<25>, &Entry<26>, &Entry<27>, &Entry<28>, &Entry<29>, &Entry<30>, &Entry<31>,
};

struct SFake
{
    const KrEntry* table;
    uint64_t room[16];
};

SFake g_fake = {g_table, {}};

// Outside Windows the destructor has two slots.
#if defined(_WIN32)
const int kMoreDestructors = 0;
#else
const int kMoreDestructors = 1;
#endif

void Check(const char* operation, int slot)
{
    ++g_count;
    if (g_calledSlot == slot)
        return;
    ++g_wrong;
    printf("%s: slot %d, expected %d\n", operation, g_calledSlot, slot);
}

// Read through a volatile pointer, so that the compiler can assume nothing about the object.
template <class Interface>
Interface* Fake()
{
    void* volatile object = &g_fake;
    g_calledSlot = -1;
    return static_cast<Interface*>(object);
}
} // namespace

int main()
{
    CArray<SKrChunkIndexEntry> entries;
    CArray<SKrStreamIndexEntry> streamEntries;
#define SLOT(Interface, Slot, Operation, Arguments)                                                          \
    Fake<Interface>()->Operation Arguments;                                                                  \
    Check(#Interface "::" #Operation, (Slot) + kMoreDestructors);
#include "slots.inc"
#undef SLOT

#if defined(_MSC_VER)
    delete Fake<IKrRiffReader>();
    Check("delete", 0);
    if (g_flags != 1)
    {
        ++g_wrong;
        printf("delete: flags %u\n", g_flags);
    }
#endif
    printf("%d slots, %d wrong\n", g_count, g_wrong);
    return g_wrong == 0 && g_count > 0 ? 0 : 1;
}
