// The platform's media types in full.
#ifndef KR_PLATFORM_POSIX_KROSTYPES_H
#define KR_PLATFORM_POSIX_KROSTYPES_H

#include "KrRiffUtils/KrPlatformTypes.h"

#endif
