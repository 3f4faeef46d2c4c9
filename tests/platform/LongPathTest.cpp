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
