// Builds files as the library's writer must make them, chunk by chunk, and on request such as it must not
// make. Shares nothing with the checker, which these files test, but the bytes of a header's fields.
#ifndef KR_TESTS_SUPPORT_KRWRITTENAVIBUILDER_H
#define KR_TESTS_SUPPORT_KRWRITTENAVIBUILDER_H

#include "tests/support/KrAviBuilder.h"
#include "tests/support/KrAviChecker.h"

#include <cstdint>
#include <string>
#include <vector>

namespace KrTest
{
// Example:
//
//   CKrWrittenAviBuilder file({.pcm = SKrPcmFormat{}});
//   for (int frame = 0; frame < 30; ++frame)
//       file.Group({7680}, 1001);      // a block of sound, then a frame
//   file.Finish();
//   EXPECT_EQ(CheckWrittenAvi(file.Content(), written).problems, KrProblems{});
class CKrWrittenAviBuilder
{
public:
    // What is left out of the file at its start.
    enum class EStart
    {
        Whole,
        WithoutIndexes
    };

    explicit CKrWrittenAviBuilder(SKrWritten from, EStart start = EStart::Whole);

    // A frame and the audio before it, with the segment and the indexes that become due.
    void Group(const std::vector<uint32_t>& audioSizes, uint32_t videoSize);

    // Audio that is left at the end.
    void LastAudio(uint32_t size);

    // The single steps, wherever they are not due. Payloads above 1 MB are zeros, which cost no memory.
    void Data(bool isVideo, uint32_t size);
    void Pad();
    void StdIndex(bool isVideo);
    void Segment();
    void Chunk(const char* id, const KrBytes& data) { m_file.Chunk(id, data, {.pad = false}); }

    // Ends the file; the headers and indexes are filled now.
    void Finish();

    [[nodiscard]] const CKrFileContent& Content() const { return m_file.Content(); }
    [[nodiscard]] uint64_t Position() const { return m_file.Position(); }

    // All chunks in the order of the file.
    [[nodiscard]] std::vector<SKrBuiltChunk> Chunks() const { return m_file.Chunks(); }

private:
    struct SIndex
    {
        uint64_t position = 0;
        std::vector<SKrTestIdx1Entry> chunks{};
        std::vector<uint64_t> positions{}; // of their headers, beyond 32 bits too
    };
    struct SStream
    {
        std::string id;
        std::string indexId;
        std::vector<SIndex> indexes{};
        uint32_t largest = 0;
        uint64_t bytes = 0;
        uint32_t chunks = 0;
    };

    void Start();
    void Headers(CKrAviBuilder& out) const;
    void VideoStream(CKrAviBuilder& out) const;
    void AudioStream(CKrAviBuilder& out) const;
    void SuperIndex(CKrAviBuilder& out, const SStream& stream) const;
    void PrivateChunks(CKrAviBuilder& out) const;
    void OldIndex();
    void FillIndex(const SStream& stream, const SIndex& index);
    void Reserve(uint64_t bytes);
    void Sample(bool isVideo, uint32_t size);
    void NextIndex(bool isVideo);
    void Measure();
    [[nodiscard]] uint64_t Padded(uint32_t size) const;
    [[nodiscard]] uint64_t RoundUp(uint64_t value) const;

    SKrWritten m_from;
    CKrAviBuilder m_file;
    SStream m_video;
    SStream m_audio;
    std::vector<SKrTestIdx1Entry> m_oldIndex;
    uint64_t m_segmentStart = 0;
    bool m_isFirst = true;
    bool m_audioFollows = false;
    uint64_t m_measuredAt = 0;
    uint32_t m_measuredFrames = 0;
    uint32_t m_maxBytesPerSec = 0;
};
} // namespace KrTest

#endif
