// Stand-in for the suite's file helper library. The suite's own library can replace it at link time.
#ifndef KR_SIBLINGS_KRWINUTILS_H
#define KR_SIBLINGS_KRWINUTILS_H

#include <string>

namespace KrFileUtils
{
// Whether anything of that name exists; 0 for a null or empty name.
int DoesFileExist(const wchar_t* path);

// The folder of a path, with either separator: without its trailing separator, unless that belongs to a root.
// Empty for a bare name; on systems with drives, the drive for a name in its current folder ("C:name").
std::wstring GetPurePath(const wchar_t* path);
} // namespace KrFileUtils

#endif
