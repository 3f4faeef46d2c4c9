// Paths as the system takes them.
#ifndef KR_PLATFORM_POSIX_KRNATIVEPATH_H
#define KR_PLATFORM_POSIX_KRNATIVEPATH_H

#include <optional>
#include <string>

// A wide path in UTF-8. Nothing for a null one, and for one with an invalid character.
std::optional<std::string> NativePath(const wchar_t* path);

#endif
