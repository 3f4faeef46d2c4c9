// The checker of written files: accepts correct ones, and names the place of each field that is changed.
#include "tests/support/KrAviCheckerRules.h"
#include "tests/support/KrExpectWellFormed.h"
#include "tests/support/KrWrittenAviBuilder.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <string>

using namespace KrTest;

namespace
{
constexpr uint32_t kBlock = 7680; // the samples of one frame of 25 per second at 48 kHz in stereo
constexpr uint32_t kLargeFrame = 60'000'000;

SKrWritten WithAudio()
{
    SKrWritten from;
    from.pcm = SKrPcmFormat{};
    return from;
}

CKrWrittenAviBuilder FileOf(const SKrWritten& from, size_t frames, uint32_t frameSize)
{
    CKrWrittenAviBuilder file(from);
    for (size_t number = 0; number < frames; ++number)
    {
        const uint32_t size = frameSize + static_cast<uint32_t>(number % 3);
        file.Group(from.pcm ? std::vector<uint32_t>{kBlock} : std::vector<uint32_t>{}, size);
    }
    file.Finish();
    return file;
}

// Frames with and without sound before them, as recordings have them.
const CKrWrittenAviBuilder& File()
{
    static const CKrWrittenAviBuilder file = FileOf(WithAudio(), 30, 1001);
    return file;
}
} // namespace

TEST(AviCheckerFiles, CorrectFiles_HaveNoProblem)
{
    for (const uint32_t sector : {1u, 2u, 512u, 4096u})
    {
        for (SKrWritten from : {SKrWritten{}, WithAudio()})
        {
            for (const size_t frames : {0u, 1u, 24u, 25u, 60u})
            {
                SCOPED_TRACE(testing::Message() << sector << " bytes, " << frames << " frames");
                from.bytesPerSector = sector;
                from.queuedVideo = frames;
                const SKrCheckedAvi checked = ExpectWellFormed(FileOf(from, frames, 498).Content(), from);
                EXPECT_EQ(checked.video.size(), frames);
                EXPECT_EQ(checked.audio.size(), from.pcm ? frames : 0);
                EXPECT_EQ(checked.videoIndexes.size(), 1u);
                EXPECT_EQ(checked.audioIndexes.size(), from.pcm ? 1u : 0u);
                EXPECT_EQ(checked.segments.size(), 2u);
            }
        }
    }
}

TEST(AviCheckerFiles, CorrectFilesOfEveryKind_HaveNoProblem)
{
    for (uint32_t code = 0; code < 8; ++code)
    {
        SKrWritten from = WithAudio();
        from.frameRate = code;
        ExpectWellFormed(FileOf(from, 130, 333).Content(), from);
    }
    SKrWritten plain{.width = 1440, .height = 1080, .bitCount = 8, .codec = "", .frameRate = 3};
    plain.scanMode = 0xFF;
    plain.aspectHorizontal = 4;
    plain.aspectVertical = 3;
    plain.pcm = SKrPcmFormat{6, 96000, 24};
    ExpectWellFormed(FileOf(plain, 40, 100).Content(), plain);
}

TEST(AviCheckerFiles, FullIndexes_AreFollowedByTheNext)
{
    for (const size_t frames : {4027u, 4028u, 8057u})
    {
        const SKrCheckedAvi checked = ExpectWellFormed(FileOf({}, frames, 5).Content(), {});
        EXPECT_EQ(checked.videoIndexes.size(), frames / 4028 + 1);
    }
    CKrWrittenAviBuilder file(WithAudio());
    for (int frame = 0; frame < 4200; ++frame)
        file.Group(frame % 2 == 0 ? std::vector<uint32_t>{2 * kBlock} : std::vector<uint32_t>{}, 9);
    file.LastAudio(12);
    file.Finish();
    const SKrCheckedAvi checked = ExpectWellFormed(file.Content(), WithAudio());
    ASSERT_EQ(checked.audioIndexes.size(), 2u) << "follows the video index, half empty";
    EXPECT_EQ(checked.audioIndexes[0].chunks.size(), 2015u);
    EXPECT_EQ(checked.order.substr(0, 6), "AVVAVV");
}

TEST(AviCheckerFiles, SegmentsBeyond4Gigabytes_AreFollowed)
{
    for (const SKrWritten& from : {SKrWritten{}, WithAudio()})
    {
        const CKrWrittenAviBuilder file = FileOf(from, 80, kLargeFrame);
        const SKrCheckedAvi checked = ExpectWellFormed(file.Content(), from);
        EXPECT_EQ(checked.segments.size(), 6u);
        EXPECT_EQ(checked.segments.back(), file.Content().Size());
        EXPECT_GT(checked.segments.back(), uint64_t{4'800'000'000});
        EXPECT_EQ(checked.video[16].segment, 0u);
        EXPECT_EQ(checked.video[17].segment, 1u);
        EXPECT_EQ(checked.videoIndexes.size(), 2u) << "the first one reaches no further";
    }
}

TEST(AviCheckerFiles, Expectation_TurnsProblemsIntoFailures)
{
    static CKrFileContent file;
    file = File().Content();
    ExpectWellFormed(file, WithAudio());
    file.PutU32(0, 0);
    EXPECT_NONFATAL_FAILURE(ExpectWellFormed(file, WithAudio()), "at 0: no segment");
}

TEST(AviCheckerFiles, FileOfAnotherOrigin_IsReported)
{
    const auto change = [](auto member, auto value)
    {
        SKrWritten from = WithAudio();
        from.*member = value;
        return CheckWrittenAvi(File().Content(), from).problems;
    };
    EXPECT_NE(change(&SKrWritten::width, 704u), KrProblems{});
    EXPECT_NE(change(&SKrWritten::height, 480u), KrProblems{});
    EXPECT_NE(change(&SKrWritten::bitCount, uint8_t{16}), KrProblems{});
    EXPECT_NE(change(&SKrWritten::codec, "DVSD"), KrProblems{});
    EXPECT_NE(change(&SKrWritten::frameRate, 3u), KrProblems{});
    EXPECT_NE(change(&SKrWritten::scanMode, uint8_t{0}), KrProblems{});
    EXPECT_NE(change(&SKrWritten::aspectHorizontal, 1u), KrProblems{});
    EXPECT_NE(change(&SKrWritten::aspectVertical, 1u), KrProblems{});
    EXPECT_NE(change(&SKrWritten::pcm, std::nullopt), KrProblems{});
    EXPECT_NE(change(&SKrWritten::pcm, SKrPcmFormat{1, 48000, 16}), KrProblems{});
    EXPECT_NE(change(&SKrWritten::bytesPerSector, 1024u), KrProblems{});
    EXPECT_NE(change(&SKrWritten::queuedVideo, size_t{31}), KrProblems{});
    EXPECT_EQ(change(&SKrWritten::queuedVideo, size_t{30}), KrProblems{});
}

namespace
{
// Where a problem is found.
enum class EAt
{
    Byte,  // that was changed
    Value, // of 32 bits that it belongs to
    Chunk  // whose header starts there
};

// A byte in a chunk of the file, by its distance from the chunk's header.
struct SField
{
    const char* chunk; // id, or type of a list
    size_t number;     // of this id
    size_t offset;
    const char* name;
    uint8_t change = 1; // bits
    EAt at = EAt::Byte;
};

std::ostream& operator<<(std::ostream& out, const SField& field)
{
    return out << field.chunk << ' ' << field.name;
}

constexpr size_t kUsed = 30; // entries

const SField kFields[] = {
    {"AVI ", 0, 0, "id", 1, EAt::Chunk},
    {"AVI ", 0, 4, "size, odd", 1, EAt::Chunk},
    {"AVI ", 0, 7, "size, 16 MB more", 1, EAt::Chunk},
    {"AVI ", 0, 8, "type", 1, EAt::Chunk},
    {"hdrl", 0, 0, "id"},
    {"hdrl", 0, 4, "size"},
    {"hdrl", 0, 8, "type"},
    {"avih", 0, 0, "id"},
    {"avih", 0, 4, "size"},
    {"avih", 0, 8, "microseconds per frame"},
    {"avih", 0, 15, "data rate, 16 MB more", 1, EAt::Value},
    {"avih", 0, 17, "padding granularity"},
    {"avih", 0, 20, "has an index", 0x10},
    {"avih", 0, 21, "trust the chunk types", 0x08},
    {"avih", 0, 24, "frames"},
    {"avih", 0, 28, "initial frames"},
    {"avih", 0, 32, "streams"},
    {"avih", 0, 36, "suggested buffer size"},
    {"avih", 0, 40, "width"},
    {"avih", 0, 44, "height"},
    {"avih", 0, 48, "reserved"},
    {"avih", 0, 63, "reserved, last"},
    {"strl", 0, 4, "video size"},
    {"strl", 0, 8, "video type"},
    {"strh", 0, 4, "video size"},
    {"strh", 0, 8, "video type"},
    {"strh", 0, 12, "video handler"},
    {"strh", 0, 16, "video flags"},
    {"strh", 0, 20, "video priority"},
    {"strh", 0, 22, "video language"},
    {"strh", 0, 24, "video initial frames"},
    {"strh", 0, 28, "video scale"},
    {"strh", 0, 32, "video rate"},
    {"strh", 0, 36, "video start"},
    {"strh", 0, 40, "video length"},
    {"strh", 0, 44, "video suggested buffer size"},
    {"strh", 0, 48, "video quality"},
    {"strh", 0, 52, "video sample size"},
    {"strh", 0, 56, "video frame, left"},
    {"strh", 0, 62, "video frame, bottom"},
    {"strf", 0, 4, "video size"},
    {"strf", 0, 8, "bitmap's own size"},
    {"strf", 0, 12, "bitmap width"},
    {"strf", 0, 16, "bitmap height"},
    {"strf", 0, 20, "planes"},
    {"strf", 0, 22, "bit count"},
    {"strf", 0, 24, "compression"},
    {"strf", 0, 28, "image size"},
    {"strf", 0, 32, "pels per meter"},
    {"strf", 0, 47, "important colours"},
    {"indx", 0, 4, "video size"},
    {"indx", 0, 8, "longs per entry"},
    {"indx", 0, 10, "sub-type"},
    {"indx", 0, 11, "type"},
    {"indx", 0, 12, "video entries in use"},
    {"indx", 0, 16, "chunk id"},
    {"indx", 0, 20, "reserved"},
    {"indx", 0, 31, "reserved, last"},
    {"indx", 0, 33, "video position"},
    {"indx", 0, 40, "standard index size"},
    {"indx", 0, 44, "frames of the index"},
    {"indx", 0, 48, "video unused slot"},
    {"indx", 0, 32255, "video last slot"},
    {"strl", 1, 4, "audio size"},
    {"strh", 1, 8, "audio type"},
    {"strh", 1, 12, "audio handler"},
    {"strh", 1, 28, "audio scale"},
    {"strh", 1, 32, "audio rate"},
    {"strh", 1, 40, "audio length"},
    {"strh", 1, 44, "audio suggested buffer size"},
    {"strh", 1, 48, "audio quality"},
    {"strh", 1, 52, "audio sample size"},
    {"strf", 1, 4, "audio size"},
    {"strf", 1, 8, "format tag"},
    {"strf", 1, 10, "channels"},
    {"strf", 1, 12, "samples per second"},
    {"strf", 1, 16, "bytes per second"},
    {"strf", 1, 20, "block align"},
    {"strf", 1, 22, "bits per sample"},
    {"strf", 1, 24, "size of what follows"},
    {"JUNK", 0, 0, "of 'strl', id"},
    {"JUNK", 0, 4, "of 'strl', size"},
    {"JUNK", 0, 9, "of 'strl', not zero"},
    {"indx", 1, 12, "audio entries in use"},
    {"indx", 1, 16, "audio chunk id"},
    {"indx", 1, 33, "audio position"},
    {"indx", 1, 44, "samples of the index"},
    {"indx", 1, 48, "audio unused slot"},
    {"odml", 0, 4, "size"},
    {"odml", 0, 8, "type"},
    {"dmlh", 0, 4, "size"},
    {"dmlh", 0, 8, "frames"},
    {"dmlh", 0, 12, "not zero"},
    {"dmlh", 0, 255, "last"},
    {"KrlA", 0, 0, "id"},
    {"KrlA", 0, 4, "size"},
    {"KrlA", 0, 8, "signature"},
    {"KrlA", 0, 17, "behind the signature"},
    {"KrlA", 0, 24, "byte 16"},
    {"KrlA", 0, 27, "mark"},
    {"KrlA", 0, 29, "scan mode"},
    {"KrlA", 0, 33, "horizontal"},
    {"KrlA", 0, 37, "vertical"},
    {"KrlA", 0, 38, "not zero"},
    {"KrlA", 0, 515, "last"},
    {"PrmA", 0, 4, "size"},
    {"PrmA", 0, 8, "atom"},
    {"PrmA", 0, 15, "atom's length"},
    {"PrmA", 0, 17, "version"},
    {"PrmA", 0, 23, "horizontal"},
    {"PrmA", 0, 27, "vertical"},
    {"CtsI", 0, 4, "size"},
    {"CtsI", 0, 10, "version"},
    {"CtsI", 0, 12, "not zero"},
    {"CtsI", 0, 20, "first of the FF"},
    {"CtsI", 0, 31, "last of the FF"},
    {"CtsI", 0, 32, "scan mode"},
    {"CtsI", 0, 203, "last"},
    {"JUNK", 1, 0, "of the headers, id"},
    {"JUNK", 1, 4, "of the headers, size"},
    {"JUNK", 1, 8, "of the headers, not zero"},
    {"movi", 0, 0, "id", 1, EAt::Chunk},
    {"movi", 0, 8, "type", 1, EAt::Chunk},
    {"movi", 0, 7, "size, 16 MB more", 1, EAt::Chunk},
    {"ix00", 0, 0, "id", 0x20, EAt::Chunk},
    {"ix00", 0, 4, "size", 1, EAt::Chunk},
    {"ix00", 0, 8, "longs per entry"},
    {"ix00", 0, 10, "sub-type"},
    {"ix00", 0, 11, "type"},
    {"ix00", 0, 12, "entries in use"},
    {"ix00", 0, 18, "chunk id"},
    {"ix00", 0, 20, "base"},
    {"ix00", 0, 27, "base, last"},
    {"ix00", 0, 28, "reserved"},
    {"ix00", 0, 32, "first offset"},
    {"ix00", 0, 36, "first size"},
    {"ix00", 0, 39, "no key frame", 0x80},
    {"ix00", 0, 41, "second offset"},
    {"ix00", 0, 32 + 8 * kUsed - 4, "last size"},
    {"ix00", 0, 32 + 8 * kUsed, "unused entry"},
    {"ix00", 0, 32255, "last entry"},
    {"ix01", 0, 4, "size", 1, EAt::Chunk},
    {"ix01", 0, 12, "entries in use"},
    {"ix01", 0, 16, "chunk id"},
    {"ix01", 0, 21, "base"},
    {"ix01", 0, 36, "first size"},
    {"ix01", 0, 39, "no key frame", 0x80},
    {"ix01", 0, 32 + 8 * kUsed, "unused entry"},
    {"01wb", 0, 0, "id", 1, EAt::Chunk},
    {"00dc", 0, 0, "id", 1, EAt::Chunk},
    {"00dc", 0, 3, "id, uncompressed", 'c' ^ 'b', EAt::Chunk},
    {"JUNK", 2, 0, "behind a chunk, id", 1, EAt::Chunk},
    {"JUNK", 2, 4, "behind a chunk, size", 1, EAt::Chunk},
    {"JUNK", 2, 8, "behind a chunk, not zero"},
    {"JUNK", 61, 8, "behind the last chunk, not zero"},
    {"idx1", 0, 0, "id"},
    {"idx1", 0, 4, "size"},
    {"idx1", 0, 8, "marker"},
    {"idx1", 0, 12, "marker's flags"},
    {"idx1", 0, 17, "marker's offset"},
    {"idx1", 0, 20, "marker's size"},
    {"idx1", 0, 24, "id of the first entry"},
    {"idx1", 0, 28, "flags of the first entry", 0x10},
    {"idx1", 0, 33, "offset of the first entry"},
    {"idx1", 0, 36, "size of the first entry"},
    {"idx1", 0, 8 + 16 * (2 * kUsed) + 12, "size of the last entry"},
    {"idx1", 0, 8 + 16 * (2 * kUsed + 1), "filler"},
    {"idx1", 0, 8 + 16 * (2 * kUsed + 1) + 4, "filler, not zero"},
};

class AviCheckerField : public testing::TestWithParam<SField>
{
};

// Chunk, its number and the place in it, such as strh1_28.
std::string NameOf(const testing::TestParamInfo<SField>& field)
{
    std::string name = field.param.chunk + std::to_string(field.param.number);
    std::erase(name, ' ');
    return name + '_' + std::to_string(field.param.offset);
}
} // namespace

TEST_P(AviCheckerField, Change_IsReportedWhereItIs)
{
    const SField& field = GetParam();
    CKrFileContent file = File().Content();
    const std::vector<SKrBuiltChunk> chunks = File().Chunks();
    const SKrBuiltChunk chunk = FindChunk(chunks, field.chunk, field.number);
    const uint64_t position = chunk.header + field.offset;
    ASSERT_LT(position, chunk.end) << "a byte of the chunk";
    KrBytes byte = file.Range(position, 1);
    byte[0] = static_cast<uint8_t>(byte[0] ^ field.change);
    file.Put(position, byte);

    const KrProblems problems = CheckWrittenAvi(file, WithAudio()).problems;
    ASSERT_NE(problems, KrProblems{});
    uint64_t expected = position;
    if (field.at == EAt::Value)
        expected = chunk.header + field.offset / 4 * 4;
    else if (field.at == EAt::Chunk)
        expected = chunk.header;
    EXPECT_EQ(problems[0].substr(0, problems[0].find(':')), "at " + std::to_string(expected)) << problems[0];
}

INSTANTIATE_TEST_SUITE_P(Fields, AviCheckerField, testing::ValuesIn(kFields), NameOf);
