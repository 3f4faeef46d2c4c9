// Any bytes as a file of callbacks, opened and used through the C interface: the first bytes choose the read
// that fails, how much one read gives, and handles that are wrong. After a byte of all ones they are a script
// of a host's calls to a writer whose output is callbacks, which fail from some write on.
#include "fuzz/KrFuzzing.h"
#include "tests/bindings/KrCSupport.h"

#include <atomic>
#include <list>

using namespace KrTest;

namespace
{
constexpr uint32_t kWriterScript = 0xFF;
constexpr int kMostSteps = 200;

void UseIndex(kr_reader* reader, uint32_t stream, uint64_t first, uint64_t size)
{
    kr_index* index = nullptr;
    if (kr_reader_load_index(reader, stream, first, &index) != KR_OK)
        return;
    const kr_index_entry* entries = nullptr;
    uint64_t count = 0;
    ASSERT_EQ(kr_index_entries(index, &entries, &count), KR_OK);
    for (uint64_t number = 0; number < count; ++number)
    {
        ASSERT_LE(entries[number].position + entries[number].size, size);
        KrBytes bytes(std::min<uint32_t>(entries[number].size, 64) + 1);
        uint32_t copied = 0;
        static_cast<void>(kr_reader_read(reader, entries[number].position, bytes.data(),
                                         static_cast<uint32_t>(bytes.size()), &copied));
        ASSERT_LE(copied, bytes.size());
    }
    ASSERT_EQ(kr_index_free(index), KR_OK);
}

void UseReader(kr_reader* reader, uint32_t first)
{
    uint64_t size = 0;
    ASSERT_EQ(kr_reader_size(reader, &size), KR_OK);
    uint32_t count = 0;
    const bool isCounted = kr_reader_stream_count(reader, &count) == KR_OK;
    ASSERT_LE(count, 100u);
    for (uint32_t number = 0; number <= count; ++number)
    {
        kr_stream stream = {};
        stream.size = sizeof stream;
        const kr_result found = kr_reader_stream(reader, number, &stream);
        ASSERT_TRUE(!isCounted || number < count || found < 0);
        uint8_t format[64];
        uint32_t copied = 0;
        static_cast<void>(kr_reader_stream_format(reader, number, format, sizeof format, &copied));
        ASSERT_LE(copied, sizeof format);
        UseIndex(reader, number, first, size);
    }
    int32_t mode = 0, horizontal = 0, vertical = 0;
    for (uint32_t flavour = 0; flavour < 4; ++flavour)
    {
        static_cast<void>(kr_reader_scan_mode(reader, flavour, &mode));
        static_cast<void>(kr_reader_pixel_aspect(reader, flavour, &horizontal, &vertical));
    }
    ASSERT_TRUE(mode >= KR_SCAN_UNKNOWN && mode <= KR_SCAN_PROGRESSIVE);
    kr_video video = {};
    video.size = sizeof video;
    static_cast<void>(kr_reader_video(reader, &video));
    kr_audio audio = {};
    audio.size = sizeof audio;
    static_cast<void>(kr_reader_audio(reader, &audio));
    ASSERT_EQ(kr_reader_refresh(reader), KR_NOTHING_NEW);
}

// Every sample that is taken comes back once, every output that is opened is released once, and a file whose
// close succeeds has all of its frames.
class CKrWriterScript
{
public:
    explicit CKrWriterScript(KrFuzz::CKrScript& script) : m_script(script) {}

    void Run()
    {
        ASSERT_EQ(kr_writer_create(&m_writer), KR_OK);
        m_failingWrite = m_script.Byte();
        m_flushError = m_script.Byte() % 8 == 1 ? 5 : 0;
        SetOptions();
        for (int step = 0; step < kMostSteps && !m_script.IsAtEnd(); ++step)
            Step(m_script.Byte());
        Close();
        const kr_result freed = kr_writer_free(m_writer);
        ASSERT_EQ(freed, KR_OK) << "it was closed before";
        ASSERT_EQ(m_back, m_taken);
        for (const SOutput& output : m_outputs)
            ASSERT_EQ(output.bytes.released, output.isOpened ? 1 : 0);
    }

private:
    struct SOutput
    {
        CKrCOutput bytes;
        bool isOpened = false;
    };

    void SetOptions()
    {
        kr_recording_options options = {};
        options.size = sizeof options;
        ASSERT_EQ(kr_recording_options_default(&options), KR_OK);
        options.chunk_spacing_ms = options.submission_delay_ms = 0;
        options.queue_limit = m_script.Byte() * 64u;
        options.queue_wait_ms = 0;
        options.flags = m_script.Byte() % 4;
        ASSERT_EQ(kr_writer_set_options(m_writer, m_script.Byte() % 2 == 0 ? nullptr : &options), KR_OK);
    }

    void Open()
    {
        kr_clip clip = ClipFor(m_script.Byte() % 2 == 0);
        clip.frame_rate = m_script.Byte() % 9;
        clip.aspect_mode = m_script.Byte() % 6;
        SOutput& output = m_outputs.emplace_back();
        output.bytes.failingWrite = m_failingWrite;
        output.bytes.flushError = m_flushError;
        const kr_output record = output.bytes.Record();
        const kr_result opened = kr_writer_open_output(m_writer, &record, &clip);
        output.isOpened = opened == KR_OK;
        if (opened == KR_ERROR_ARGUMENT)
            m_outputs.pop_back(); // the one before stays open
    }

    void Close()
    {
        const bool wasOpen = (Status().state & KR_STATE_OPEN) != 0;
        if (kr_writer_close(m_writer) == KR_OK && wasOpen)
            Read(m_outputs.back().bytes.bytes);
    }

    kr_recording_status Status()
    {
        kr_recording_status status = {};
        status.size = sizeof status;
        EXPECT_EQ(kr_writer_status(m_writer, &status), KR_OK);
        return status;
    }

    void Read(const KrBytes& bytes)
    {
        CKrCInput input(bytes);
        const kr_input record = input.Record();
        kr_reader* reader = nullptr;
        kr_index* index = nullptr;
        const kr_index_entry* entries = nullptr;
        uint64_t count = 0;
        ASSERT_EQ(kr_reader_create(&reader), KR_OK);
        ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
        if (kr_reader_load_index(reader, 0, 0, &index) == KR_OK)
            ASSERT_EQ(kr_index_entries(index, &entries, &count), KR_OK);
        ASSERT_GE(count, Status().frames_written); // direct chunks are not counted
        kr_index_free(index);
        ASSERT_EQ(kr_reader_free(reader), KR_OK);
    }

    void Step(uint8_t what)
    {
        const uint32_t length = what >= 0x80 ? m_script.Number(2) : m_script.Byte();
        const kr_release_fn release = [](void* context, const void*)
        {
            ++static_cast<CKrWriterScript*>(context)->m_back;
        };
        switch (what % 8)
        {
        case 0:
        case 1:
            m_taken += kr_writer_add_video(m_writer, m_bytes.data(), length, release, this) == KR_OK;
            break;
        case 2:
            m_taken += kr_writer_add_audio(m_writer, m_bytes.data(), length, release, this) == KR_OK;
            break;
        case 3:
            static_cast<void>(kr_writer_copy_video(m_writer, m_bytes.data(), length));
            break;
        case 4:
            static_cast<void>(kr_writer_copy_audio(m_writer, m_bytes.data(), length));
            break;
        case 5:
            static_cast<void>(kr_writer_write_video_chunk(m_writer, m_bytes.data(), length));
            break;
        case 6:
            Close();
            break;
        default:
            Open();
            break;
        }
    }

    KrFuzz::CKrScript& m_script;
    CKrManualClock m_clock;
    KrPlatform::CClockScope m_scope{m_clock};
    const KrBytes m_bytes = KrBytes(0x10000, 7);
    std::list<SOutput> m_outputs;
    int m_failingWrite = 0;
    int32_t m_flushError = 0;
    kr_writer* m_writer = nullptr;
    int m_taken = 0;
    std::atomic<int> m_back = 0;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    KrFuzz::CKrScript script(data, size);
    const uint32_t failing = script.Number(1);
    if (failing == kWriterScript)
    {
        CKrWriterScript(script).Run();
        return 0;
    }
    const uint32_t most = script.Number(1);
    const uint32_t first = script.Number(1);
    const uint64_t wrong = script.Number(4);
    CKrCInput input(script.Rest());
    input.mostPerRead = most == 0 ? SIZE_MAX : most * 16;
    input.whileReading = [&]
    {
        input.readError = failing != 0 && static_cast<uint32_t>(input.reads) == failing ? 7 : 0;
    };
    const kr_input record = input.Record();
    kr_reader* reader = nullptr;
    EXPECT_EQ(kr_reader_create(&reader), KR_OK);
    const bool isOpen = kr_reader_open_input(reader, &record) == KR_OK;
    if (isOpen)
        UseReader(reader, first);
    auto* const other = reinterpret_cast<kr_reader*>(reinterpret_cast<uint64_t>(reader) ^ wrong);
    if (wrong != 0)
        EXPECT_EQ(kr_reader_close(other), KR_ERROR_HANDLE);
    EXPECT_EQ(kr_reader_free(reader), KR_OK);
    EXPECT_EQ(input.released, isOpen ? 1 : 0);
    return 0;
}
