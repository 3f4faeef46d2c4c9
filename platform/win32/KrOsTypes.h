// The platform's media types in full.
#ifndef KR_PLATFORM_WIN32_KROSTYPES_H
#define KR_PLATFORM_WIN32_KROSTYPES_H

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <mmreg.h> // after <windows.h>, whose types it uses

#include "KrRiffUtils/KrPlatformTypes.h"

static_assert(sizeof(WAVEFORMATEX) == 18, "fixed layout");

#endif
