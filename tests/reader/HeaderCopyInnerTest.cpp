// The head of a file in memory, the rest in the file.
#include "reader/KrHeaderCopy.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <gtest/gtest.h>

using namespace KrTest;

TEST(HeaderCopy, ReadAcrossItsEnd_ComesShort_AndTheRestIsTheFiles)
{
    CKrMemoryFileSystem files;
    files.Set(L"a.avi", KrBytes{10, 11, 12, 13, 14, 15});
    const auto file = files.OpenForReading(L"a.avi");
    const KrBytes head{0, 1, 2, 3};
    CKrHeaderCopy copy(head, *file);
    KrBytes bytes(6, 99);
    EXPECT_EQ(copy.ReadAt(1, bytes.data(), 5).bytes, 3u);
    EXPECT_EQ(bytes, (KrBytes{1, 2, 3, 99, 99, 99}));
    EXPECT_EQ(copy.ReadAt(4, bytes.data(), 6).bytes, 2u);
    EXPECT_EQ(bytes, (KrBytes{14, 15, 3, 99, 99, 99}));
    EXPECT_EQ(copy.Size(), 6u);
}
