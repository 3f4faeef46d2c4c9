// Queries by path, concurrent with the cache's clearing and the module's stop.
#include "KrRiffUtils/KrRiffUtils.h"
#include "riffutils/KrReaderCache.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrYieldingFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

using namespace KrTest;

TEST(CacheScheduled, QueriesByPathBesideClearAndStop_AnswerAndLeaveNothingOpen)
{
    SKrSimpleAvi avi;
    avi.krlA = SKrTestKrlA{.scanMode = 1};
    CKrMemoryFileSystem memory;
    memory.Set(L"a.avi", BuildSimpleAvi(avi).content);
    memory.Set(L"b.avi", BuildSimpleAvi(avi).content);
    CKrYieldingFileSystem files(memory);
    const KrPlatform::CFileSystemScope scope(files);
    WithEverySeed(
        [&](CKrScheduler& scheduler)
        {
            for (const wchar_t* const path : {L"a.avi", L"a.avi", L"b.avi"})
            {
                scheduler.Add(
                    [path]
                    {
                        EKrScanMode mode = EKrScanMode::Unknown;
                        EXPECT_EQ(KrRiffUtils::GetAviScanMode(path, mode), 1);
                        EXPECT_EQ(mode, EKrScanMode::LowerFieldFirst);
                    });
            }
            scheduler.Add([] { KrRiffUtils::ClearCache(L"a.avi"); });
            scheduler.Add([] { EXPECT_EQ(KrRiffUtils::ClearCache(nullptr), 1); });
            scheduler.Add([] { CKrReaderCache::OfProcess().ClearAtModuleStop(); });
            ASSERT_EQ(scheduler.Run(), "");
            KrRiffUtils::ClearCache(nullptr);
            EXPECT_EQ(memory.OpenFiles(), 0u);
            EXPECT_FALSE(files.WasClosedUnderATransfer());
        });
}
