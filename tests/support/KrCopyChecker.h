// Checks every byte of the structure of a file that kravi's copier made, without any of kravi's code.
#ifndef KR_TESTS_SUPPORT_KRCOPYCHECKER_H
#define KR_TESTS_SUPPORT_KRCOPYCHECKER_H

#include <string>
#include <vector>

namespace KrTest
{
// What is wrong; empty: headers, chunks, padding and indexes agree with one another to the byte.
[[nodiscard]] std::vector<std::string> CheckCopiedFile(const std::string& path);
} // namespace KrTest

#endif
