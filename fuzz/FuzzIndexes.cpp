// Any bytes as a file: the index loads, twice each, with the same result, and the file while it grows.
#include "fuzz/KrFuzzing.h"
#include "reader/KrRiffReader.h"
#include "tests/reader/AllStreamsSupport.h"
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <memory>

using namespace KrTest;

namespace
{
template <class Load>
void LoadTwice(Load&& load, uint64_t size)
{
    SKrLoadAnswer first;
    try
    {
        first = load();
    }
    catch (const CInvalidArgException&)
    {
        return; // the second pass found more than the first
    }
    const SKrLoadAnswer second = load();
    EXPECT_EQ(first.status, second.status);
    EXPECT_EQ(first.entries, second.entries);
    for (const auto& [position, bytes] : first.entries)
        ASSERT_LT(position, size);
}

// The second load starts where a block may start, or end, or be in the middle.
void LoadStream(CKrRiffReader& reader, uint32_t stream, uint64_t first, uint64_t size)
{
    const SKrStreamAnswer all = LoadStreamOf(reader, stream);
    const uint32_t dropped = PropertiesOf(reader, stream).droppedEntries;
    for (const SKrChunkPlace& place : all.entries)
        ASSERT_LE(place.position + place.size, size);
    const SKrStreamAnswer rest = LoadStreamOf(reader, stream, first);
    ASSERT_EQ(rest.status, all.status);
    ASSERT_LE(rest.entries.size(), all.entries.size());
    ASSERT_TRUE(std::equal(rest.entries.rbegin(), rest.entries.rend(), all.entries.rbegin()));
    if (dropped == 0)
    {
        ASSERT_EQ(rest.entries.size(), all.entries.size() - std::min<size_t>(first, all.entries.size()));
    }
}

// The bytes come in two parts, the second one while the file is followed.
void Follow(const uint8_t* data, size_t size)
{
    CKrMemoryFileSystem files;
    std::unique_ptr<IKrWritableFile> file = files.CreateForWriting(L"b.avi");
    const size_t first = size - size / 4;
    const KrByteSpan parts[] = {{data, first}, {data + first, size - first}};
    ASSERT_FALSE(file->WriteAt(0, {&parts[0], 1}).Failed());
    CKrRiffReader reader(files);
    if (reader.OpenGrowing(L"b.avi") == 0)
        return;
    const auto check = [&](const SKrStreamAnswer& answer)
    {
        for (const SKrChunkPlace& place : answer.entries)
            ASSERT_LE(place.position + place.size, reader.GetFileLength());
    };
    check(LoadStreamOf(reader, 0));
    ASSERT_FALSE(file->WriteAt(first, {&parts[1], 1}).Failed());
    ASSERT_GE(reader.Refresh(), 0);
    check(LoadStreamOf(reader, 0));
    file.reset();
    ASSERT_GE(reader.Refresh(), 0);
    ASSERT_GE(reader.Refresh(), 0);
    ASSERT_GE(reader.GetGrowingState(), 2u);
    static_cast<void>(PropertiesOf(reader, 0));
    static_cast<void>(reader.GetLastRiffSegment());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CKrMemoryFileSystem files;
    files.Set(L"a.avi", KrFuzz::BytesOf(data, size));
    CKrRiffReader reader(files);
    Follow(data, size);
    if (reader.Open(L"a.avi") == 0)
        return 0;
    LoadTwice([&] { return LoadVideoOf(reader); }, size);
    LoadTwice([&] { return LoadAudioOf(reader); }, size);
    for (uint32_t stream = 0; stream < reader.GetStreamCount(); ++stream)
        LoadStream(reader, stream, data[size - 1] % 16u, size);
    return 0;
}
