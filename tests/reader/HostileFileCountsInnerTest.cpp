// Counts and sizes that the file cannot back, in every field.
#include "tests/reader/HostileFileSupport.h"

using namespace KrTest;

namespace KrTest
{
// A 32-bit field of a chunk.
struct SKrCountField
{
    const char* name;
    const char* chunk;
    size_t number;
    int64_t offset; // from the payload: -4 is the size field
};

class HostileFileCount : public testing::TestWithParam<SKrCountField>
{
};
} // namespace KrTest

namespace
{
constexpr uint32_t kAllOnes = 0xFFFFFFFF;

constexpr SKrCountField kFields[] = {
    {"RiffSize", "AVI ", 0, -4},
    {"SecondSegmentSize", "AVIX", 0, -4},
    {"HeaderListSize", "hdrl", 0, -4},
    {"MainHeaderSize", "avih", 0, -4},
    {"StreamCount", "avih", 0, 24},
    {"VideoListSize", "strl", 0, -4},
    {"AudioListSize", "strl", 1, -4},
    {"StreamHeaderSize", "strh", 0, -4},
    {"VideoFormatSize", "strf", 0, -4},
    {"AudioFormatSize", "strf", 1, -4},
    {"AudioFormatExtraSize", "strf", 1, 14},
    {"SuperIndexSize", "indx", 0, -4},
    {"SuperIndexEntries", "indx", 0, 4},
    {"FirstStdIndexLow", "indx", 0, 24},
    {"FirstStdIndexHigh", "indx", 0, 28},
    {"SecondStdIndexLow", "indx", 0, 40},
    {"StdIndexSize", "ix00", 0, -4},
    {"StdIndexEntries", "ix00", 0, 4},
    {"StdIndexBaseLow", "ix00", 0, 12},
    {"StdIndexBaseHigh", "ix00", 0, 16},
    {"StdIndexOffset", "ix00", 0, 24},
    {"StdIndexChunkSize", "ix00", 0, 28},
    {"AudioStdIndexEntries", "ix01", 1, 4},
    {"PrivateChunkSize", "KrlA", 0, -4},
    {"OtherPrivateChunkSize", "CtsI", 0, -4},
    {"MoviSize", "movi", 0, -4},
    {"FrameSize", "00dc", 0, -4},
    {"AudioChunkSize", "01wb", 1, -4},
    {"OldIndexSize", "idx1", 0, -4},
    {"OldIndexOffset", "idx1", 0, 8},
};

void Set(SKrBuiltAvi& built, const SKrCountField& field, uint32_t value)
{
    const auto found = std::ranges::find_if(built.chunks, [&](const SKrBuiltChunk& chunk)
                                            { return chunk.id == field.chunk || chunk.type == field.chunk; });
    if (found == built.chunks.end()) // not in a file of this kind
        return;
    const SKrBuiltChunk chunk = built.Find(field.chunk, field.number);
    built.content.PutU32(chunk.data + static_cast<uint64_t>(field.offset), value);
}

// A header list that extends past the file's end hides the chunks of the streams, and an empty 'movi' has
// none.
int StatusWith(const SKrCountField& field, uint32_t value)
{
    const std::string_view name = field.name;
    const bool hidesStreams = name == "HeaderListSize" ? value != 0 : name == "MoviSize" && value == 0;
    return hidesStreams ? 0 : 1;
}

// Whether no stream is parsed when this is too large.
bool EndsTheHeaders(const SKrCountField& field)
{
    const char* const headers[] = {"hdrl", "avih", "strl", "strh", "strf"};
    return field.offset == -4 &&
           std::ranges::find(headers, std::string_view(field.chunk)) != std::end(headers);
}

SKrBuiltAvi FileOf(EKrIndexKind index, uint8_t stdSubType)
{
    return BuildSimpleAvi(RichAvi(index, stdSubType));
}
} // namespace

INSTANTIATE_TEST_SUITE_P(All, HostileFileCount, testing::ValuesIn(kFields),
                         [](const auto& value) { return std::string(value.param.name); });

TEST_P(HostileFileCount, OfAnyLargeValue_SizesNothing)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml, EKrIndexKind::Both})
    {
        for (const uint8_t stdSubType : {0, 0x10})
        {
            for (const uint32_t value : {kAllOnes, 0xFFFFFFFEu, 0x80000000u, 0x7FFFFFFFu, 0x10000000u, 0u})
            {
                SKrBuiltAvi built = FileOf(index, stdSubType);
                Set(built, GetParam(), value);
                CKrHostileFile file(built.content);
                ASSERT_EQ(file.Status(), StatusWith(GetParam(), value)) << value;
                if (file.Status() != 0)
                    file.UseEverything();
            }
        }
    }
}

TEST(HostileFileCounts, AllFieldsAtOnce_SizeNothing)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml, EKrIndexKind::Both})
    {
        SKrBuiltAvi built = FileOf(index, 0);
        for (const SKrCountField& field : kFields)
        {
            if (!EndsTheHeaders(field))
                Set(built, field, kAllOnes);
        }
        CKrHostileFile file(built.content);
        ASSERT_EQ(file.Status(), 1);
        EXPECT_EQ(file.Reader().StreamState().videoStreamNumber, 0u);
        EXPECT_EQ(file.Reader().StreamState().audioStreamCount, 1);
        file.UseEverything();

        for (const SKrCountField& field : kFields)
            Set(built, field, kAllOnes);
        EXPECT_EQ(CKrHostileFile(built.content).Status(), 0) << "the header list's size included";
    }
}

// Every 32 bits of a file, at any position.
TEST(HostileFileCounts, AnyFourBytesOfAllOnes_SizeNothing)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        const SKrBuiltAvi built = FileOf(index, 0);
        const KrBytes bytes = built.Bytes();
        const uint64_t hdrl = built.Find("hdrl").header;
        for (size_t at = 0; at + 4 <= bytes.size(); at += 2)
        {
            KrBytes changed = bytes;
            std::fill_n(changed.begin() + static_cast<ptrdiff_t>(at), 4, uint8_t{0xFF});
            CKrHostileFile file(changed);
            // The header list's id with half of its size, or all of its size: it hides the streams' chunks.
            ASSERT_EQ(file.Status(), at == hdrl + 2 || at == hdrl + 4 ? 0 : 1) << "bytes at " << at;
            if (file.Status() != 0)
                file.UseEverything();
            ASSERT_FALSE(testing::Test::HasFailure()) << "bytes at " << at;
        }
    }
}

TEST(HostileFileCounts, StreamCountOfAllOnes_KeepsTheStreamsThatAreThere)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        SKrBuiltAvi built = FileOf(index, 0);
        built.content.PutU32(built.Find("avih").data + 24, kAllOnes);
        CKrHostileFile file(built.content);
        ASSERT_EQ(file.Status(), 1);
        EXPECT_EQ(LoadVideoOf(file.Reader()).entries, ChunksOf(built, 0));
        EXPECT_EQ(LoadAudioOf(file.Reader()).entries, ChunksOf(built, 1));
        file.UseEverything();
    }
}

TEST(HostileFileCounts, EntriesOfAllOnes_GiveTheExistingChunks)
{
    SKrBuiltAvi super = FileOf(EKrIndexKind::OpenDml, 0);
    super.content.PutU32(super.Find("indx").data + 4, kAllOnes);
    CKrHostileFile superFile(super.content); // the zeros after the entries in use name an invalid index
    EXPECT_EQ(LoadVideoOf(superFile.Reader()).entries, ChunksOf(super, 0));
    superFile.UseEverything();

    SKrBuiltAvi standard = FileOf(EKrIndexKind::OpenDml, 0);
    standard.content.PutU32(standard.Find("ix00").data + 4, kAllOnes);
    CKrHostileFile standardFile(standard.content);
    EXPECT_EQ(LoadVideoOf(standardFile.Reader()).entries, ChunksOf(standard, 0));
    EXPECT_EQ(LoadAudioOf(standardFile.Reader()).entries, ChunksOf(standard, 1));

    SKrBuiltAvi old = FileOf(EKrIndexKind::Idx1, 0);
    old.content.PutU32(old.Find("idx1").header + 4, kAllOnes);
    CKrHostileFile oldFile(old.content);
    EXPECT_EQ(LoadVideoOf(oldFile.Reader()).entries, ChunksOf(old, 0));
    oldFile.UseEverything();
}

// Standard indexes that start inside each other: every even position of one of them, named by one super
// index.
TEST(HostileFileCounts, OverlappingStdIndexes_StayWithinTheFile)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::OpenDml);
    avi.superIndexSlots = 400;
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const uint64_t indx = built.Find("indx").data;
    for (const uint64_t step : {2, 8, 32})
    {
        for (uint64_t entry = 0; entry < 400; ++entry)
            PutU64(built.content, indx + 24 + 16 * entry, built.Find("ix00").header + step * (entry % 20));
        built.content.PutU32(indx + 4, 400);
        CKrHostileFile file(built.content);
        ASSERT_EQ(file.Status(), 1);
        file.UseEverything();
    }
}

// Every entry names the super index itself, whose entries are then read as chunks: 16 x 16 of them.
TEST(HostileFileCounts, SuperIndexThatNamesItself_GivesItsOwnBytes)
{
    SKrSimpleAvi avi = RichAvi(EKrIndexKind::OpenDml);
    avi.superIndexSlots = 16;
    SKrBuiltAvi built = BuildSimpleAvi(avi);
    const SKrBuiltChunk indx = built.Find("indx");
    KrBytes entries(16 * 16);
    built.content.Put(indx.data + 24, entries);
    for (uint64_t entry = 0; entry < 16; ++entry)
        PutU64(built.content, indx.data + 24 + 16 * entry, indx.header);
    built.content.PutU32(indx.data + 4, 16);
    CKrHostileFile file(built.content);
    const SKrLoadAnswer load = LoadVideoOf(file.Reader());
    ASSERT_EQ(load.status, 1);
    ASSERT_EQ(load.entries.size(), 16u * 16);
    for (size_t number = 0; number < load.entries.size(); ++number)
        EXPECT_EQ(load.entries[number],
                  (std::pair<uint64_t, uint32_t>(number % 2 == 0 ? indx.header : 0, 0)));
    file.UseEverything();
}

// A format block is read only as far as it is used; its whole size must still be backed by the file.
TEST(HostileFileCounts, FormatOf200Megabytes_IsNotReadWhole)
{
    for (const size_t stream : {0, 1})
    {
        SKrBuiltAvi built = FileOf(EKrIndexKind::Idx1, 0);
        built.content.PutU32(built.Find("strf", stream).header + 4, 200'000'000);
        built.content.Resize(300'000'000);
        CKrHostileFile file(built.content);
        ASSERT_EQ(file.Status(), 1);
        EXPECT_EQ(file.Reader().StreamState().videoStreamNumber, 0u);
        EXPECT_EQ(file.Reader().StreamState().audioStreamCount, 1);
        EXPECT_LT(file.Reads(), 30u);
        EXPECT_LT(file.BytesRead(), 1'000'000u);
    }
}
