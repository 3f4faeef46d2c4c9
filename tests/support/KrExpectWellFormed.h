// Lets a test fail for each problem that is found in a written file.
#ifndef KR_TESTS_SUPPORT_KREXPECTWELLFORMED_H
#define KR_TESTS_SUPPORT_KREXPECTWELLFORMED_H

#include "tests/support/KrAviChecker.h"

#include <gtest/gtest.h>

#include <string>

namespace KrTest
{
// Answers what was found, for further comparisons.
inline SKrCheckedAvi ExpectWellFormed(const CKrFileContent& file, const SKrWritten& from)
{
    SKrCheckedAvi checked = CheckWrittenAvi(file, from);
    std::string text;
    for (const std::string& problem : checked.problems)
        text += "\n" + problem;
    EXPECT_EQ(text, "") << "in a file of " << file.Size() << " bytes";
    return checked;
}
} // namespace KrTest

#endif
