// Any bytes as a file of callbacks, opened and used through the C interface: the first bytes choose the read
// that fails, how much one read gives, and handles that are wrong.
#include "fuzz/KrFuzzing.h"
#include "tests/bindings/KrCSupport.h"

using namespace KrTest;

namespace
{
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
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    KrFuzz::CKrScript script(data, size);
    const uint32_t failing = script.Number(1);
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
