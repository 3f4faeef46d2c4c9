// Checks a file that was not closed, or whose writing failed: it may say less than it holds, never more.
#ifndef KR_TESTS_SUPPORT_KRAVICHECKERUNFINISHED_H
#define KR_TESTS_SUPPORT_KRAVICHECKERUNFINISHED_H

#include "tests/support/KrAviChecker.h"

namespace KrTest
{
// Checks the headers but for what is measured, and that all that sizes and indexes claim is there. What the
// indexes do not tell of yet is not looked at. Finds the chunks that they tell of.
[[nodiscard]] SKrCheckedAvi CheckUnfinishedAvi(const CKrFileContent& file, const SKrWritten& from);
} // namespace KrTest

#endif
