// Handles of the C interface, used and freed by several threads in the order that a seed selects.
#include "KrRiffUtils/kr_riff.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrYieldingFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

#include <cstring>

using namespace KrTest;

namespace
{
class CScheduled : public testing::Test
{
protected:
    CScheduled() { m_memory.Set(L"a.avi", CKrFileContent(m_bytes)); }

    // A read gives the right bytes, or the reason why there are none.
    void ExpectRead(kr_reader* reader)
    {
        uint8_t bytes[16];
        uint32_t copied = 0;
        const kr_result result = kr_reader_read(reader, 100, bytes, sizeof bytes, &copied);
        if (result == KR_OK)
        {
            EXPECT_EQ(copied, sizeof bytes);
            EXPECT_EQ(std::memcmp(bytes, m_bytes.data() + 100, sizeof bytes), 0);
        }
        else
        {
            EXPECT_TRUE(result == KR_ERROR_HANDLE || result == KR_ERROR_CLOSED || result == KR_ERROR_READ)
                << result;
        }
    }

    const KrBytes m_bytes = BuildSimpleAvi({}).Bytes();
    CKrMemoryFileSystem m_memory;
    CKrYieldingFileSystem m_files{m_memory};
    KrPlatform::CFileSystemScope m_scope{m_files};
};
} // namespace

TEST_F(CScheduled, HandleFreedWhileOthersUseIt_IsFreedOnceAndNeverUsedAfterwards)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            kr_reader* reader = nullptr;
            ASSERT_EQ(kr_reader_create(&reader), KR_OK);
            int freed = 0;
            scheduler.Add(
                [&]
                {
                    const kr_result result = kr_reader_open(reader, "a.avi");
                    EXPECT_TRUE(result == KR_OK || result == KR_ERROR_HANDLE || result == KR_ERROR_BUSY)
                        << result;
                    ExpectRead(reader);
                });
            scheduler.Add(
                [&]
                {
                    ExpectRead(reader);
                    freed += kr_reader_free(reader) == KR_OK;
                });
            scheduler.Add(
                [&]
                {
                    kr_index* index = nullptr;
                    if (kr_reader_load_index(reader, 0, 0, &index) == KR_OK)
                    {
                        EXPECT_EQ(kr_index_free(index), KR_OK);
                    }
                    freed += kr_reader_free(reader) == KR_OK;
                });
            scheduler.Add(
                [&]
                {
                    kr_reader* other = nullptr; // may take the place of the one that is freed
                    EXPECT_EQ(kr_reader_create(&other), KR_OK);
                    EXPECT_NE(other, reader);
                    EXPECT_EQ(kr_reader_free(other), KR_OK);
                });
            ASSERT_EQ(scheduler.Run(), "");
            EXPECT_EQ(freed, 1);
            EXPECT_EQ(m_memory.OpenFiles(), 0u);
            EXPECT_FALSE(m_files.WasClosedUnderATransfer());
        });
}
