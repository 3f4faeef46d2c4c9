#include "platform/KrModuleHold.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <utility>

namespace
{
const char g_inThisModule = 0;
} // namespace

void CKrModuleHold::Take()
{
    HMODULE module = nullptr;
    if (m_module == nullptr && GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                                  reinterpret_cast<LPCWSTR>(&g_inThisModule), &module))
        m_module = module;
}

void CKrModuleHold::Drop()
{
    if (m_module != nullptr)
        FreeLibrary(static_cast<HMODULE>(std::exchange(m_module, nullptr)));
}
