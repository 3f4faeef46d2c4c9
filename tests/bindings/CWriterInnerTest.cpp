// The C interface's writers: every function, every result, and the same bytes as through the C++ interface.
#include "KrOsTypes.h"
#include "tests/bindings/KrCSupport.h"
#include "tests/support/KrAviChecker.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrTestSample.h"
#include "writer/KrAviWriter.h"

#include <mutex>
#include <thread>

using namespace KrTest;

namespace
{
class CWriter : public CTest
{
protected:
    // The file of Record(frames) as the C++ interface writes it.
    [[nodiscard]] KrBytes RecordedInCxx(int frames, bool hasAudio)
    {
        CKrManualClock clockOfOther;
        SKrWriterServices services{files, clockOfOther};
        const auto cxx = CKrRef<CKrAviWriter>::Adopt(new CKrAviWriter(services));
        SKrAviVideoParams video = {};
        video.width = video.displayWidth = 64;
        video.height = video.displayHeight = 48;
        video.bitCount = 24;
        video.frameRate = 2;
        video.scanMode = 2;
        video.aspectMode = 3;
        WAVEFORMATEX sound = {1, 2, 48000, 192000, 4, 16, 0};
        EXPECT_EQ(
            cxx->OpenFile(L"cxx.avi", &video, KR_FOURCC('M', 'J', 'P', 'G'), hasAudio ? &sound : nullptr), 1);
        for (int number = 0; number < frames; ++number)
        {
            const auto index = static_cast<size_t>(number);
            const auto frame =
                CKrRef<CKrTestSample>::Adopt(new CKrTestSample(PatternBytes(0, index, 1000 + index)));
            EXPECT_EQ(cxx->AddVideoSample(frame.Get()), 1);
            const auto block = CKrRef<CKrTestSample>::Adopt(new CKrTestSample(PatternBytes(1, index, 7680)));
            EXPECT_EQ(cxx->AddAudioSample(block.Get()), hasAudio ? 1 : 0);
        }
        EXPECT_EQ(cxx->CloseFile(), 1);
        return files.Content(L"cxx.avi").ToBytes();
    }

    // Without what depends on time: the measured data rates, 4 bytes at two places of the headers.
    static KrBytes Timeless(KrBytes bytes)
    {
        std::fill_n(bytes.begin() + 36, 4, uint8_t{0});
        return bytes;
    }
};
} // namespace

TEST_F(CWriter, FilesOfBothInterfacesAndOfCallbacks_AreEqual)
{
    for (const bool hasAudio : {false, true})
    {
        const KrBytes expected = Timeless(RecordedInCxx(20, hasAudio));
        const kr_clip clip = ClipFor(hasAudio);
        ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
        Record(20, hasAudio);
        EXPECT_EQ(kr_writer_close(writer), KR_OK);
        EXPECT_EQ(Timeless(files.Content(L"clip.avi").ToBytes()), expected);

        CKrCOutput output;
        const kr_output record = output.Record();
        ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
        Record(20, hasAudio);
        EXPECT_EQ(output.released, 0);
        EXPECT_EQ(kr_writer_close(writer), KR_OK);
        EXPECT_EQ(output.released, 1);
        EXPECT_GT(output.flushes, 0);
        EXPECT_EQ(Timeless(output.bytes), expected);
    }
}

TEST_F(CWriter, OutputOfCallbacks_DoesNotDependOnADisk)
{
    const kr_clip clip = ClipFor(false);
    std::vector<KrBytes> onDisk, outputs;
    for (const uint32_t sector : {512u, 4096u})
    {
        files.SetBytesPerSector(sector);
        ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
        Record(2, false);
        EXPECT_EQ(kr_writer_close(writer), KR_OK);
        onDisk.push_back(Timeless(files.Content(L"clip.avi").ToBytes()));
        CKrCOutput output;
        const kr_output record = output.Record();
        ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
        Record(2, false);
        EXPECT_EQ(kr_writer_close(writer), KR_OK);
        outputs.push_back(Timeless(output.bytes));
    }
    EXPECT_EQ(outputs[0], onDisk[0]);
    EXPECT_EQ(outputs[1], outputs[0]);
    EXPECT_NE(onDisk[1], onDisk[0]);
}

TEST_F(CWriter, OutputOfManySegmentsWithOptions_IsReadBack)
{
    kr_recording_options options = {};
    options.size = sizeof options;
    ASSERT_EQ(kr_recording_options_default(&options), KR_OK);
    options.chunk_spacing_ms = options.submission_delay_ms = 0;
    options.flags = KR_RECORDING_POWER_SAFE;
    EXPECT_EQ(kr_writer_set_options(writer, &options), KR_OK);
    const kr_clip clip = ClipFor(true);
    CKrCOutput output;
    const kr_output record = output.Record();
    ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
    Record(5000);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_EQ(Status().frames_in_index, 5000u);
    CKrCInput input(output.bytes);
    const kr_input source = input.Record();
    ASSERT_EQ(kr_reader_open_input(reader, &source), KR_OK);
    kr_index* index = nullptr;
    ASSERT_EQ(kr_reader_load_index(reader, 0, 0, &index), KR_OK);
    const kr_index_entry* entries = nullptr;
    uint64_t count = 0;
    ASSERT_EQ(kr_index_entries(index, &entries, &count), KR_OK);
    ASSERT_EQ(count, 5000u);
    for (const size_t number : {size_t{0}, size_t{4027}, size_t{4028}, size_t{4999}})
    {
        KrBytes bytes(entries[number].size);
        uint32_t copied = 0;
        EXPECT_EQ(
            kr_reader_read(reader, entries[number].position, bytes.data(), entries[number].size, &copied),
            KR_OK);
        EXPECT_EQ(bytes, PatternBytes(0, number, 1000 + number));
    }
    EXPECT_EQ(kr_index_free(index), KR_OK);
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
}

TEST_F(CWriter, BorrowedSamples_AreGivenBackOnceEach)
{
    const kr_clip clip = ClipFor(true);
    ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
    std::mutex lock;
    std::vector<const void*> given, back;
    struct SContext
    {
        std::mutex& lock;
        std::vector<const void*>& back;
    } context{lock, back};
    const kr_release_fn release = [](void* pointer, const void* data)
    {
        auto& self = *static_cast<SContext*>(pointer);
        const std::lock_guard guard(self.lock);
        self.back.push_back(data);
    };
    std::vector<KrBytes> samples;
    for (size_t number = 0; number < 20; ++number)
        samples.push_back(PatternBytes(number % 2, number / 2, number % 2 == 0 ? 1000 + number / 2 : 7680));
    for (size_t number = 0; number < samples.size(); ++number)
    {
        const auto add = number % 2 == 0 ? kr_writer_add_video : kr_writer_add_audio;
        ASSERT_EQ(add(writer, samples[number].data(), static_cast<uint32_t>(samples[number].size()), release,
                      &context),
                  KR_OK);
        given.push_back(samples[number].data());
    }
    ASSERT_EQ(kr_writer_add_video(writer, samples[0].data(), 1000, nullptr, nullptr), KR_OK)
        << "bytes that stay";
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    std::sort(given.begin(), given.end());
    std::sort(back.begin(), back.end());
    EXPECT_EQ(back, given);
    EXPECT_EQ(Status().frames_written, 11u);
}

TEST_F(CWriter, SamplesNotTaken_StayWithTheHost)
{
    int released = 0;
    const kr_release_fn release = [](void* context, const void*)
    {
        ++*static_cast<int*>(context);
    };
    const uint8_t bytes[4] = {};
    EXPECT_EQ(kr_writer_add_video(writer, bytes, 4, release, &released), KR_ERROR_CLOSED);
    EXPECT_EQ(kr_writer_add_audio(writer, bytes, 4, release, &released), KR_ERROR_CLOSED);
    EXPECT_EQ(kr_writer_copy_video(writer, bytes, 4), KR_ERROR_CLOSED);
    EXPECT_EQ(kr_writer_copy_audio(writer, bytes, 4), KR_ERROR_CLOSED);
    EXPECT_EQ(kr_writer_write_video_chunk(writer, bytes, 4), KR_ERROR_CLOSED);
    EXPECT_EQ(kr_writer_write_audio_chunk(writer, bytes, 4), KR_ERROR_CLOSED);
    const kr_clip clip = ClipFor(false);
    ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
    EXPECT_EQ(kr_writer_add_video(writer, nullptr, 4, release, &released), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_add_video(writer, bytes, 0, release, &released), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_copy_video(writer, bytes, 0x80000000u), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_add_audio(writer, bytes, 4, release, &released), KR_ERROR_NO_STREAM);
    EXPECT_EQ(kr_writer_copy_audio(writer, bytes, 4), KR_ERROR_NO_STREAM);
    EXPECT_EQ(kr_writer_write_audio_chunk(writer, bytes, 4), KR_ERROR_NO_STREAM);
    EXPECT_EQ(kr_writer_write_video_chunk(writer, bytes, 4), KR_OK);
    EXPECT_EQ(released, 0);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
}

TEST_F(CWriter, FullQueue_RefusesTheSample)
{
    kr_recording_options options = {};
    options.size = sizeof options;
    ASSERT_EQ(kr_recording_options_default(&options), KR_OK);
    options.queue_limit = 3000;
    options.queue_wait_ms = 0;
    ASSERT_EQ(kr_writer_set_options(writer, &options), KR_OK);
    const kr_clip clip = ClipFor(true);
    ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
    const KrBytes frame(1000, 1);
    kr_result result = KR_OK;
    for (int number = 0; number < 10 && result == KR_OK; ++number) // no sound comes: they wait
        result = kr_writer_copy_video(writer, frame.data(), 1000);
    EXPECT_EQ(result, KR_ERROR_REFUSED);
    EXPECT_EQ(LastWriterError().result, KR_ERROR_REFUSED);
    EXPECT_EQ(Status().samples_refused, 1u);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
}

TEST_F(CWriter, ClipsThatCannotBeWritten_LeaveTheOpenFileOpen)
{
    const kr_clip good = ClipFor(true);
    ASSERT_EQ(kr_writer_open(writer, kPath, &good), KR_OK);
    const auto refused = [&](auto change)
    {
        kr_clip clip = good;
        change(clip);
        EXPECT_EQ(kr_writer_open(writer, "other.avi", &clip), KR_ERROR_ARGUMENT);
        EXPECT_NE(Status().state & KR_STATE_OPEN, 0u);
    };
    refused([](kr_clip& clip) { clip.size = 8; });
    refused([](kr_clip& clip) { clip.width = 0; });
    refused([](kr_clip& clip) { clip.height = 0; });
    refused([](kr_clip& clip) { clip.width = 0x80000000u; });
    refused([](kr_clip& clip) { clip.display_width = 65536; });
    refused([](kr_clip& clip) { clip.display_height = 65536; });
    refused([](kr_clip& clip) { clip.bit_count = 256; });
    refused([](kr_clip& clip) { clip.frame_rate = 8; });
    refused([](kr_clip& clip) { clip.scan_mode = 3; });
    refused([](kr_clip& clip) { clip.scan_mode = -2; });
    refused([](kr_clip& clip) { clip.aspect_mode = 2; });
    refused([](kr_clip& clip) { clip.aspect_mode = 99; });
    refused([](kr_clip& clip) { clip.reserved[1] = 1; });
    refused([](kr_clip& clip) { clip.audio_bits_per_sample = 12; });
    refused([](kr_clip& clip) { clip.audio_bits_per_sample = 0; });
    refused([](kr_clip& clip) { clip.audio_bits_per_sample = 40; });
    refused([](kr_clip& clip) { clip.audio_samples_per_sec = 0; });
    refused([](kr_clip& clip) { clip.audio_channels = 40000; });
    refused([](kr_clip& clip) { clip.audio_samples_per_sec = 0xFFFFFFFF; });
    EXPECT_EQ(kr_writer_open(writer, nullptr, &good), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_open(writer, "\xC0", &good), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_open(writer, "other.avi", nullptr), KR_ERROR_ARGUMENT);
    Record(2);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_FALSE(files.Exists(L"other.avi"));
}

TEST_F(CWriter, OptionsAndRecordsOfUnknownSize_AreRefused)
{
    EXPECT_EQ(kr_writer_create(nullptr), KR_ERROR_ARGUMENT);
    kr_recording_options options = {};
    options.size = sizeof options - 1;
    EXPECT_EQ(kr_recording_options_default(&options), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_recording_options_default(nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_set_options(writer, &options), KR_ERROR_ARGUMENT);
    options.size = sizeof options;
    ASSERT_EQ(kr_recording_options_default(&options), KR_OK);
    EXPECT_EQ(options.chunk_spacing_ms, 5u);
    EXPECT_EQ(options.submission_delay_ms, 1u);
    EXPECT_EQ(options.queue_wait_ms, KR_FOR_EVER);
    EXPECT_EQ(options.audio_wait_ms, KR_FOR_EVER);
    EXPECT_EQ(kr_writer_set_options(writer, &options), KR_OK);
    options.flags = 64;
    EXPECT_EQ(kr_writer_set_options(writer, &options), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_set_options(writer, nullptr), KR_OK);
    kr_recording_status status = {};
    EXPECT_EQ(kr_writer_status(writer, &status), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_status(writer, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_last_error(writer, nullptr), KR_ERROR_ARGUMENT);
    const kr_clip clip = ClipFor(false);
    CKrCOutput output;
    kr_output record = output.Record();
    record.write_at = nullptr;
    EXPECT_EQ(kr_writer_open_output(writer, &record, &clip), KR_ERROR_ARGUMENT);
    record = output.Record();
    record.size = 8;
    EXPECT_EQ(kr_writer_open_output(writer, &record, &clip), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_writer_open_output(writer, nullptr, &clip), KR_ERROR_ARGUMENT);
    EXPECT_EQ(output.writes, 0);
}

TEST_F(CWriter, WritesThatFail_EndTheRecordingAndAreReported)
{
    const kr_clip clip = ClipFor(true);
    int most = 0;
    for (int failing = 1; most == 0 || failing <= most; failing += failing < 40 ? 1 : 7)
    {
        CKrCOutput output;
        output.failingWrite = failing;
        const kr_output record = output.Record();
        const kr_result opened = kr_writer_open_output(writer, &record, &clip);
        if (opened != KR_OK)
        {
            EXPECT_EQ(opened, KR_ERROR_WRITE) << failing;
            EXPECT_EQ(LastWriterError().system_error, static_cast<uint32_t>(CKrCOutput::kError));
            EXPECT_EQ(output.released, 0);
            continue;
        }
        kr_result result = KR_OK;
        for (size_t number = 0; number < 6 && result == KR_OK; ++number)
        {
            const KrBytes bytes = PatternBytes(0, number, 1000);
            result = kr_writer_copy_video(writer, bytes.data(), 1000);
            if (result == KR_OK)
                result = kr_writer_copy_audio(writer, PatternBytes(1, number, 7680).data(), 7680);
        }
        EXPECT_TRUE(result == KR_OK || result == KR_ERROR_WRITE) << result;
        const kr_result closed = kr_writer_close(writer);
        EXPECT_EQ(output.released, 1);
        if (output.writes < failing)
            most = failing; // it was not reached
        else
            EXPECT_EQ(closed, KR_ERROR_WRITE) << failing;
    }
    EXPECT_GT(most, 20);
}

TEST_F(CWriter, FlushThatFails_IsReportedAtTheClose)
{
    const kr_clip clip = ClipFor(false);
    CKrCOutput output;
    output.flushError = 55;
    const kr_output record = output.Record();
    ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
    Record(3, false);
    EXPECT_EQ(kr_writer_close(writer), KR_ERROR_WRITE);
    EXPECT_EQ(LastWriterError().system_error, 55u);
    EXPECT_NE(Status().state & KR_STATE_FLUSH_FAILED, 0u);
}

TEST_F(CWriter, OutputWithoutFlushAndTruncate_Works)
{
    const kr_clip clip = ClipFor(false);
    CKrCOutput output;
    kr_output record = output.Record();
    record.flush = nullptr;
    record.truncate = nullptr;
    record.release = nullptr;
    ASSERT_EQ(kr_writer_open_output(writer, &record, &clip), KR_OK);
    Record(3, false);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_EQ(output.flushes, 0);
    CKrCInput input(output.bytes);
    const kr_input source = input.Record();
    EXPECT_EQ(kr_reader_open_input(reader, &source), KR_OK);
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
}

TEST_F(CWriter, MissingViews_LeaveAnIncompleteFile)
{
    CKrFaultyFileSystem faulty(files);
    const KrPlatform::CFileSystemScope scope(faulty);
    faulty.FailCall(EKrFileCall::Map, 2);
    const kr_clip clip = ClipFor(false);
    ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
    Record(3, false);
    EXPECT_EQ(kr_writer_close(writer), KR_ERROR_INCOMPLETE);
    EXPECT_EQ(LastWriterError().result, KR_ERROR_INCOMPLETE);
}

TEST_F(CWriter, FreedWriter_ClosesItsFile)
{
    const kr_clip clip = ClipFor(false);
    ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
    Record(3, false);
    EXPECT_EQ(kr_writer_free(writer), KR_OK);
    EXPECT_EQ(kr_writer_free(writer), KR_ERROR_HANDLE);
    EXPECT_EQ(files.OpenFiles(), 0u);
    EXPECT_EQ(kr_reader_open(reader, kPath), KR_OK);
    EXPECT_EQ(kr_writer_create(&writer), KR_OK);
}
