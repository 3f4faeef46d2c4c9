// Files that are being written.
#ifndef KR_PLATFORM_WIN32_KRWRITABLEFILEWIN32_H
#define KR_PLATFORM_WIN32_KRWRITABLEFILEWIN32_H

#include "platform/KrPlatform.h"
#include "platform/win32/KrFileHandle.h"

#include <memory>

// Takes over a handle that is open for reading and writing.
std::unique_ptr<IKrWritableFile> MakeWritableFile(CKrFileHandle handle);

#endif
