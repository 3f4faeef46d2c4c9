// Files of callbacks: the same as files on a disk, whatever the callbacks do.
#include "platform/KrUtf8.h"
#include "tests/bindings/KrCSupport.h"
#include "tests/reader/PrivateChunkFiles.h"
#include "tests/support/KrOsTestFiles.h"
#include "tests/support/KrTempFolder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

using namespace KrTest;

namespace
{
using CInput = CTest;

// All that can be asked of an open reader, as text.
std::string Answers(kr_reader* reader)
{
    std::string text;
    const auto add = [&text](auto... values)
    {
        ((text += std::to_string(values) + " "), ...);
    };
    uint64_t size = 0;
    add(kr_reader_size(reader, &size), size);
    uint32_t streams = 0;
    add(kr_reader_stream_count(reader, &streams), streams);
    for (uint32_t number = 0; number <= streams; ++number)
    {
        kr_stream stream = {};
        stream.size = sizeof stream;
        add(kr_reader_stream(reader, number, &stream), stream.type, stream.chunk_id, stream.length,
            stream.format_size, stream.flags);
        kr_index* index = nullptr;
        add(kr_reader_load_index(reader, number, 0, &index));
        const kr_index_entry* entries = nullptr;
        uint64_t count = 0;
        if (index != nullptr)
            add(kr_index_entries(index, &entries, &count), count);
        for (uint64_t place = 0; place < count; ++place)
        {
            KrBytes bytes(entries[place].size);
            uint32_t copied = 0;
            add(entries[place].position, entries[place].flags,
                kr_reader_read(reader, entries[place].position, bytes.data(), entries[place].size, &copied));
            text.append(bytes.begin(), bytes.end());
        }
        kr_index_free(index);
    }
    int32_t mode = 9, x = 0, y = 0;
    add(kr_reader_scan_mode(reader, 0, &mode), mode, kr_reader_pixel_aspect(reader, 0, &x, &y), x, y);
    kr_video video = {};
    video.size = sizeof video;
    add(kr_reader_video(reader, &video), video.frames, video.width, video.frame_rate);
    return text;
}

// Whether a file opens: its bytes must give the same result, and the same answers, from memory.
bool OpensTheSameInMemory(kr_reader* reader, const std::string& path, CKrCInput& input)
{
    const kr_input record = input.Record();
    const kr_result onDisk = kr_reader_open(reader, path.c_str());
    const std::string fromDisk = onDisk == KR_OK ? Answers(reader) : std::string();
    EXPECT_EQ(kr_reader_open_input(reader, &record), onDisk) << path;
    if (onDisk == KR_OK)
    {
        EXPECT_TRUE(Answers(reader) == fromDisk) << path;
    }
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
    EXPECT_EQ(input.released, onDisk == KR_OK ? 1 : 0) << path;
    return onDisk == KR_OK;
}
} // namespace

TEST_F(CInput, FilesOfManyKinds_AreThoseOnTheDisk)
{
    size_t opened = 0;
    for (uint32_t seed = 1; seed <= 300; ++seed)
    {
        const CKrFileContent content =
            seed % 3 == 0 ? Built(seed % 7, EKrIndexKind{static_cast<int>(seed / 3 % 4)}).content
                          : CRandomAvi(seed).Build();
        files.Set(L"clip.avi", content);
        CKrCInput input(content.ToBytes());
        input.mostPerRead = seed % 2 == 0 ? 1000 : SIZE_MAX; // callbacks may give less than was asked for
        SCOPED_TRACE(seed);
        opened += OpensTheSameInMemory(reader, kPath, input);
    }
    EXPECT_GT(opened, 100u);
}

TEST_F(CInput, IsReleasedOnce_HoweverItEnds)
{
    CKrCInput one(Built().Bytes()), two(Built().Bytes()), bad(KrBytes(1000));
    const kr_input first = one.Record(), second = two.Record(), third = bad.Record();
    ASSERT_EQ(kr_reader_open_input(reader, &first), KR_OK);
    EXPECT_EQ(one.released, 0);
    ASSERT_EQ(kr_reader_open_input(reader, &second), KR_OK);
    EXPECT_EQ(one.released, 1);
    EXPECT_EQ(kr_reader_open_input(reader, &third), KR_ERROR_FORMAT);
    EXPECT_EQ(two.released, 1) << "the old file is closed first";
    EXPECT_EQ(bad.released, 0) << "it was never taken";
    ASSERT_EQ(kr_reader_open_input(reader, &first), KR_OK);
    OpenClip();
    EXPECT_EQ(one.released, 2);
    ASSERT_EQ(kr_reader_open_input(reader, &first), KR_OK);
    EXPECT_EQ(kr_reader_free(reader), KR_OK);
    EXPECT_EQ(one.released, 3);
    reader = nullptr;
}

TEST_F(CInput, CallbacksThatFail_AreReported)
{
    CKrCInput input(Built().Bytes());
    const kr_input record = input.Record();
    input.sizeError = 5;
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_ERROR_READ);
    EXPECT_EQ(LastReaderError().system_error, 5u);
    input.sizeError = 0;
    input.readError = 4711;
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_ERROR_READ);
    EXPECT_EQ(LastReaderError().system_error, 4711u);
    input.readError = 0;
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    input.readError = -3;
    uint8_t bytes[4] = {};
    uint32_t copied = 0;
    EXPECT_EQ(kr_reader_read(reader, 0, bytes, 4, &copied), KR_ERROR_READ);
    EXPECT_EQ(LastReaderError().system_error, static_cast<uint32_t>(-3));
    EXPECT_EQ(kr_reader_close(reader), KR_OK); // before its input goes
}

TEST_F(CInput, FailingReads_NeverHarm)
{
    CKrCInput input(Built().Bytes());
    const kr_input record = input.Record();
    ASSERT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    const int reads = (static_cast<void>(Answers(reader)), input.reads.load());
    for (int failing = 1; failing <= reads + 1; ++failing)
    {
        input.reads = 0;
        input.whileReading = [&]
        {
            input.readError = input.reads == failing ? 9 : 0;
        };
        if (kr_reader_open_input(reader, &record) == KR_OK)
            static_cast<void>(Answers(reader));
        input.whileReading = nullptr;
        input.readError = 0;
        EXPECT_EQ(kr_reader_open_input(reader, &record), KR_OK) << failing;
        EXPECT_EQ(kr_reader_close(reader), KR_OK);
    }
}

TEST_F(CInput, CallbackThatLiesAboutItsCount_IsAFailedRead)
{
    CKrCInput input(Built().Bytes());
    kr_input record = input.Record();
    record.read_at = [](void*, uint64_t, void*, size_t count, size_t* copied) -> int32_t
    {
        *copied = count + 1;
        return 0;
    };
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_ERROR_READ);
    EXPECT_EQ(LastReaderError().system_error, UINT32_MAX);
}

TEST_F(CInput, IncompleteRecords_AreRefused)
{
    CKrCInput input(Built().Bytes());
    kr_input record = input.Record();
    record.size = 8;
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_ERROR_ARGUMENT);
    record = input.Record();
    record.get_size = nullptr;
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_ERROR_ARGUMENT);
    record = input.Record();
    record.read_at = nullptr;
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_ERROR_ARGUMENT);
    record = input.Record();
    record.release = nullptr;
    EXPECT_EQ(kr_reader_open_input(reader, &record), KR_OK);
    EXPECT_EQ(kr_reader_close(reader), KR_OK);
}

// On the disk itself: why a file cannot be opened.
TEST(COsFiles, FailedOpens_SayWhy)
{
    CKrTempFolder folder;
    const std::string missing = Narrow(folder.PathOf(L"missing.avi"));
    const std::string written = Narrow(folder.PathOf(L"\u00FC\u4E2D.avi"));
    const std::string inside = Narrow(folder.PathOf(L"none/new.avi"));
    kr_reader* reader = nullptr;
    kr_writer* writer = nullptr;
    kr_writer* other = nullptr;
    ASSERT_EQ(kr_reader_create(&reader), KR_OK);
    ASSERT_EQ(kr_writer_create(&writer), KR_OK);
    ASSERT_EQ(kr_writer_create(&other), KR_OK);
    kr_error error = {};
    error.size = sizeof error;
    const kr_clip clip = ClipFor(false);
    EXPECT_EQ(kr_reader_open(reader, missing.c_str()), KR_ERROR_NOT_FOUND);
    EXPECT_EQ(kr_reader_last_error(reader, &error), KR_OK);
    EXPECT_EQ(error.system_error, 2u) << "of both systems";
    EXPECT_EQ(kr_reader_open_growing(reader, missing.c_str()), KR_ERROR_NOT_FOUND);
    EXPECT_EQ(kr_reader_open(reader, Narrow(folder.Path()).c_str()), KR_ERROR_ACCESS) << "a folder";
    ASSERT_EQ(kr_writer_open(writer, written.c_str(), &clip), KR_OK);
    EXPECT_EQ(kr_reader_open(reader, written.c_str()), KR_ERROR_IN_USE);
    EXPECT_EQ(kr_writer_open(other, written.c_str(), &clip), KR_ERROR_IN_USE);
    EXPECT_EQ(kr_writer_last_error(other, &error), KR_OK);
    EXPECT_NE(error.system_error, 0u);
    EXPECT_EQ(kr_writer_open(other, inside.c_str(), &clip), KR_ERROR_NOT_FOUND);
    EXPECT_EQ(kr_writer_open(other, Narrow(folder.Path()).c_str(), &clip), KR_ERROR_ACCESS);
    EXPECT_EQ(kr_writer_close(writer), KR_OK);
    EXPECT_EQ(kr_reader_open(reader, written.c_str()), KR_OK);
    EXPECT_EQ(kr_writer_open(writer, written.c_str(), &clip), KR_ERROR_IN_USE) << "by the reader";
    EXPECT_EQ(kr_reader_free(reader), KR_OK);
    EXPECT_EQ(kr_writer_free(writer), KR_OK);
    EXPECT_EQ(kr_writer_free(other), KR_OK);
}

// On the disk itself: a few files that are made here, and those in the folder that KR_CORPUS names.
TEST(COsFiles, OfACorpus_AreTheSameInMemory)
{
    CKrTempFolder folder;
    std::vector<std::filesystem::path> paths;
    for (uint32_t seed = 1; seed <= 10; ++seed)
    {
        const std::wstring path = folder.PathOf(L"seed" + std::to_wstring(seed));
        ASSERT_TRUE(Os::WriteSparseFile(path, CRandomAvi(seed).Build()));
        paths.emplace_back(path);
    }
    if (const char* const corpus = std::getenv("KR_CORPUS"))
    {
        for (const auto& entry : std::filesystem::directory_iterator(corpus))
            paths.push_back(entry.path());
    }
    kr_reader* reader = nullptr;
    ASSERT_EQ(kr_reader_create(&reader), KR_OK);
    size_t opened = 0;
    for (const std::filesystem::path& path : paths)
    {
        std::ifstream file(path, std::ios::binary);
        CKrCInput input(KrBytes(std::istreambuf_iterator<char>(file), {}));
        opened += OpensTheSameInMemory(reader, Narrow(path.wstring()), input);
    }
    EXPECT_GT(opened, paths.size() / 2);
    EXPECT_EQ(kr_reader_free(reader), KR_OK);
    std::printf("%zu files, %zu of them open\n", paths.size(), opened);
}
