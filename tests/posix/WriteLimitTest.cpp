// Writes that the system cuts short. File size limits cause these without a full disk.
#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <vector>

using namespace KrTest;

namespace
{
constexpr size_t kLimit = 8 << 20; // far above the test program's own output meanwhile

// Limits the size of all files that the process writes while it exists.
class CFileSizeLimit
{
public:
    explicit CFileSizeLimit(rlim_t bytes) : m_oldHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_old);
        rlimit limit = m_old;
        limit.rlim_cur = bytes;
        m_set = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~CFileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_old);
        std::signal(SIGXFSZ, m_oldHandler);
    }
    CFileSizeLimit(const CFileSizeLimit&) = delete;
    CFileSizeLimit& operator=(const CFileSizeLimit&) = delete;

    [[nodiscard]] bool IsSet() const { return m_set; }

private:
    rlimit m_old{};
    void (*m_oldHandler)(int);
    bool m_set = false;
};

uint64_t SizeOf(const std::wstring& path)
{
    const auto file = KrPlatform::OsFileSystem().OpenForReading(path.c_str());
    return file != nullptr ? file->Size().value_or(UINT64_MAX) : UINT64_MAX;
}
} // namespace

TEST(WriteLimit, BytesBeforeTheError_AreWrittenAndCounted)
{
    const CKrTempFolder folder;
    const std::wstring path = folder.PathOf(L"full.avi");
    auto file = KrPlatform::OsFileSystem().CreateForWriting(path.c_str());
    ASSERT_NE(file, nullptr);
    const KrBytes some(1000, 1);
    const std::vector<KrByteSpan> parts{some, some, {}, some};
    {
        const CFileSizeLimit limit(kLimit);
        ASSERT_TRUE(limit.IsSet());
        const SKrTransfer cut = file->WriteAt(kLimit - 1500, parts);
        EXPECT_EQ(cut.bytes, 1500u);
        EXPECT_EQ(cut.osError, static_cast<uint32_t>(EFBIG));
        const SKrTransfer nothing = file->WriteAt(kLimit, parts);
        EXPECT_EQ(nothing.bytes, 0u);
        EXPECT_EQ(nothing.osError, static_cast<uint32_t>(EFBIG));
    }
    const SKrTransfer whole = file->WriteAt(kLimit, parts);
    EXPECT_EQ(whole.bytes, 3000u) << "once there is room again";
    EXPECT_EQ(whole.osError, 0u);
    file.reset();
    EXPECT_EQ(SizeOf(path), kLimit + 3000);
}
