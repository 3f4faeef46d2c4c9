// The detection of data chunk ids alone.
#include "reader/KrStreamChunkDetection.h"

#include "format/KrFourCC.h"
#include "reader/KrFileCursor.h"
#include "tests/reader/HeaderParseInnerSupport.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
uint32_t Id(char first, char second, char third, char fourth)
{
    const char text[] = {first, second, third, fourth, '\0'};
    return KrFourCC(text);
}

// A file in memory and a cursor on it.
class COpenContent
{
public:
    explicit COpenContent(const CKrAviBuilder& file)
    {
        m_files.Set(L"x", file.Content());
        m_file = m_files.OpenForReading(L"x");
        m_cursor.Attach(*m_file, file.Content().Size());
    }

    CKrFileCursor& Cursor() { return m_cursor; }

private:
    CKrMemoryFileSystem m_files;
    std::unique_ptr<IKrFile> m_file;
    CKrFileCursor m_cursor;
};

constexpr SKrDetectedChunks kUndetected{11, 22};

SKrRiffChunkInfo Record(const SKrBuiltChunk& chunk, uint32_t id, uint32_t type)
{
    return {id, chunk.size, type, chunk.data};
}

// 'LIST' 'movi' at the start of a file, then a chunk after it.
CKrAviBuilder MoviAndChunk()
{
    CKrAviBuilder file;
    file.List("movi", [&] { file.Chunk("00dc", KrBytes(4, 1)); });
    file.Chunk("01wb", KrBytes(4, 1));
    return file;
}
} // namespace

TEST(StreamDataChunkId, OfAllNumbers_OnlyZeroAndADecimalDigitPass)
{
    for (int first = 0; first < 256; ++first)
    {
        for (int second = 0; second < 256; ++second)
        {
            const bool expected = first == '0' && second >= '0' && second <= '9';
            const auto number = std::pair(static_cast<char>(first), static_cast<char>(second));
            ASSERT_EQ(IsStreamDataChunkId(Id(number.first, number.second, 'd', 'c')), expected)
                << first << ' ' << second;
            ASSERT_EQ(IsStreamDataChunkId(Id(number.first, number.second, 'w', 'b')), expected)
                << first << ' ' << second;
        }
    }
}

TEST(StreamDataChunkId, OfAllThirdCharacters_OnlyDAndWPass)
{
    for (int third = 0; third < 256; ++third)
    {
        const bool expected = third == 'd' || third == 'w';
        EXPECT_EQ(IsStreamDataChunkId(Id('0', '1', static_cast<char>(third), 'c')), expected) << third;
    }
}

TEST(StreamDataChunkId, FourthCharacter_MayBeAnything)
{
    for (int fourth = 0; fourth < 256; ++fourth)
    {
        EXPECT_TRUE(IsStreamDataChunkId(Id('0', '9', 'd', static_cast<char>(fourth)))) << fourth;
        EXPECT_TRUE(IsStreamDataChunkId(Id('0', '0', 'w', static_cast<char>(fourth)))) << fourth;
    }
}

TEST(StreamChunkDetection, MoviRecord_BoundsTheFirstChunkOnly)
{
    const CKrAviBuilder file = MoviAndChunk();
    const SKrRiffChunkInfo movi = Record(file.Find("movi"), kFccList, kFccMovi);
    COpenContent content(file);
    content.Cursor().SeekTo(12);
    SKrDetectedChunks detected = kUndetected;
    ASSERT_TRUE(DetectStreamChunkIds(content.Cursor(), &movi, 2, detected));
    EXPECT_EQ(detected.firstVideoId, KrFourCC("00dc"));
    EXPECT_EQ(detected.firstAudioId, KrFourCC("01wb"));

    content.Cursor().SeekTo(file.Find("01wb").header);
    detected = kUndetected;
    EXPECT_FALSE(DetectStreamChunkIds(content.Cursor(), &movi, 2, detected));
    EXPECT_EQ(detected.firstVideoId, kUndetected.firstVideoId);
    EXPECT_EQ(detected.firstAudioId, kUndetected.firstAudioId);
}

TEST(StreamChunkDetection, RecordOfAnotherKind_IsRefused)
{
    const CKrAviBuilder file = MoviAndChunk();
    COpenContent content(file);
    const SKrBuiltChunk movi = file.Find("movi");
    for (const auto& [id, type] : {std::pair(kFccList, kFccHdrl), std::pair(kFccRiff, kFccMovi),
                                   std::pair(kFccMovi, kFccMovi), std::pair(kFccList, 0u)})
    {
        const SKrRiffChunkInfo record = Record(movi, id, type);
        content.Cursor().SeekTo(12);
        SKrDetectedChunks detected = kUndetected;
        EXPECT_FALSE(DetectStreamChunkIds(content.Cursor(), &record, 1, detected));
        EXPECT_EQ(detected.firstVideoId, kUndetected.firstVideoId);
    }
}

TEST(StreamChunkDetection, NoRecord_StartsAtTheCursor)
{
    const CKrAviBuilder file = MoviAndChunk();
    COpenContent content(file);
    SKrDetectedChunks detected = kUndetected;
    ASSERT_TRUE(DetectStreamChunkIds(content.Cursor(), nullptr, 1, detected));
    EXPECT_EQ(detected.firstVideoId, 0u) << "inside the list that is passed over whole";
    EXPECT_EQ(detected.firstAudioId, KrFourCC("01wb"));

    content.Cursor().SeekTo(12);
    ASSERT_TRUE(DetectStreamChunkIds(content.Cursor(), nullptr, 1, detected));
    EXPECT_EQ(detected.firstVideoId, KrFourCC("00dc"));
    EXPECT_EQ(detected.firstAudioId, 0u) << "one stream was requested";
}

TEST(StreamChunkDetection, NoChunkLeft_IsRefused)
{
    const CKrAviBuilder file = MoviAndChunk();
    COpenContent content(file);
    SKrDetectedChunks detected = kUndetected;
    content.Cursor().SeekTo(file.Position() - 7);
    EXPECT_FALSE(DetectStreamChunkIds(content.Cursor(), nullptr, 1, detected));
    EXPECT_EQ(detected.firstAudioId, kUndetected.firstAudioId);
}
