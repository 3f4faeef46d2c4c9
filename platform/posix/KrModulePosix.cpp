// Unload hook: runs when the library is closed and when the process ends.
#include "core/KrModule.h"

namespace
{
struct SKrUnloadHook
{
    ~SKrUnloadHook() { KrModuleStop(); }
};

const SKrUnloadHook g_unloadHook;
} // namespace
