// Stand-in for the suite's file helper library. The suite's own library can take its place when the program
// is linked.
#ifndef KR_SIBLINGS_KRWINUTILS_H
#define KR_SIBLINGS_KRWINUTILS_H

#include <string>

namespace KrFileUtils
{
// Whether there is anything of that name; 0 for a null or empty one.
int DoesFileExist(const wchar_t* path);

// The folder of a path, for which both separators count: without the separator that ends it, unless that
// belongs to a root. Empty for a bare name; where there are drives, the drive for a name in its
// current folder ("C:name").
std::wstring GetPurePath(const wchar_t* path);
} // namespace KrFileUtils

#endif
