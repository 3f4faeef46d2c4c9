// Slots 20 to 23 of the finished library, on a file on disk.
#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <gtest/gtest.h>

using namespace KrTest;

TEST(AllStreamsPublic, StreamsOfAFile_WithTheirFormatsAndChunks)
{
    SKrSimpleAvi avi;
    avi.index = EKrIndexKind::Both;
    avi.streams = {VideoStream({100, 0, 102}), PcmStream(), PcmStream({5, 6, 7})};
    avi.streams[2].header.rate = 12;
    avi.streams[0].keyFrameEvery = 2;
    const SKrBuiltAvi built = BuildSimpleAvi(avi);
    CKrTempFolder folder;
    CKrRef<IKrRiffReader> reader;
    ASSERT_EQ(KrCreateRiffReader(reader.Put()), 1);
    ASSERT_EQ(reader->Open(folder.Write(L"streams.avi", built.content).c_str()), 1);
    ASSERT_EQ(reader->GetStreamCount(), 3u);
    for (uint32_t stream = 0; stream < 3; ++stream)
    {
        SKrStreamProperties properties = {};
        properties.size = sizeof properties;
        ASSERT_EQ(reader->GetStreamProperties(stream, &properties), 1);
        EXPECT_EQ(properties.flags & 3u, 3u);
        EXPECT_EQ(properties.rate, stream == 2 ? 12u : stream == 1 ? 192000u : 25u);
        KrBytes format(properties.formatSize);
        EXPECT_EQ(reader->ReadStreamFormat(stream, format.data(), properties.formatSize), format.size());
        EXPECT_EQ(format, avi.streams[stream].format);

        CArray<SKrStreamIndexEntry> entries;
        ASSERT_EQ(reader->LoadStreamIndex(stream, 1, entries), 1);
        ASSERT_EQ(entries.GetSize(), 2);
        for (intptr_t number = 0; number < 2; ++number)
        {
            const SKrBuiltChunk& chunk = built.streamChunks[stream][static_cast<size_t>(number) + 1];
            EXPECT_EQ(entries[number].position, chunk.data);
            EXPECT_EQ(entries[number].size, chunk.size);
            EXPECT_EQ(entries[number].flags, stream == 0 && number == 0 ? 0u : 1u);
        }
    }
}
