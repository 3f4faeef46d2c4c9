// Damaged files: every prefix of a file, and every byte of its headers changed.
#include "tests/reader/HeaderParseInnerSupport.h"

#include "reader/KrStreamChunkDetection.h"
#include "tests/reader/HeaderParseSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace KrTest;

namespace
{
// Both kinds of index, a video and an audio stream, a private chunk.
SKrBuiltAvi WholeFile()
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({10, 11, 12}), PcmStream({20, 20, 20}, {}, 18)};
    avi.index = EKrIndexKind::Both;
    avi.superIndexSlots = 2;
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    return BuildSimpleAvi(avi);
}

// Loads both indexes; all entries must lie inside the file.
void LoadIndexes(CKrRiffReader& reader, std::ostream& out)
{
    CArray<SKrChunkIndexEntry> entries;
    SKrAudioChunkPattern pattern = {};
    for (const bool video : {true, false})
    {
        const int loaded = video ? reader.LoadVideoIndex(entries) : reader.LoadAudioIndex(entries, &pattern);
        out << " load " << loaded;
        for (int index = 0; loaded == 1 && index < static_cast<int>(entries.GetSize()); ++index)
        {
            EXPECT_LT(entries[index].position, reader.GetFileLength());
            out << ' ' << entries[index].position << '+' << entries[index].size;
        }
    }
}

// Walks all segments with their direct sub-chunks.
void Walk(CKrRiffReader& reader, std::ostream& out)
{
    uint32_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    uint64_t offset = 0;
    SKrRiffChunkNode* segment = nullptr;
    for (int more = reader.FindFirstRiffSegment(); more == 1;)
    {
        more = reader.FindNextRiffSegment(&type, &size, &offset, &segment);
        out << " segment " << offset;
        for (int next = reader.FindFirstSubChunk(segment); next == 1;)
        {
            next = reader.FindNextSubChunk(&id, &type, &size, &offset, nullptr);
            EXPECT_LE(offset, reader.GetFileLength());
            out << ' ' << offset;
        }
    }
}

// All that a host can query from a file, as text. Checks the reader's guarantees for any file on the way.
std::string Answers(const CKrFileContent& content)
{
    CKrParsedInMemory file(content);
    EXPECT_TRUE(file.Status() == 0 || file.Status() == 1);
    EXPECT_EQ(file.Reader().GetFileLength(), file.Status() == 1 ? content.Size() : 0);
    if (file.Status() != 1)
        return "refused";

    const SKrVideoAnswer video = AskVideo(file.Reader());
    EXPECT_TRUE(video.chunkId == 0 || IsStreamDataChunkId(video.chunkId)) << video.Id();
    EXPECT_EQ(video.valid == 1, file.State().videoFormat.displayWidth != 0 &&
                                    file.State().videoFormat.displayHeight != 0 &&
                                    file.State().videoFormat.frameRate < 8);
    std::ostringstream out;
    out << "video " << video.Id() << ' ' << video.frames;
    if (video.valid == 1)
    {
        out << ' ' << video.compression << ' ' << video.bitCount << ' ' << video.format.displayWidth << ' '
            << video.format.displayHeight << ' ' << video.format.reservedA << ' ' << video.format.aspectMode
            << ' ' << video.format.frameRate << ' ' << video.format.scanMode << ' ' << video.format.reservedB
            << ' ' << video.format.width << ' ' << video.format.height;
    }
    const SKrAudioAnswer audio = AskAudio(file.Reader());
    EXPECT_LE(file.State().audioStreamCount, kMaxAudioStreams);
    out << " audio " << audio.Id();
    if (audio.status == 1 && audio.valid == 1)
    {
        out << ' ' << audio.format.formatTag << ' ' << audio.format.channels << ' '
            << audio.format.samplesPerSec << ' ' << audio.format.avgBytesPerSec << ' '
            << audio.format.blockAlign << ' ' << audio.format.bitsPerSample << ' ' << audio.duration;
    }
    LoadIndexes(file.Reader(), out);
    Walk(file.Reader(), out);
    return out.str();
}

// Calls `use` with the results for the file with each change of one byte: all zeros, all ones, all bits
// flipped, each bit flipped.
template <class Use>
void ForEachChange(const CKrFileContent& whole, uint64_t position, Use&& use)
{
    const uint8_t old = whole.Range(position, 1)[0];
    std::vector<int> changes = {0x00, 0xFF, old ^ 0xFF};
    for (int bit = 0; bit < 8; ++bit)
        changes.push_back(old ^ 1 << bit);
    for (const int change : changes)
    {
        if (change == old)
            continue;
        SCOPED_TRACE("byte " + std::to_string(position) + " is " + std::to_string(change));
        CKrFileContent changed = whole;
        changed.Put(position, KrBytes{static_cast<uint8_t>(change)});
        use(Answers(changed));
    }
}

struct SField
{
    const char* name;
    uint64_t position;
    uint64_t size;
};

template <class Use>
void ForEachChange(const SKrBuiltAvi& built, const std::vector<SField>& fields, Use&& use)
{
    for (const auto& [name, position, size] : fields)
    {
        SCOPED_TRACE(name);
        for (uint64_t index = 0; index < size; ++index)
            ForEachChange(built.content, position + index, use);
    }
}
} // namespace

TEST(HeaderParseDamage, EveryPrefix_OpensExactlyWhereAChunkIsFound)
{
    const SKrBuiltAvi built = WholeFile();
    const uint64_t afterHdrl = built.Find("hdrl").end;
    const uint64_t afterMoviHeader = built.Find("movi").header + 12;
    const uint64_t firstChunk = built.streamChunks[0][0].header;
    ASSERT_EQ(built.Find("KrlA").header, afterHdrl);
    ASSERT_EQ(firstChunk, afterMoviHeader);
    size_t opened = 0;
    for (uint64_t size = 0; size <= built.content.Size(); ++size)
    {
        SCOPED_TRACE(size);
        CKrFileContent prefix = built.content;
        prefix.Resize(size);
        CKrParsedInMemory file(prefix);
        // 'movi' without a chunk fails; before 'movi' is reached, the private chunk after 'hdrl' counts as
        // one.
        const bool moviSeen = size >= afterMoviHeader;
        const bool expected = size > 200 && size >= (moviSeen ? firstChunk : afterHdrl) + 8;
        ASSERT_EQ(file.Status(), expected ? 1 : 0);
        opened += expected;
        if (!expected)
            continue;
        const SKrVideoAnswer video = AskVideo(file.Reader());
        EXPECT_EQ(video.valid, 1);
        EXPECT_EQ(video.frames, 3u);
        EXPECT_EQ(video.Id(), moviSeen ? "00dc" : "none");
        EXPECT_EQ(video.format.displayWidth, size >= built.Find("KrlA").end ? 1024 : 720);
        EXPECT_EQ(AskAudio(file.Reader()).Id(),
                  size >= built.streamChunks[1][0].header + 8 ? "01wb" : "none");
        EXPECT_EQ(file.State().audioStreamCount, 1);
        EXPECT_NE(Answers(prefix), "refused");
    }
    EXPECT_GT(opened, 500u);
}

TEST(HeaderParseDamage, EveryByteOfTheHeadersChanged_KeepsThePromises)
{
    const SKrBuiltAvi built = WholeFile();
    const std::string whole = Answers(built.content);
    ASSERT_NE(whole, "refused");
    size_t refused = 0;
    size_t changed = 0;
    size_t same = 0;
    const uint64_t privateData = built.Find("KrlA").data + 30; // meaningless from here on
    for (uint64_t position = 0; position < built.streamChunks[1][0].data; ++position)
    {
        if (position > privateData && position < built.Find("KrlA").end)
            continue;
        ForEachChange(built.content, position,
                      [&](const std::string& answers) {
                          ++(answers == "refused" ? refused : answers == whole ? same : changed);
                      });
    }
    EXPECT_GT(refused, 0u);
    EXPECT_GT(changed, 0u);
    EXPECT_GT(same, 0u);
}

TEST(HeaderParseDamage, FieldsOfNoMeaning_ChangeNothing)
{
    const SKrBuiltAvi built = WholeFile();
    const uint64_t avih = built.Find("avih").data;
    const uint64_t videoHeader = built.Find("strh").data;
    const uint64_t audioHeader = built.Find("strh", 1).data;
    const uint64_t bitmap = built.Find("strf").data;
    const uint64_t wave = built.Find("strf", 1).data;
    const std::string whole = Answers(built.content);
    ForEachChange(built,
                  {{"frame duration, data rate, padding", avih, 12},
                   {"flags but the lowest byte", avih + 13, 3},
                   {"initial frames", avih + 20, 4},
                   {"buffer size, width, height, reserved", avih + 28, 28},
                   {"video: handler, flags, priority, language, initial frames", videoHeader + 4, 16},
                   {"video: start, length, buffer size, quality, sample size, frame", videoHeader + 28, 28},
                   {"audio: handler, flags, priority, language, initial frames", audioHeader + 4, 16},
                   {"audio: start", audioHeader + 28, 4},
                   {"audio: buffer size, quality", audioHeader + 36, 8},
                   {"audio: frame", audioHeader + 48, 8},
                   {"bitmap: size", bitmap, 4},
                   {"bitmap: planes", bitmap + 12, 2},
                   {"bitmap: image size, resolution, colours", bitmap + 20, 20},
                   {"wave: extra size", wave + 16, 2}},
                  [&](const std::string& answers) { EXPECT_EQ(answers, whole); });
}

TEST(HeaderParseDamage, FieldsOfMeaning_Show)
{
    const SKrBuiltAvi built = WholeFile();
    const uint64_t bitmap = built.Find("strf").data;
    const std::string whole = Answers(built.content);
    ForEachChange(built,
                  {{"file header", 0, 4},
                   {"form type", 8, 4},
                   {"header list", built.Find("hdrl").header, 4},
                   {"header list type", built.Find("hdrl").data, 4},
                   {"main header id", built.Find("avih").header, 4},
                   {"frames", built.Find("avih").data + 16, 4},
                   {"stream list type", built.Find("strl").data, 4},
                   {"stream header id", built.Find("strh").header, 4},
                   {"stream header size", built.Find("strh").header + 4, 4},
                   {"stream type", built.Find("strh").data, 4},
                   {"format id", built.Find("strf").header, 4},
                   {"width and height", bitmap + 4, 8},
                   {"bit count and compression", bitmap + 14, 6},
                   {"audio format", built.Find("strf", 1).data, 16},
                   {"audio length", built.Find("strh", 1).data + 32, 4},
                   {"'movi'", built.Find("movi").data, 4}},
                  [&](const std::string& answers) { EXPECT_NE(answers, whole); });
}
