#include "platform/win32/KrLongPath.h"

#include <gtest/gtest.h>

TEST(LongPathTest, PathOnADrive_GetsThePrefix)
{
    EXPECT_EQ(WithLongPathPrefix(L"C:\\clips\\a.avi"), L"\\\\?\\C:\\clips\\a.avi");
}

TEST(LongPathTest, PathOnAServer_GetsThePrefixForServers)
{
    EXPECT_EQ(WithLongPathPrefix(L"\\\\server\\share\\a.avi"), L"\\\\?\\UNC\\server\\share\\a.avi");
}

TEST(LongPathTest, DevicePrefixes_AreKnown)
{
    EXPECT_TRUE(HasDevicePrefix(L"\\\\?\\C:\\a.avi"));
    EXPECT_TRUE(HasDevicePrefix(L"\\\\.\\NUL"));
    EXPECT_FALSE(HasDevicePrefix(L"\\\\server\\share\\a.avi"));
    EXPECT_FALSE(HasDevicePrefix(L"C:\\a.avi"));
    EXPECT_FALSE(HasDevicePrefix(L"\\?\\"));
    EXPECT_FALSE(HasDevicePrefix(L""));
}

TEST(LongPathTest, PathsUpToALengthThatFoldersMayHave_KeepTheirForm)
{
    const std::wstring longest = L"C:\\" + std::wstring(244, L'a'); // 247 in all
    EXPECT_EQ(WithoutLengthLimit(L"./a.avi", longest), L"./a.avi");
    EXPECT_EQ(WithoutLengthLimit(L"./a.avi", longest + L'b'), L"\\\\?\\" + longest + L'b');
}

TEST(LongPathTest, DevicesOfAnyLength_KeepTheirForm)
{
    const std::wstring tail(300, L'a');
    EXPECT_EQ(WithoutLengthLimit(L"\\\\?\\C:\\" + tail, L"\\\\?\\C:\\" + tail), L"\\\\?\\C:\\" + tail);
    EXPECT_EQ(WithoutLengthLimit(L"NUL", L"\\\\.\\NUL" + tail), L"NUL");
}

TEST(LongPathTest, PathWithoutAnAbsoluteForm_KeepsItsForm)
{
    EXPECT_EQ(WithoutLengthLimit(L"", L""), L"");
}
