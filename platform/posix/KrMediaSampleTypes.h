// DirectShow's media sample in full.
#ifndef KR_PLATFORM_POSIX_KRMEDIASAMPLETYPES_H
#define KR_PLATFORM_POSIX_KRMEDIASAMPLETYPES_H

#include "KrRiffUtils/KrPlatformTypes.h"

#endif
