// The names that Windows has for the types of DirectShow's operations.
#ifndef KR_PLATFORM_POSIX_KRCOMTYPES_H
#define KR_PLATFORM_POSIX_KRCOMTYPES_H

#include "KrRiffUtils/KrPlatformTypes.h"

#define STDMETHODCALLTYPE
using HRESULT = int32_t;
using ULONG = uint32_t;
using LONG = int32_t;
using LONGLONG = int64_t;
using ComBool = int32_t;
using BYTE = uint8_t;
using REFERENCE_TIME = int64_t;
using REFIID = const KrGuid&;
using AM_MEDIA_TYPE = KrMediaType;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);

#endif
