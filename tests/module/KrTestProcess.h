// What the module tests ask of the process that they run in.
#ifndef KR_TESTS_MODULE_KRTESTPROCESS_H
#define KR_TESTS_MODULE_KRTESTPROCESS_H

#include <string>

namespace KrTest
{
// Whether the process has the library, whoever loaded it.
[[nodiscard]] bool IsLibraryInProcess(const char* path);

// Sets a variable of the environment, which processes started from now on get too.
void SetEnvironmentValue(const char* name, const std::string& value);
} // namespace KrTest

#endif
