#include "platform/KrModuleHold.h"

#include <dlfcn.h>

#include <utility>

namespace
{
const char g_inThisModule = 0;
} // namespace

void CKrModuleHold::Take()
{
    Dl_info facts{};
    if (m_module == nullptr && ::dladdr(&g_inThisModule, &facts) != 0 && facts.dli_fname != nullptr)
        m_module = ::dlopen(facts.dli_fname, RTLD_NOW | RTLD_NOLOAD);
}

void CKrModuleHold::Drop()
{
    if (m_module != nullptr)
        ::dlclose(std::exchange(m_module, nullptr));
}
