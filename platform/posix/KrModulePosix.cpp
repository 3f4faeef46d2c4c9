// Unload hook: runs when the library is closed and when the process ends.
#include "platform/KrUnloadHook.h"

namespace
{
struct SKrUnloadHook
{
    ~SKrUnloadHook() { KrModuleStop(); }
};

const SKrUnloadHook g_unloadHook;
} // namespace
