// What the operating system's writable files do with views and with space, through the library's seam.
#include "tests/platform/WritableFilesSupport.h"

using namespace KrTest;

namespace
{
class WritableFileSpace : public WritableFilesTest
{
};
} // namespace

TEST_F(WritableFileSpace, WhatIsPutIntoAView_IsInTheFile)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {KrBytes(5000, 1)}), 5000u);
    const auto view = file->Map(4001, 100);
    ASSERT_NE(view, nullptr);
    view->Put(0, KrBytes{2, 3, 4, 5}); // at a place that is no multiple of 4
    view->Put(7, KrBytes{6, 7, 8, 9}); // at one that is
    view->Put(20, KrBytes{10});
    view->Put(97, KrBytes{11, 12, 13}); // the last bytes
    EXPECT_EQ(Peek(m_path, 4000, 13), (KrBytes{1, 2, 3, 4, 5, 1, 1, 1, 6, 7, 8, 9, 1}));
    EXPECT_EQ(Peek(m_path, 4020, 3), (KrBytes{1, 10, 1}));
    EXPECT_EQ(Peek(m_path, 4097, 5), (KrBytes{1, 11, 12, 13, 1}));
}

TEST_F(WritableFileSpace, SpaceThatIsReserved_ChangesNothingThatIsSeen)
{
    auto file = Create(m_path);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(Write(*file, 0, {KrBytes(1000, 1)}), 1000u);
    const uint64_t before = Os::AllocatedSize(m_path);
    const bool reserved = file->ReserveTo(8'000'000);
    EXPECT_TRUE(reserved || Os::kSeparator == L'\\') << "only the emulator has no such call";
    if (reserved)
    {
        EXPECT_GE(Os::AllocatedSize(m_path), 8'000'000u);
    }
    EXPECT_EQ(Peek(m_path, 0, 2000), KrBytes(1000, 1)) << "nothing beyond its end";
    EXPECT_TRUE(file->ReserveTo(500)) << "less than it has";
    EXPECT_EQ(Peek(m_path, 0, 2000), KrBytes(1000, 1)) << "which does not cut it";
    ASSERT_EQ(Write(*file, 1000, {KrBytes(1000, 2)}), 1000u);
    EXPECT_FALSE(file->ReserveTo(uint64_t{1} << 63));
    EXPECT_TRUE(file->CutTo(2000));
    file.reset();
    EXPECT_EQ(Peek(m_path, 0, 3000).size(), 2000u);
    EXPECT_LE(Os::AllocatedSize(m_path), before + 8192) << "what was reserved is given back";
}
