// A host in C: writes a clip of ten frames, and reads each of them back. ClipInC OUT
#include <KrRiffUtils/kr_riff.h>

#include <stdio.h>
#include <string.h>

static unsigned char g_frame[64 * 48 * 3];

static kr_result write_clip(const char* path)
{
    kr_writer* writer = NULL;
    kr_clip clip = {.size = sizeof clip, .width = 64, .height = 48, .bit_count = 24, .aspect_mode = 3};
    clip.frame_rate = KR_RATE_25;
    clip.scan_mode = KR_SCAN_PROGRESSIVE;
    kr_result result = kr_writer_create(&writer);
    if (result == KR_OK)
        result = kr_writer_open(writer, path, &clip);
    for (int number = 0; result == KR_OK && number < 10; ++number)
    {
        memset(g_frame, number, sizeof g_frame);
        result = kr_writer_copy_video(writer, g_frame, sizeof g_frame);
    }
    const kr_result freed = kr_writer_free(writer); // closes the file: what is queued is written now
    return result != KR_OK ? result : freed;
}

static kr_result read_clip(const char* path)
{
    kr_reader* reader = NULL;
    kr_index* index = NULL;
    const kr_index_entry* entries = NULL;
    uint64_t count = 0;
    kr_result result = kr_reader_create(&reader);
    if (result == KR_OK)
        result = kr_reader_open(reader, path);
    if (result == KR_OK)
        result = kr_reader_load_index(reader, 0, 0, &index);
    if (result == KR_OK)
        result = kr_index_entries(index, &entries, &count);
    for (uint64_t number = 0; result == KR_OK && number < count; ++number)
    {
        uint32_t copied = 0;
        result = kr_reader_read(reader, entries[number].position, g_frame, sizeof g_frame, &copied);
        printf("frame %u: %u bytes of %u\n", (unsigned)number, (unsigned)copied, (unsigned)g_frame[0]);
    }
    kr_index_free(index);
    kr_reader_free(reader);
    return result;
}

int main(int count, char** arguments)
{
    kr_result result = write_clip(count == 2 ? arguments[1] : "");
    if (result == KR_OK)
        result = read_clip(arguments[1]);
    if (result != KR_OK)
        printf("%s\n", kr_error_text(result));
    return result == KR_OK ? 0 : 1;
}
