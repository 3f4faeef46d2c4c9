// DirectShow's media sample in full.
#ifndef KR_PLATFORM_WIN32_KRMEDIASAMPLETYPES_H
#define KR_PLATFORM_WIN32_KRMEDIASAMPLETYPES_H

#include "KrOsTypes.h"

#include <objbase.h> // before <strmif.h>, whose types it declares

#include <strmif.h>

#endif
