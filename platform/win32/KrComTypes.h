// The types of DirectShow's operations.
#ifndef KR_PLATFORM_WIN32_KRCOMTYPES_H
#define KR_PLATFORM_WIN32_KRCOMTYPES_H

#include "KrMediaSampleTypes.h"

using ComBool = BOOL;

#endif
