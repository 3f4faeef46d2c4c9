// What the module does when it is unloaded.
#ifndef KR_CORE_KRMODULE_H
#define KR_CORE_KRMODULE_H

// Clears the whole reader cache. Called once by the platform's unload hook, before anything is torn down.
void KrModuleStop();

#endif
