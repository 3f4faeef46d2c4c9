// Files that are being written, and what belongs to making and deleting them.
#ifndef KR_PLATFORM_POSIX_KRWRITABLEFILEPOSIX_H
#define KR_PLATFORM_POSIX_KRWRITABLEFILEPOSIX_H

#include "platform/KrPlatform.h"
#include "platform/posix/KrFileDescriptor.h"

#include <cstdint>
#include <memory>
#include <string>

// Paths are in UTF-8 here.

// Null when somebody has the file open, which is then left as it is.
std::unique_ptr<IKrWritableFile> CreateWritableFile(const std::string& path);

// Opens an existing file likewise, its content kept; no descriptor when somebody has it open.
CKrFileDescriptor OpenWithoutOthers(const std::string& path);

// Takes over a descriptor that is open for reading and writing.
std::unique_ptr<IKrWritableFile> MakeWritableFile(CKrFileDescriptor descriptor);

// Flushes the folder that names the file.
SKrFlushOutcome FlushNameIn(const std::string& path);

// False when somebody has the file open.
bool DeleteUnusedFile(const std::string& path);

// Logical sector size of the block device that a folder lies on, as the kernel publishes it; 512 when there
// is no such device, 0 when there is no such folder.
uint32_t SectorSizeBelow(const std::string& folder);

#endif
