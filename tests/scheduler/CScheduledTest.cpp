// The C interface, used by several threads in the order that a seed selects: handles that are freed
// meanwhile, and callbacks, which run under no lock.
#include "KrRiffUtils/kr_riff.h"
#include "base/KrTurn.h"
#include "bindings/c/KrWriterHandle.h"
#include "tests/bindings/KrCSupport.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrScheduledWorker.h"
#include "tests/scheduler/KrYieldingFileSystem.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <mutex>

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

namespace
{
// Whether the library holds a lock on the calling thread: in no callback of the host.
void ExpectNoLock()
{
    for (int look = 0; look < 2; ++look, YieldToScheduler())
        EXPECT_EQ(CKrScheduler::Current() != nullptr ? CKrScheduler::Current()->LocksHeld() : 0, 0);
}

class CCallbacksScheduled : public testing::TestWithParam<bool>
{
protected:
    CCallbacksScheduled()
    {
        kr_set_log([](void*, kr_result, const char*) { ExpectNoLock(); }, nullptr);
    }
    ~CCallbacksScheduled() override { kr_set_log(nullptr, nullptr); }

    // What a writer of the host submits, and submits again when it comes back.
    struct SSample
    {
        kr_writer* writer;
        KrBytes bytes = KrBytes(500, 1);
        int released = 0;

        static void Release(void* context, const void*)
        {
            auto& self = *static_cast<SSample*>(context);
            ExpectNoLock();
            if (self.released++ == 0)
            {
                kr_writer_copy_video(self.writer, self.bytes.data(), 500);
            }
        }
    };

    CKrManualClock m_clock;
    KrPlatform::CClockScope m_scope{m_clock};
};

void ExpectOneOf(kr_result result, std::initializer_list<kr_result> allowed)
{
    EXPECT_TRUE(std::ranges::find(allowed, result) != allowed.end()) << result;
}

INSTANTIATE_TEST_SUITE_P(Options, CCallbacksScheduled, testing::Values(false, true));
} // namespace

TEST_P(CCallbacksScheduled, OfAWriter_RunUnderNoLock)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            kr_writer* writer = nullptr;
            ASSERT_EQ(KrMake(&writer, &CKrScheduledWorker::Create).result, KR_OK);
            kr_recording_options options = {};
            options.size = sizeof options;
            ASSERT_EQ(kr_recording_options_default(&options), KR_OK);
            options.flags = KR_RECORDING_POWER_SAFE; // flushes on a thread of their own
            ASSERT_EQ(kr_writer_set_options(writer, GetParam() ? &options : nullptr), KR_OK);
            CKrCOutput output;
            output.whileWriting = output.whileFlushing = output.whileReleasing = &ExpectNoLock;
            const kr_output record = output.Record();
            const kr_clip clip = ClipFor(false);
            SSample sample{writer};
            scheduler.Add(
                [&]
                {
                    ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
                    ExpectOneOf(
                        kr_writer_add_video(writer, sample.bytes.data(), 500, &SSample::Release, &sample),
                        {KR_OK, KR_ERROR_CLOSED, KR_ERROR_REFUSED});
                    ExpectOneOf(kr_writer_copy_video(writer, sample.bytes.data(), 500),
                                {KR_OK, KR_ERROR_CLOSED, KR_ERROR_REFUSED});
                    EXPECT_EQ(kr_writer_close(writer), KR_OK);
                });
            scheduler.Add(
                [&]
                {
                    ExpectOneOf(kr_writer_write_video_chunk(writer, sample.bytes.data(), 500),
                                {KR_OK, KR_ERROR_CLOSED, KR_ERROR_REFUSED});
                    EXPECT_EQ(kr_writer_close(writer), KR_OK);
                });
            ASSERT_EQ(scheduler.Run(), "");
            EXPECT_GT(output.writes, 5);
            EXPECT_EQ(output.released, 1);
            EXPECT_EQ(kr_writer_free(writer), KR_OK);
        });
}

TEST_F(CScheduled, CallbacksOfAReader_RunUnderNoLock)
{
    WithEverySeed(
        [this](CKrScheduler& scheduler)
        {
            kr_reader* reader = nullptr;
            ASSERT_EQ(kr_reader_create(&reader), KR_OK);
            CKrCInput input(m_bytes);
            input.whileReading = input.whileSizing = input.whileReleasing = &ExpectNoLock;
            const kr_input record = input.Record();
            const auto use = [&](bool isOpener)
            {
                kr_index* index = nullptr;
                int32_t mode = 0;
                uint32_t count = 0;
                kr_result opened = isOpener ? KR_ERROR_BUSY : KR_OK;
                for (; opened == KR_ERROR_BUSY; YieldToScheduler())
                    opened = kr_reader_open_input(reader, &record);
                EXPECT_EQ(opened, KR_OK);
                ExpectOneOf(kr_reader_scan_mode(reader, 0, &mode),
                            {KR_NOT_DECLARED, KR_ERROR_BUSY, KR_ERROR_CLOSED});
                ExpectOneOf(kr_reader_stream_count(reader, &count), {KR_OK, KR_ERROR_CLOSED});
                const kr_result loaded = kr_reader_load_index(reader, 0, 0, &index);
                ExpectOneOf(loaded, {KR_OK, KR_ERROR_BUSY, KR_ERROR_CLOSED});
                kr_index_free(index);
                ExpectRead(reader);
            };
            scheduler.Add([&] { use(true); });
            scheduler.Add([&] { use(false); });
            scheduler.Add([&] { ExpectOneOf(kr_reader_close(reader), {KR_OK, KR_ERROR_BUSY}); });
            ASSERT_EQ(scheduler.Run(), "");
            EXPECT_GT(input.reads, 0);
            input.whileReading = nullptr;
            EXPECT_EQ(kr_reader_free(reader), KR_OK);
        });
}

TEST(CTurnScheduled, OneThreadAtATime_AndNoneIsForgotten)
{
    WithEverySeed(
        [](CKrScheduler& scheduler)
        {
            CKrTurn turn;
            int inside = 0, turns = 0;
            for (int thread = 0; thread < 4; ++thread)
                scheduler.Add(
                    [&]
                    {
                        for (int round = 0; round < 3; ++round)
                        {
                            const std::lock_guard mine(turn);
                            EXPECT_EQ(++inside, 1);
                            ExpectNoLock();
                            const CKrTurnScope again(turn); // already taken
                            EXPECT_FALSE(turn.TryTake());
                            EXPECT_EQ(--inside, 0);
                            ++turns;
                        }
                    });
            ASSERT_EQ(scheduler.Run(), "");
            EXPECT_EQ(turns, 12);
            EXPECT_FALSE(turn.IsMine());
            EXPECT_TRUE(turn.TryTake());
            turn.unlock();
        });
}
