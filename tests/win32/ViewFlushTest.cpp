// Flushing a file also flushes its mapped views, which Windows does not do by itself.
#include "platform/KrPlatform.h"
#include "tests/support/KrFileContent.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace KrTest;

namespace
{
constexpr size_t kGranularity = 64 * 1024; // a view at a multiple of it starts with its range

class ViewFlush : public testing::Test
{
protected:
    void SetUp() override
    {
        m_file = KrPlatform::OsFileSystem().CreateForWriting(m_folder.PathOf(L"new.bin").c_str());
        ASSERT_NE(m_file, nullptr);
        const KrBytes bytes(4 * kGranularity, 1);
        ASSERT_EQ(m_file->WriteAt(0, std::vector<KrByteSpan>{bytes}).bytes, bytes.size());
    }

    // Unmaps the memory of a view, so that it cannot be flushed.
    static void Break(IKrMappedView& view) { EXPECT_TRUE(UnmapViewOfFile(view.Data())); }

    CKrTempFolder m_folder;
    std::unique_ptr<IKrWritableFile> m_file;
};
} // namespace

TEST_F(ViewFlush, ViewThatCannotBeFlushed_FailsTheFlushWhileItLives)
{
    const auto before = m_file->Map(0, 100);
    auto broken = m_file->Map(kGranularity, 100);
    const auto after = m_file->Map(2 * kGranularity, 100);
    ASSERT_TRUE(before != nullptr && broken != nullptr && after != nullptr);
    EXPECT_TRUE(m_file->Flush());
    Break(*broken);
    EXPECT_FALSE(m_file->Flush());
    EXPECT_FALSE(m_file->Flush()) << "each time";
    broken.reset();
    EXPECT_TRUE(m_file->Flush()) << "views that are gone are not flushed";
}

TEST_F(ViewFlush, ViewOfAnotherFile_IsSkipped)
{
    const auto other = KrPlatform::OsFileSystem().CreateForWriting(m_folder.PathOf(L"other.bin").c_str());
    const auto view = m_file->Map(0, 100);
    ASSERT_TRUE(other != nullptr && view != nullptr);
    Break(*view);
    EXPECT_TRUE(other->Flush());
    EXPECT_FALSE(m_file->Flush());
}

TEST_F(ViewFlush, ViewsThatComeAndGoMeanwhile_AreNoFailure)
{
    constexpr int kRounds = 500;
    std::atomic<bool> stop = false;
    int failed = 0;
    int mapped = 0;
    {
        const std::jthread flusher(
            [&]
            {
                while (!stop)
                    failed += m_file->Flush() ? 0 : 1;
            });
        for (int round = 0; round < kRounds; ++round)
        {
            const auto view = m_file->Map(static_cast<uint64_t>(round % 4) * kGranularity + 5, 100);
            if (view == nullptr)
                continue;
            view->Data()[0] = static_cast<uint8_t>(round);
            ++mapped;
        }
        stop = true;
    }
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(mapped, kRounds);
}
