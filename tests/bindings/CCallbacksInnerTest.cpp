// Callbacks of the C interface that call back in, and what other threads are told meanwhile.
#include "tests/bindings/KrCSupport.h"

#include <algorithm>
#include <mutex>
#include <thread>

using namespace KrTest;

namespace
{
using CCallbacks = CTest;
}

TEST_F(CCallbacks, CallsFromInsideAReadCallback_AreRefused)
{
    CKrCInput input(Built().Bytes());
    const kr_input record = input.Record();
    std::vector<kr_result> results;
    input.whileReading = [&]
    {
        uint8_t byte = 0;
        uint32_t number = 0;
        uint64_t size = 0;
        kr_index* index = nullptr;
        results.push_back(kr_reader_close(reader));
        results.push_back(kr_reader_free(reader));
        results.push_back(kr_reader_open(reader, kPath));
        results.push_back(kr_reader_open_growing(reader, kPath));
        results.push_back(kr_reader_open_input(reader, &record));
        results.push_back(kr_reader_refresh(reader));
        results.push_back(kr_reader_size(reader, &size));
        results.push_back(kr_reader_read(reader, 0, &byte, 1, &number));
        results.push_back(kr_reader_stream_count(reader, &number));
        results.push_back(kr_reader_load_index(reader, 0, 0, &index));
        EXPECT_EQ(LastReaderError().result, KR_ERROR_CALLBACK) << "which may be asked";
        kr_reader* other = nullptr; // others are not concerned
        EXPECT_EQ(kr_reader_create(&other), KR_OK);
        EXPECT_EQ(kr_reader_close(other), KR_OK);
        EXPECT_EQ(kr_reader_free(other), KR_OK);
    };
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    input.whileReading = nullptr;
    EXPECT_GE(results.size(), 10u);
    EXPECT_EQ(std::count(results.begin(), results.end(), KR_ERROR_CALLBACK),
              static_cast<ptrdiff_t>(results.size()));
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
}

TEST_F(CCallbacks, OtherThreadsDuringAnOpen_AreToldThatItIsBusy)
{
    CKrCInput input(Built().Bytes());
    const kr_input record = input.Record();
    std::vector<kr_result> results;
    input.whileReading = [&]
    {
        if (!results.empty())
            return;
        std::thread(
            [&]
            {
                uint64_t size = 0;
                kr_index* index = nullptr;
                int32_t mode = 0;
                results.push_back(kr_reader_close(reader));
                results.push_back(kr_reader_open(reader, kPath));
                results.push_back(kr_reader_refresh(reader));
                results.push_back(kr_reader_load_index(reader, 0, 0, &index));
                results.push_back(kr_reader_scan_mode(reader, 0, &mode));
                EXPECT_EQ(kr_reader_size(reader, &size), KR_ERROR_CLOSED) << "and nobody waits";
            })
            .join();
    };
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    EXPECT_EQ(results, std::vector<kr_result>(5, KR_ERROR_BUSY));
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
}

TEST_F(CCallbacks, HandleFreedDuringARead_LivesUntilTheReadEnds)
{
    CKrCInput input(Built().Bytes());
    const kr_input record = input.Record();
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    input.whileReading = [&]
    {
        std::thread([&] { EXPECT_EQ(kr_reader_free(reader), KR_OK); }).join();
        EXPECT_EQ(input.released, 0);
    };
    uint8_t bytes[4] = {};
    uint32_t copied = 0;
    EXPECT_EQ(kr_reader_read(reader, 0, bytes, 4, &copied), KR_OK);
    EXPECT_EQ(copied, 4u);
    EXPECT_EQ(input.released, 1);
    EXPECT_EQ(kr_reader_read(reader, 0, bytes, 4, &copied), KR_ERROR_HANDLE);
    reader = nullptr;
}

TEST_F(CCallbacks, CallsFromInsideAWriteCallback_AreRefused)
{
    const kr_clip clip = ClipFor(false);
    CKrCOutput output;
    const kr_output record = output.Record();
    std::mutex lock;
    std::vector<kr_result> results;
    output.whileWriting = [&]
    {
        const uint8_t bytes[4] = {};
        const std::lock_guard guard(lock);
        results.push_back(kr_writer_close(writer));
        results.push_back(kr_writer_free(writer));
        results.push_back(kr_writer_open(writer, kPath, &clip));
        results.push_back(kr_writer_open_output(writer, &record, &clip));
        results.push_back(kr_writer_set_options(writer, nullptr));
        results.push_back(kr_writer_copy_video(writer, bytes, 4));
        results.push_back(kr_writer_add_video(writer, bytes, 4, nullptr, nullptr));
        results.push_back(kr_writer_write_video_chunk(writer, bytes, 4));
        EXPECT_EQ(LastWriterError().result, KR_ERROR_CALLBACK);
        EXPECT_NE(Status().size, 0u) << "which may be asked";
    };
    ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
    Record(3, false);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_GE(results.size(), 40u);
    EXPECT_EQ(std::count(results.begin(), results.end(), KR_ERROR_CALLBACK),
              static_cast<ptrdiff_t>(results.size()));
}

TEST_F(CCallbacks, ReleaseCallback_MaySubmitButNotClose)
{
    const kr_clip clip = ClipFor(false);
    ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
    struct SContext
    {
        kr_writer* writer;
        const KrBytes frame = KrBytes(500, 3);
        std::vector<kr_result> submissions, others;
    } context{writer, KrBytes(500, 3), {}, {}};
    const kr_release_fn release = [](void* pointer, const void*)
    {
        auto& self = *static_cast<SContext*>(pointer);
        self.submissions.push_back(kr_writer_copy_video(self.writer, self.frame.data(), 500));
        self.others.push_back(kr_writer_close(self.writer));
        self.others.push_back(kr_writer_free(self.writer));
        self.others.push_back(kr_writer_set_options(self.writer, nullptr));
        self.others.push_back(kr_writer_write_video_chunk(self.writer, self.frame.data(), 500));
    };
    for (int number = 0; number < 3; ++number)
        ASSERT_EQ(kr_writer_add_video(writer, context.frame.data(), 500, release, &context), KR_OK);
    while (Status().frames_written < 6) // each of them submitted another
        std::this_thread::yield();
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_EQ(context.submissions, std::vector<kr_result>(3, KR_OK));
    EXPECT_EQ(context.others, std::vector<kr_result>(12, KR_ERROR_CALLBACK));
}

TEST_F(CCallbacks, CallsFromInsideTheReleaseOfAnInput_AreRefused)
{
    CKrCInput input(Built().Bytes()), other(Built(3).Bytes());
    const kr_input record = input.Record(), next = other.Record();
    std::vector<kr_result> results;
    input.whileReleasing = [&]
    {
        uint64_t size = 0;
        results.push_back(kr_reader_close(reader));
        results.push_back(kr_reader_free(reader));
        results.push_back(kr_reader_open_input(reader, &record));
        results.push_back(kr_reader_size(reader, &size));
    };
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    EXPECT_EQ(kr_reader_open_input(reader, &next), KR_OK);
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
    EXPECT_EQ(results, std::vector<kr_result>(8, KR_ERROR_CALLBACK));
    EXPECT_EQ(input.released, 2);
    EXPECT_EQ(other.released, 1);
}

TEST_F(CCallbacks, CallsFromInsideTheReleaseOfAnOutput_AreRefused)
{
    const kr_clip clip = ClipFor(false);
    CKrCOutput output;
    const kr_output record = output.Record();
    std::vector<kr_result> results;
    output.whileReleasing = [&]
    {
        const uint8_t bytes[4] = {};
        results.push_back(kr_writer_close(writer));
        results.push_back(kr_writer_free(writer));
        results.push_back(kr_writer_open_output(writer, &record, &clip));
        results.push_back(kr_writer_copy_video(writer, bytes, 4));
        EXPECT_EQ(Status().frames_written, 2u) << "which may be asked";
    };
    ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
    Record(2, false);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_EQ(results, std::vector<kr_result>(4, KR_ERROR_CALLBACK));
    EXPECT_EQ(output.released, 1);
}

TEST_F(CCallbacks, HandleFreedDuringALoad_IsReleasedAfterItsLastRead)
{
    CKrCInput input(Built().Bytes());
    const kr_input record = input.Record();
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    int freed = 0;
    input.whileReading = [&]
    {
        EXPECT_EQ(input.released, 0);
        std::thread([&] { freed += kr_reader_free(reader) == KR_OK; }).join();
    };
    kr_index* index = nullptr;
    EXPECT_EQ(kr_reader_load_index(reader, 0, 0, &index), KR_OK);
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(input.released, 1);
    EXPECT_EQ(kr_index_free(index), KR_OK);
    reader = nullptr;
}

// The first read fails; during the next one another thread asks, successfully.
TEST_F(CCallbacks, FailedRead_IsReportedWhateverAnotherThreadAsks)
{
    CKrCInput input(Built().Bytes());
    const kr_input record = input.Record();
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    int reads = 0;
    input.whileReading = [&]
    {
        input.readError = reads++ == 0 ? 5 : 0;
        if (reads != 2)
            return;
        std::thread(
            [&]
            {
                uint32_t count = 0;
                EXPECT_EQ(kr_reader_stream_count(reader, &count), KR_OK);
            })
            .join();
    };
    kr_index* index = nullptr;
    EXPECT_EQ(kr_reader_load_index(reader, 0, 0, &index), KR_ERROR_READ);
    EXPECT_EQ(LastReaderError().system_error, 5u);
    EXPECT_GE(reads, 2);
    input.whileReading = nullptr;
    EXPECT_EQ(kr_reader_close(reader), KR_OK); // before its input goes
}
