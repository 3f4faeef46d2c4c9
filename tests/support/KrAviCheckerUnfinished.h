// Checks a file that was not closed, or whose writing failed: it may declare less than it holds, never more.
#ifndef KR_TESTS_SUPPORT_KRAVICHECKERUNFINISHED_H
#define KR_TESTS_SUPPORT_KRAVICHECKERUNFINISHED_H

#include "tests/support/KrAviChecker.h"

namespace KrTest
{
// Checks the headers except for measured values, and that everything exists that sizes and indexes claim.
// Chunks that are not yet in the indexes are not checked. Finds the chunks that are in them.
[[nodiscard]] SKrCheckedAvi CheckUnfinishedAvi(const CKrFileContent& file, const SKrWritten& from);
} // namespace KrTest

#endif
