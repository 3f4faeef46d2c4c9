// The C interface's readers: every function, and every result that it can give.
#include "reader/KrRiffReader.h"
#include "tests/bindings/KrCSupport.h"
#include "tests/reader/AllStreamsSupport.h"
#include "tests/support/KrFaultyFileSystem.h"

#include <cstring>

using namespace KrTest;

namespace
{
using CReader = CTest;

kr_stream StreamRecord()
{
    kr_stream stream = {};
    stream.size = sizeof stream;
    return stream;
}
} // namespace

TEST_F(CReader, OpenedFile_HasItsSize)
{
    const SKrBuiltAvi built = Built();
    Put(built);
    EXPECT_EQ(kr_reader_open(reader, kPath), KR_OK);
    uint64_t size = 0;
    EXPECT_EQ(kr_reader_size(reader, &size), KR_OK);
    EXPECT_EQ(size, built.content.Size());
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
    EXPECT_EQ(kr_reader_size(reader, &size), KR_ERROR_CLOSED);
    EXPECT_EQ(kr_reader_close(reader), KR_OK) << "nothing is open";
}

TEST_F(CReader, FailedOpens_SayWhy)
{
    EXPECT_EQ(kr_reader_open(reader, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_open(reader, ""), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_open(reader, "\xFF.avi"), KR_ERROR_ARGUMENT) << "not UTF-8";
    EXPECT_EQ(kr_reader_open(reader, "\x01kr-source:1"), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_open_growing(reader, nullptr), KR_ERROR_ARGUMENT);
    files.Set(L"text.avi", KrBytes(1000, 0));
    EXPECT_EQ(kr_reader_open(reader, "text.avi"), KR_ERROR_FORMAT);
    EXPECT_EQ(LastReaderError().result, KR_ERROR_FORMAT);
    EXPECT_EQ(kr_reader_open_growing(reader, "text.avi"), KR_ERROR_FORMAT);
    files.Set(L"short.avi", KrBytes(200, 1));
    EXPECT_EQ(kr_reader_open(reader, "short.avi"), KR_ERROR_FORMAT);
}

TEST_F(CReader, UnreadableFile_GivesTheSystemsNumber)
{
    Put(Built());
    CKrFaultyFileSystem faulty(files);
    const KrPlatform::CFileSystemScope scope(faulty);
    faulty.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn, 77);
    EXPECT_EQ(kr_reader_open(reader, kPath), KR_ERROR_READ);
    EXPECT_EQ(LastReaderError().system_error, 77u);
    faulty.Reset();
    ASSERT_EQ(kr_reader_open(reader, kPath), KR_OK);
    faulty.FailCall(EKrFileCall::Read, 1, EKrFaultSpan::FromThenOn, 78);
    uint8_t bytes[4] = {};
    uint32_t copied = 99;
    EXPECT_EQ(kr_reader_read(reader, 0, bytes, 4, &copied), KR_ERROR_READ);
    EXPECT_EQ(copied, 99u);
    EXPECT_EQ(LastReaderError().system_error, 78u);
    kr_stream stream = StreamRecord();
    EXPECT_EQ(kr_reader_stream(reader, 0, &stream), KR_ERROR_READ);
    uint32_t count = 99;
    EXPECT_EQ(kr_reader_stream_count(reader, &count), KR_ERROR_READ);
    kr_index* index = nullptr;
    EXPECT_EQ(kr_reader_load_index(reader, 0, 0, &index), KR_ERROR_READ);
    EXPECT_EQ(index, nullptr);
    EXPECT_EQ(kr_reader_stream_format(reader, 0, bytes, 4, &copied), KR_ERROR_READ);
    int32_t mode = 7;
    EXPECT_EQ(kr_reader_scan_mode(reader, 0, &mode), KR_ERROR_READ);
    EXPECT_EQ(mode, 7);
    faulty.Reset();
    EXPECT_EQ(kr_reader_read(reader, 0, bytes, 4, &copied), KR_OK) << "nothing of it lasts";
}

TEST_F(CReader, Reads_GiveWhatTheFileHolds)
{
    const SKrBuiltAvi built = Built();
    Put(built);
    ASSERT_EQ(kr_reader_open(reader, kPath), KR_OK);
    KrBytes bytes(5000);
    uint32_t copied = 0;
    EXPECT_EQ(kr_reader_read(reader, 100, bytes.data(), 5000, &copied), KR_OK);
    EXPECT_EQ(copied, 5000u);
    EXPECT_EQ(bytes, built.content.Range(100, 5000));
    EXPECT_EQ(kr_reader_read(reader, built.content.Size() - 3, bytes.data(), 10, &copied), KR_OK);
    EXPECT_EQ(copied, 3u);
    EXPECT_EQ(kr_reader_read(reader, built.content.Size() + 3, bytes.data(), 10, &copied), KR_OK);
    EXPECT_EQ(copied, 0u);
    EXPECT_EQ(kr_reader_read(reader, 0, bytes.data(), 0, &copied), KR_OK);
    EXPECT_EQ(copied, 0u);
    EXPECT_EQ(kr_reader_read(reader, 0, nullptr, 1, &copied), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_read(reader, 0, bytes.data(), 1, nullptr), KR_ERROR_ARGUMENT);
}

TEST_F(CReader, PositionThatTheRawReadRefuses_IsRead)
{
    CKrFileContent content = Built().content;
    content.Resize(uint64_t{1} << 33);
    content.Put(0xFFFFFFFE, KrBytes{1, 2, 3, 4, 5});
    files.Set(L"clip.avi", content);
    ASSERT_EQ(kr_reader_open(reader, kPath), KR_OK);
    uint8_t bytes[4] = {};
    uint32_t copied = 0;
    EXPECT_EQ(kr_reader_read(reader, 0xFFFFFFFF, bytes, 1, &copied), KR_OK);
    EXPECT_EQ(bytes[0], 2);
    EXPECT_EQ(kr_reader_read(reader, 0xFFFFFFFF, bytes, 4, &copied), KR_OK);
    EXPECT_EQ(copied, 4u);
    EXPECT_EQ(std::memcmp(bytes, "\2\3\4\5", 4), 0);
}

TEST_F(CReader, Streams_AreThoseOfTheCxxInterface)
{
    OpenClip();
    CKrRiffReader other(files);
    ASSERT_EQ(other.Open(L"clip.avi"), 1);
    uint32_t count = 0;
    EXPECT_EQ(kr_reader_stream_count(reader, &count), KR_OK);
    EXPECT_EQ(count, 2u);
    for (uint32_t number = 0; number < count; ++number)
    {
        kr_stream stream = StreamRecord();
        EXPECT_EQ(kr_reader_stream(reader, number, &stream), KR_OK);
        const SKrStreamProperties properties = PropertiesOf(other, number);
        EXPECT_EQ(std::memcmp(&stream, &properties, sizeof stream), 0) << number;
        KrBytes format(1000);
        uint32_t copied = 0;
        EXPECT_EQ(kr_reader_stream_format(reader, number, format.data(), 1000, &copied), KR_OK);
        format.resize(copied);
        EXPECT_EQ(format, FormatOf(other, number, 1000));
    }
    uint8_t byte = 0;
    uint32_t copied = 0;
    kr_stream stream = StreamRecord();
    EXPECT_EQ(kr_reader_stream(reader, 2, &stream), KR_ERROR_NO_STREAM);
    EXPECT_EQ(kr_reader_stream_format(reader, 2, &byte, 1, &copied), KR_ERROR_NO_STREAM);
    EXPECT_EQ(kr_reader_stream_format(reader, 0, &byte, 0, &copied), KR_OK);
    EXPECT_EQ(copied, 0u);
}

TEST_F(CReader, LargerRecordOfALaterVersion_KeepsWhatIsNotKnown)
{
    OpenClip();
    struct SLater
    {
        kr_stream known;
        uint32_t later;
    } record = {};
    record.known.size = sizeof record;
    record.later = 1234;
    EXPECT_EQ(kr_reader_stream(reader, 0, &record.known), KR_OK);
    EXPECT_EQ(record.known.size, sizeof record);
    EXPECT_EQ(record.later, 1234u);
    struct SLaterVideo
    {
        kr_video known;
        uint32_t later;
    } video = {};
    video.known.size = sizeof video;
    video.later = 1234;
    EXPECT_EQ(kr_reader_video(reader, &video.known), KR_OK);
    EXPECT_EQ(video.known.size, sizeof video);
    EXPECT_EQ(video.later, 1234u);
    record.known.size = sizeof(kr_stream) - 1;
    EXPECT_EQ(kr_reader_stream(reader, 0, &record.known), KR_ERROR_ARGUMENT);
}

TEST_F(CReader, FormatSummaries_AreThoseOfTheCxxInterface)
{
    OpenClip();
    kr_video video = {};
    video.size = sizeof video;
    EXPECT_EQ(kr_reader_video(reader, &video), KR_OK);
    EXPECT_EQ(video.frames, 5u);
    EXPECT_EQ(video.width, 720u);
    EXPECT_EQ(video.height, 576u);
    EXPECT_EQ(video.display_width, 1024u) << "64:45 of 720";
    EXPECT_EQ(video.frame_rate, KR_RATE_25);
    EXPECT_EQ(video.scan_mode, KR_SCAN_PROGRESSIVE);
    EXPECT_EQ(video.chunk_id, KR_FOURCC('0', '0', 'd', 'c'));
    kr_audio audio = {};
    audio.size = sizeof audio;
    EXPECT_EQ(kr_reader_audio(reader, &audio), KR_OK);
    EXPECT_EQ(audio.format_tag, 1u);
    EXPECT_EQ(audio.channels, 2u);
    EXPECT_EQ(audio.samples_per_sec, 48000u);
    EXPECT_EQ(audio.block_align, 4u);
    EXPECT_EQ(audio.bytes_per_sec, 192000u);
    EXPECT_EQ(audio.bits_per_sample, 16u);
    EXPECT_EQ(audio.chunk_id, KR_FOURCC('0', '1', 'w', 'b'));
    EXPECT_GT(audio.duration, 0.0);

    SKrSimpleAvi silent;
    files.Set(L"silent.avi", BuildSimpleAvi(silent).content);
    ASSERT_EQ(kr_reader_open(reader, "silent.avi"), KR_OK);
    EXPECT_EQ(kr_reader_audio(reader, &audio), KR_ERROR_NO_STREAM);
    SKrSimpleAvi blind;
    blind.streams = {PcmStream()};
    files.Set(L"blind.avi", BuildSimpleAvi(blind).content);
    ASSERT_EQ(kr_reader_open(reader, "blind.avi"), KR_OK);
    EXPECT_EQ(kr_reader_video(reader, &video), KR_ERROR_NO_STREAM);
    video.size = audio.size = 4;
    EXPECT_EQ(kr_reader_video(reader, &video), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_audio(reader, &audio), KR_ERROR_ARGUMENT);
}

TEST_F(CReader, Index_IsACopyThatOutlivesTheFile)
{
    const SKrBuiltAvi built = Built();
    Put(built);
    ASSERT_EQ(kr_reader_open(reader, kPath), KR_OK);
    kr_index* index = nullptr;
    ASSERT_EQ(kr_reader_load_index(reader, 0, 2, &index), KR_OK);
    kr_index* none = nullptr;
    EXPECT_EQ(kr_reader_load_index(reader, 0, 100, &none), KR_OK);
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
    const kr_index_entry* entries = nullptr;
    uint64_t count = 0;
    EXPECT_EQ(kr_index_entries(index, &entries, &count), KR_OK);
    ASSERT_EQ(count, 3u);
    for (size_t number = 0; number < 3; ++number)
    {
        EXPECT_EQ(entries[number].position, built.streamChunks[0][number + 2].data);
        EXPECT_EQ(entries[number].size, 1002 + number);
        EXPECT_EQ(entries[number].flags, 1u);
    }
    EXPECT_EQ(kr_index_entries(index, nullptr, &count), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_index_entries(index, &entries, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_index_free(index), KR_OK);
    EXPECT_EQ(kr_index_free(index), KR_ERROR_HANDLE);
    EXPECT_EQ(kr_index_entries(index, &entries, &count), KR_ERROR_HANDLE);
    EXPECT_EQ(kr_index_entries(none, &entries, &count), KR_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(entries, nullptr);
    EXPECT_EQ(kr_index_free(none), KR_OK);
}

TEST_F(CReader, IndexThatIsNotThere_SaysWhy)
{
    kr_index* index = nullptr;
    Put(Built(5, EKrIndexKind::None));
    ASSERT_EQ(kr_reader_open(reader, kPath), KR_OK);
    EXPECT_EQ(kr_reader_load_index(reader, 0, 0, &index), KR_ERROR_NO_INDEX);
    EXPECT_EQ(kr_reader_load_index(reader, 9, 0, &index), KR_ERROR_NO_STREAM);
    EXPECT_EQ(kr_reader_load_index(reader, 0, 0, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(index, nullptr);
}

TEST_F(CReader, Declarations_ByReaderAndByPath)
{
    OpenClip();
    int32_t mode = 7, horizontal = 0, vertical = 0;
    for (const uint32_t flavour : {0u, 1u})
    {
        mode = 7;
        EXPECT_EQ(kr_reader_scan_mode(reader, flavour, &mode), KR_OK);
        EXPECT_EQ(mode, KR_SCAN_PROGRESSIVE);
        EXPECT_EQ(kr_reader_pixel_aspect(reader, flavour, &horizontal, &vertical), KR_OK);
        EXPECT_EQ(horizontal * 1000 + vertical, 64045);
        mode = 7;
        EXPECT_EQ(kr_query_scan_mode(kPath, flavour, &mode), KR_OK);
        EXPECT_EQ(mode, KR_SCAN_PROGRESSIVE);
        horizontal = vertical = 0;
        EXPECT_EQ(kr_query_pixel_aspect(kPath, flavour, &horizontal, &vertical), KR_OK);
        EXPECT_EQ(horizontal * 1000 + vertical, 64045);
    }
    mode = horizontal = vertical = 7;
    EXPECT_EQ(kr_reader_scan_mode(reader, 2, &mode), KR_NOT_DECLARED);
    EXPECT_EQ(kr_reader_pixel_aspect(reader, 2, &horizontal, &vertical), KR_NOT_DECLARED);
    EXPECT_EQ(kr_query_scan_mode(kPath, 2, &mode), KR_NOT_DECLARED);
    EXPECT_EQ(kr_query_pixel_aspect(kPath, 2, &horizontal, &vertical), KR_NOT_DECLARED);
    EXPECT_EQ(kr_query_scan_mode("missing.avi", 0, &mode), KR_NOT_DECLARED);
    EXPECT_EQ(mode + horizontal + vertical, 21);
    EXPECT_EQ(LastReaderError().result, KR_OK) << "a value that is not declared is no failure";
    EXPECT_EQ(kr_reader_scan_mode(reader, 3, &mode), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_pixel_aspect(reader, 3, &horizontal, &vertical), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_query_scan_mode(kPath, 3, &mode), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_query_pixel_aspect(kPath, 3, &horizontal, &vertical), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_query_scan_mode(nullptr, 0, &mode), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_query_pixel_aspect(kPath, 0, nullptr, &vertical), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_scan_mode(reader, 0, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_pixel_aspect(reader, 0, &horizontal, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_clear_cache(kPath), KR_OK);
    EXPECT_EQ(kr_clear_cache(kPath), KR_NOT_DECLARED);
    EXPECT_EQ(kr_clear_cache(""), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_clear_cache(nullptr), KR_OK);
}

TEST_F(CReader, ClosedReader_AnswersClosedEverywhere)
{
    for (const bool wasOpen : {false, true})
    {
        if (wasOpen)
        {
            OpenClip();
            ASSERT_EQ(kr_reader_close(reader), KR_OK);
        }
        uint8_t byte = 0;
        uint32_t number = 0;
        uint64_t size = 0;
        int32_t x = 0, y = 0;
        kr_index* index = nullptr;
        kr_stream stream = StreamRecord();
        kr_video video = {};
        video.size = sizeof video;
        kr_audio audio = {};
        audio.size = sizeof audio;
        EXPECT_EQ(kr_reader_size(reader, &size), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_read(reader, 0, &byte, 1, &number), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_read(reader, 0, &byte, 0, &number), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_stream_count(reader, &number), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_stream(reader, 0, &stream), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_stream_format(reader, 0, &byte, 1, &number), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_video(reader, &video), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_audio(reader, &audio), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_load_index(reader, 0, 0, &index), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_scan_mode(reader, 0, &x), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_pixel_aspect(reader, 0, &x, &y), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_refresh(reader), KR_ERROR_CLOSED);
        EXPECT_EQ(kr_reader_growing_state(reader, &number), KR_ERROR_CLOSED);
        EXPECT_EQ(LastReaderError().result, KR_ERROR_CLOSED);
    }
}

TEST_F(CReader, NullOutputs_AreRefused)
{
    OpenClip();
    EXPECT_EQ(kr_reader_create(nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_size(reader, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_stream_count(reader, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_stream(reader, 0, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_stream_format(reader, 0, nullptr, 1, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_video(reader, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_audio(reader, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_growing_state(reader, nullptr), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_last_error(reader, nullptr), KR_ERROR_ARGUMENT);
    kr_error small = {};
    small.size = 4;
    EXPECT_EQ(kr_reader_last_error(reader, &small), KR_ERROR_ARGUMENT);
    EXPECT_EQ(kr_reader_open_input(reader, nullptr), KR_ERROR_ARGUMENT);
}

TEST_F(CReader, GrowingFile_IsFollowedToItsEnd)
{
    const kr_clip clip = ClipFor(false);
    kr_recording_options options = {};
    options.size = sizeof options;
    ASSERT_EQ(kr_recording_options_default(&options), KR_OK);
    ASSERT_EQ(kr_writer_open(writer, kPath, &clip), KR_OK);
    ASSERT_EQ(kr_reader_open_growing(reader, kPath), KR_OK);
    uint32_t state = 0;
    EXPECT_EQ(kr_reader_growing_state(reader, &state), KR_OK);
    EXPECT_EQ(state, 1u);
    Record(10, false);
    ASSERT_EQ(kr_writer_close(writer), KR_OK);
    uint64_t before = 0, after = 0;
    EXPECT_EQ(kr_reader_size(reader, &before), KR_OK);
    EXPECT_EQ(kr_reader_refresh(reader), KR_OK);
    EXPECT_EQ(kr_reader_size(reader, &after), KR_OK);
    EXPECT_GT(after, before);
    EXPECT_EQ(kr_reader_refresh(reader), KR_NOTHING_NEW);
    EXPECT_EQ(kr_reader_growing_state(reader, &state), KR_OK);
    EXPECT_EQ(state, 2u);
    kr_index* index = nullptr;
    const kr_index_entry* entries = nullptr;
    uint64_t count = 0;
    ASSERT_EQ(kr_reader_load_index(reader, 0, 0, &index), KR_OK);
    EXPECT_EQ(kr_index_entries(index, &entries, &count), KR_OK);
    EXPECT_EQ(count, 10u);
    EXPECT_EQ(kr_index_free(index), KR_OK);
    ASSERT_EQ(kr_reader_open(reader, "clip.avi"), KR_OK);
    EXPECT_EQ(kr_reader_growing_state(reader, &state), KR_OK);
    EXPECT_EQ(state, 2u) << "the same path stays growing";
}
