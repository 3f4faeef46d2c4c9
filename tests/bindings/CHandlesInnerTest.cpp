// What all functions of the C interface share: handles, texts, log, memory that runs out.
#include "tests/base/KrFailingAllocation.h"
#include "tests/bindings/KrCSupport.h"

#include <cstring>
#include <mutex>
#include <set>
#include <thread>

using namespace KrTest;

namespace
{
using CHandles = CTest;

// What every function answers to a handle, if it does not crash.
template <class Handle>
Handle* Wrong(uint64_t number)
{
    return reinterpret_cast<Handle*>(number);
}

std::vector<kr_result> AskReader(kr_reader* reader)
{
    uint8_t byte = 0;
    uint32_t number = 0;
    uint64_t size = 0;
    int32_t x = 0, y = 0;
    kr_index* index = nullptr;
    kr_stream stream = {sizeof stream, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, {}};
    kr_video video = {};
    video.size = sizeof video;
    kr_audio audio = {};
    audio.size = sizeof audio;
    kr_error error = {};
    error.size = sizeof error;
    CKrCInput input({});
    const kr_input record = input.Record();
    return {kr_reader_open(reader, "clip.avi"),
            kr_reader_open_growing(reader, "clip.avi"),
            kr_reader_open_input(reader, &record),
            kr_reader_refresh(reader),
            kr_reader_growing_state(reader, &number),
            kr_reader_close(reader),
            kr_reader_size(reader, &size),
            kr_reader_stream_count(reader, &number),
            kr_reader_stream(reader, 0, &stream),
            kr_reader_stream_format(reader, 0, &byte, 1, &number),
            kr_reader_video(reader, &video),
            kr_reader_audio(reader, &audio),
            kr_reader_load_index(reader, 0, 0, &index),
            kr_reader_read(reader, 0, &byte, 1, &number),
            kr_reader_scan_mode(reader, 0, &x),
            kr_reader_pixel_aspect(reader, 0, &x, &y),
            kr_reader_last_error(reader, &error),
            kr_reader_free(reader)};
}

std::vector<kr_result> AskWriter(kr_writer* writer)
{
    const uint8_t byte = 0;
    const kr_clip clip = ClipFor(false);
    CKrCOutput output;
    const kr_output record = output.Record();
    kr_recording_status status = {};
    status.size = sizeof status;
    kr_error error = {};
    error.size = sizeof error;
    return {kr_writer_set_options(writer, nullptr),
            kr_writer_open(writer, "clip.avi", &clip),
            kr_writer_open_output(writer, &record, &clip),
            kr_writer_add_video(writer, &byte, 1, nullptr, nullptr),
            kr_writer_add_audio(writer, &byte, 1, nullptr, nullptr),
            kr_writer_copy_video(writer, &byte, 1),
            kr_writer_copy_audio(writer, &byte, 1),
            kr_writer_write_video_chunk(writer, &byte, 1),
            kr_writer_write_audio_chunk(writer, &byte, 1),
            kr_writer_status(writer, &status),
            kr_writer_last_error(writer, &error),
            kr_writer_close(writer),
            kr_writer_free(writer)};
}

std::vector<kr_result> AskIndex(kr_index* index)
{
    const kr_index_entry* entries = nullptr;
    uint64_t count = 0;
    return {kr_index_entries(index, &entries, &count), kr_index_free(index)};
}

void ExpectRefused(const std::vector<kr_result>& results, const std::string& what)
{
    EXPECT_EQ(results, std::vector<kr_result>(results.size(), KR_ERROR_HANDLE)) << what;
}
} // namespace

TEST_F(CHandles, WrongOnes_AreRefusedByEveryFunction)
{
    Put(Built());
    kr_reader* freed = nullptr;
    ASSERT_EQ(kr_reader_create(&freed), KR_OK);
    ASSERT_EQ(kr_reader_free(freed), KR_OK);
    uint64_t wrongs[] = {0,
                         1,
                         UINT64_MAX,
                         reinterpret_cast<uint64_t>(this),
                         reinterpret_cast<uint64_t>(freed),
                         reinterpret_cast<uint64_t>(reader) + 1,
                         reinterpret_cast<uint64_t>(reader) ^ (uint64_t{1} << 40)};
    for (const uint64_t wrong : wrongs)
    {
        ExpectRefused(AskReader(Wrong<kr_reader>(wrong)), "reader " + std::to_string(wrong));
        ExpectRefused(AskWriter(Wrong<kr_writer>(wrong)), "writer " + std::to_string(wrong));
        ExpectRefused(AskIndex(Wrong<kr_index>(wrong)), "index " + std::to_string(wrong));
    }
    ExpectRefused(AskWriter(reinterpret_cast<kr_writer*>(reader)), "a reader is no writer");
    ExpectRefused(AskIndex(reinterpret_cast<kr_index*>(reader)), "a reader is no index");
    ExpectRefused(AskReader(reinterpret_cast<kr_reader*>(writer)), "a writer is no reader");
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
}

TEST_F(CHandles, NumbersOfFreedOnes_DoNotComeBack)
{
    std::set<kr_reader*> seen;
    for (int round = 0; round < 2000; ++round)
    {
        kr_reader* made = nullptr;
        ASSERT_EQ(kr_reader_create(&made), KR_OK);
        EXPECT_TRUE(seen.insert(made).second);
        ASSERT_EQ(kr_reader_free(made), KR_OK);
    }
}

TEST_F(CHandles, ManyAtATime_WorkUntilThereAreTooMany)
{
    std::vector<kr_writer*> made;
    kr_writer* one = nullptr;
    while (made.size() < 3000)
    {
        ASSERT_EQ(kr_writer_create(&one), KR_OK);
        made.push_back(one);
    }
    for (kr_writer* const each : made)
        EXPECT_EQ(kr_writer_free(each), KR_OK);
}

TEST_F(CHandles, FreedByManyThreads_IsFreedOnce)
{
    for (int round = 0; round < 200; ++round)
    {
        kr_reader* shared = nullptr;
        ASSERT_EQ(kr_reader_create(&shared), KR_OK);
        std::atomic<int> freed = 0;
        std::vector<std::thread> threads;
        for (int number = 0; number < 3; ++number)
            threads.emplace_back(
                [&]
                {
                    uint64_t size = 0;
                    for (int call = 0; call < 10; ++call)
                        kr_reader_size(shared, &size);
                    freed += kr_reader_free(shared) == KR_OK;
                });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(freed, 1);
    }
}

TEST_F(CHandles, MemoryThatRunsOut_IsAResult)
{
    const SKrBuiltAvi built = Built();
    Put(built);
    size_t failed = 0;
    for (unsigned number = 1;; ++number)
    {
        kr_result result = KR_OK;
        bool struck = false;
        kr_reader* made = nullptr;
        kr_index* index = nullptr;
        {
            CFailingAllocation failing(number);
            result = kr_reader_create(&made);
            if (result == KR_OK)
                result = kr_reader_open(made, kPath);
            if (result == KR_OK)
                result = kr_reader_load_index(made, 0, 0, &index);
            struck = failing.Struck();
        }
        kr_index_free(index);
        kr_reader_free(made);
        failed += result != KR_OK;
        if (!struck)
        {
            EXPECT_EQ(result, KR_OK);
            break;
        }
        ASSERT_LT(number, 1000u);
    }
    EXPECT_GT(failed, 5u);
}

TEST_F(CHandles, OpenWithoutMemory_LeavesNothingOpen)
{
    Put(Built());
    files.Set(L"other.avi", Built(3).content);
    size_t failed = 0;
    for (unsigned number = 1;; ++number)
    {
        ASSERT_EQ(kr_reader_open(reader, kPath), KR_OK);
        kr_result result = KR_OK;
        bool struck = false;
        {
            CFailingAllocation failing(number);
            result = kr_reader_open(reader, "other.avi");
            struck = failing.Struck();
        }
        uint8_t byte = 0;
        uint32_t copied = 0;
        uint64_t size = 0;
        const bool isOpen = result == KR_OK || files.OpenFiles() != 0; // the old one, if it failed early
        EXPECT_EQ(kr_reader_size(reader, &size), isOpen ? KR_OK : KR_ERROR_CLOSED) << number;
        EXPECT_EQ(kr_reader_read(reader, 0, &byte, 1, &copied), isOpen ? KR_OK : KR_ERROR_CLOSED) << number;
        failed += result != KR_OK && !isOpen;
        if (!struck)
            break;
        ASSERT_LT(number, 1000u);
    }
    EXPECT_GT(failed, 3u);
}

TEST_F(CHandles, OpenInputWithoutMemory_KeepsTheOldOneOrNothing)
{
    CKrCInput old(Built().Bytes()), next(Built(3).Bytes());
    const kr_input first = old.Record(), second = next.Record();
    size_t failed = 0;
    for (unsigned number = 1;; ++number)
    {
        old.released = 0;
        ASSERT_EQ(kr_reader_open_input(reader, &first), KR_OK);
        kr_result result = KR_OK;
        bool struck = false;
        {
            CFailingAllocation failing(number);
            result = kr_reader_open_input(reader, &second);
            struck = failing.Struck();
        }
        const bool isOpen = result == KR_OK || old.released == 0; // the old one, if it failed early
        uint64_t size = 0;
        uint32_t streams = 0;
        EXPECT_EQ(kr_reader_size(reader, &size), isOpen ? KR_OK : KR_ERROR_CLOSED) << number;
        EXPECT_EQ(kr_reader_stream_count(reader, &streams), isOpen ? KR_OK : KR_ERROR_CLOSED) << number;
        EXPECT_EQ(streams, isOpen ? 2u : 0u) << number;
        failed += result != KR_OK && !isOpen;
        EXPECT_EQ(kr_reader_close(reader), KR_OK);
        EXPECT_EQ(old.released, 1);
        if (!struck)
            break;
        ASSERT_LT(number, 1000u);
    }
    EXPECT_GT(failed, 3u);
    EXPECT_EQ(next.released, 1);
}

TEST_F(CHandles, OpenOutputWithoutMemory_ReleasesTheOldOneWithItsFile)
{
    const kr_clip clip = ClipFor(false);
    CKrCOutput old, next;
    old.bytes.reserve(1 << 20); // so that the callbacks themselves need no memory
    next.bytes.reserve(1 << 20);
    const kr_output first = old.Record(), second = next.Record();
    size_t failed = 0;
    int opened = 0;
    for (unsigned number = 1;; ++number)
    {
        old.released = 0;
        ASSERT_EQ(kr_writer_open_output(writer, &first, &clip), KR_OK);
        kr_result result = KR_OK;
        bool struck = false;
        {
            CFailingAllocation failing(number);
            result = kr_writer_open_output(writer, &second, &clip);
            struck = failing.Struck();
        }
        const bool isOldOpen = result != KR_OK && (Status().state & KR_STATE_OPEN) != 0;
        EXPECT_EQ(old.released, isOldOpen ? 0 : 1) << number;
        opened += result == KR_OK; // it can do without a worker
        failed += result != KR_OK && !isOldOpen;
        EXPECT_EQ(kr_writer_close(writer), KR_OK) << number;
        EXPECT_EQ(old.released, 1) << number;
        if (!struck)
            break;
        ASSERT_LT(number, 1000u);
    }
    EXPECT_GT(failed, 3u);
    EXPECT_EQ(next.released, opened);
}

// A callback takes a lock that other threads hold while they call the library.
TEST_F(CHandles, CallbacksThatTakeALockOfTheHost_KeepNobodyWaiting)
{
    std::recursive_mutex hostLock;
    const auto take = [&]
    {
        const std::lock_guard guard(hostLock);
        std::this_thread::yield();
    };
    CKrCInput input(Built().Bytes());
    input.whileReading = input.whileSizing = take;
    CKrCOutput output;
    output.whileWriting = output.whileFlushing = take;
    const kr_input source = input.Record();
    const kr_output target = output.Record();
    const kr_clip clip = ClipFor(false);
    ASSERT_EQ(kr_writer_open_output(writer, &target, &clip), KR_OK);
    std::atomic<bool> ended = false;
    int submitted = 0;
    std::thread other(
        [&]
        {
            const KrBytes frame(500, 1);
            for (; !ended || submitted < 20; std::this_thread::yield())
            {
                const std::lock_guard guard(hostLock);
                uint64_t size = 0;
                kr_index* index = nullptr;
                kr_reader_size(reader, &size);
                if (kr_reader_load_index(reader, 0, 0, &index) == KR_OK)
                {
                    EXPECT_EQ(kr_index_free(index), KR_OK);
                }
                submitted += kr_writer_copy_video(writer, frame.data(), 500) == KR_OK;
                EXPECT_NE(Status().state & KR_STATE_OPEN, 0u);
            }
        });
    for (int opened = 0; opened < 20;)
    {
        const kr_result result = kr_reader_open_input(reader, &source);
        EXPECT_TRUE(result == KR_OK || result == KR_ERROR_BUSY) << result;
        opened += result == KR_OK;
    }
    ended = true;
    other.join();
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_EQ(Status().frames_written, static_cast<uint64_t>(submitted));
    while (kr_reader_close(reader) != KR_OK)
        std::this_thread::yield();
    EXPECT_EQ(input.released, 20);
}

TEST(CTexts, EveryResultHasItsOwn)
{
    std::set<std::string> texts;
    for (kr_result result = KR_ERROR_INTERNAL; result <= KR_NOTHING_NEW; ++result)
    {
        ASSERT_NE(kr_error_text(result), nullptr);
        EXPECT_TRUE(texts.insert(kr_error_text(result)).second) << result;
    }
    EXPECT_EQ(texts.count(kr_error_text(-1000)), 0u);
    EXPECT_STREQ(kr_error_text(12345), kr_error_text(-1000));
}

TEST(CTexts, VersionIsThatOfTheHeader)
{
    EXPECT_EQ(kr_version(), static_cast<uint32_t>(KR_RIFF_UTILS_VERSION));
    EXPECT_EQ(KR_RIFF_UTILS_VERSION, KR_RIFF_UTILS_VERSION_MAJOR * 10000 + KR_RIFF_UTILS_VERSION_MINOR * 100 +
                                         KR_RIFF_UTILS_VERSION_PATCH);
}

TEST_F(CHandles, Log_IsToldOfFailuresOnly)
{
    struct SLog
    {
        std::vector<std::string> lines;
        kr_reader* reader;
    } log{{}, reader};
    const auto callback = [](void* context, kr_result result, const char* text)
    {
        auto& self = *static_cast<SLog*>(context);
        self.lines.push_back(std::to_string(result) + " " + text);
        uint64_t size = 0;
        EXPECT_LT(kr_reader_size(self.reader, &size), 0) << "which is not logged";
    };
    uint64_t size = 0;
    EXPECT_EQ(kr_reader_size(reader, &size), KR_ERROR_CLOSED) << "nobody is told";
    EXPECT_EQ(kr_set_log(callback, &log), KR_OK);
    EXPECT_EQ(kr_reader_size(reader, &size), KR_ERROR_CLOSED);
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
    EXPECT_EQ(kr_reader_close(nullptr), KR_ERROR_HANDLE);
    EXPECT_EQ(kr_clear_cache(""), KR_ERROR_ARGUMENT);
    CKrCInput input(Built().Bytes());
    input.readError = 13;
    const kr_input record = input.Record();
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_ERROR_READ);
    EXPECT_EQ(kr_set_log(nullptr, nullptr), KR_OK);
    EXPECT_EQ(kr_reader_size(reader, &size), KR_ERROR_CLOSED);
    EXPECT_EQ(log.lines,
              (std::vector<std::string>{"-4 kr_reader_size: no file is open",
                                        "-1 kr_reader_close: not a handle of this kind, or freed already",
                                        "-2 kr_clear_cache: invalid argument",
                                        "-14 kr_reader_open_input: reading failed (system error 13)"}));
}
