// Records the first video and the sound of a file, every frame and block as it is, in their order, through
// the queue into a new file.
#include "benchmarks/recording/KrFigures.h"

#include <algorithm>
#include <cstdio>

namespace KrFigures
{
namespace
{
constexpr uint64_t kQueueLimit = 64 << 20;

std::vector<SKrChunkIndexEntry> ToVector(const CArray<SKrChunkIndexEntry>& entries)
{
    return {entries.GetData(), entries.GetData() + entries.GetSize()};
}

// Reads a file from start to end in large pieces.
class CKrWindow
{
public:
    explicit CKrWindow(IKrRiffReader& reader) : m_reader(reader) {}

    CKrRef<CKrNumberedSample> Sample(const SKrChunkIndexEntry& entry)
    {
        auto sample = CKrRef<CKrNumberedSample>::Adopt(new CKrNumberedSample(entry.size, 0));
        uint8_t* data = nullptr;
        int32_t length = 0;
        Require(sample->LockBuffer(&data, &length) != 0, "sample");
        if (entry.position < m_start || entry.position + entry.size > m_start + m_bytes.size())
            MoveTo(entry);
        std::copy_n(m_bytes.begin() + static_cast<ptrdiff_t>(entry.position - m_start), entry.size, data);
        sample->UnlockBuffer();
        return sample;
    }

private:
    void MoveTo(const SKrChunkIndexEntry& entry)
    {
        m_bytes.resize(std::max<size_t>(kWindow, entry.size));
        m_start = entry.position;
        m_bytes.resize(m_reader.ReadAt(m_start, m_bytes.data(), static_cast<uint32_t>(m_bytes.size())));
        Require(m_bytes.size() >= entry.size, "read");
    }

    static constexpr size_t kWindow = 256 << 10;

    IKrRiffReader& m_reader;
    uint64_t m_start = 0;
    std::vector<uint8_t> m_bytes;
};
} // namespace

void CopyThroughQueue(const std::vector<std::string>& arguments)
{
    Require(arguments.size() == 2, "two files are needed");
    CKrRef<IKrRiffReader> reader;
    CArray<SKrChunkIndexEntry> video;
    CArray<SKrChunkIndexEntry> audio;
    SKrAudioChunkPattern pattern{};
    SKrWaveFormatInfo format{};
    int isValid = 0;
    uint32_t chunkId = 0;
    double duration = 0;
    Require(KrCreateRiffReader(reader.Put()) != 0 && reader->Open(Wide(arguments[0]).c_str()) != 0 &&
                reader->LoadVideoIndex(video) != 0 && reader->LoadAudioIndex(audio, &pattern) != 0 &&
                reader->GetAudioStreamInfo(&format, &isValid, &chunkId, &duration) != 0,
            "input");
    SKrRecordingOptions options = FastOptions();
    options.queueLimit = kQueueLimit;
    const CKrRef<IKrAviWriter> writer =
        OpenWriter(arguments[1], &options, {format.samplesPerSec, format.blockAlign});
    const std::vector<SKrChunkIndexEntry> frames = ToVector(video);
    const std::vector<SKrChunkIndexEntry> blocks = ToVector(audio);
    CKrWindow window(*reader.Get());
    auto block = blocks.begin();
    for (const SKrChunkIndexEntry& frame : frames)
    {
        for (; block != blocks.end() && block->position < frame.position; ++block)
            Require(writer->AddAudioSample(window.Sample(*block).Get()) != 0, "sound");
        Require(writer->AddVideoSample(window.Sample(frame).Get()) != 0, "frame");
    }
    for (; block != blocks.end(); ++block)
        Require(writer->AddAudioSample(window.Sample(*block).Get()) != 0, "sound");
    Require(writer->CloseFile() != 0, "close");
    const SKrRecordingStatus status = StatusOf(*writer.Get());
    Require(status.framesInIndex == frames.size() && status.audioChunksWritten == blocks.size(), "counts");
    std::printf("%zu frames, %zu blocks of sound\n", frames.size(), blocks.size());
}
} // namespace KrFigures
