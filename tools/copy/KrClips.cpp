#include "tools/copy/KrClips.h"

#include "tools/avi/KrAudioRange.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/output/KrRecordingOptions.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace KrTool
{
namespace
{
// The bytes of a stream's chunks as one sequence, to be cut into samples of any length.
class CKrJoinedChunks
{
public:
    CKrJoinedChunks(std::shared_ptr<const CKrByteSource> file, Chunks chunks)
        : m_file(std::move(file)), m_chunks(std::move(chunks))
    {
    }

    // The next bytes of the sequence. They are read when the writer needs them.
    SKrSampleBytes Next(uint32_t length)
    {
        Chunks ranges;
        uint32_t left = length;
        while (left > 0 && m_chunk < m_chunks.size())
        {
            const SKrChunkIndexEntry& chunk = m_chunks[m_chunk];
            const uint32_t taken = std::min(left, chunk.size - m_inChunk);
            if (taken > 0)
                ranges.push_back({chunk.position + m_inChunk, taken, 0});
            left -= taken;
            m_inChunk += taken;
            if (m_inChunk == chunk.size)
            {
                ++m_chunk;
                m_inChunk = 0;
            }
        }
        return {length, [file = m_file, ranges](uint8_t* buffer)
                {
                    for (const SKrChunkIndexEntry& range : ranges)
                    {
                        file->Fill(range.position, {buffer, range.size});
                        buffer += range.size;
                    }
                }};
    }

private:
    std::shared_ptr<const CKrByteSource> m_file;
    Chunks m_chunks;
    size_t m_chunk = 0;
    uint32_t m_inChunk = 0;
};

// The sound of all clips as one sequence.
class CKrClipSound
{
public:
    CKrClipSound(std::vector<SKrClip>& clips, const SKrPcm& format)
        : m_silence(SilenceByte(format.bitsPerSample))
    {
        for (SKrClip& clip : clips)
        {
            const uint64_t bytes = TotalBytes(clip.audio);
            m_bytes += bytes + clip.silence;
            m_pieces.push_back({bytes, clip.silence, CKrJoinedChunks(clip.source, std::move(clip.audio))});
        }
    }

    [[nodiscard]] uint64_t Bytes() const { return m_bytes; }

    SKrSampleBytes Next(uint32_t length)
    {
        std::vector<SKrSampleBytes> parts;
        for (uint32_t left = length; left > 0 && m_piece < m_pieces.size();)
        {
            SPiece& piece = m_pieces[m_piece];
            const auto sound = static_cast<uint32_t>(std::min<uint64_t>(left, piece.sound));
            if (sound > 0)
                parts.push_back(piece.chunks.Next(sound));
            const auto silence = static_cast<uint32_t>(std::min<uint64_t>(left - sound, piece.silence));
            if (silence > 0)
                parts.push_back(Silence(silence));
            piece.sound -= sound;
            piece.silence -= silence;
            left -= sound + silence;
            if (piece.sound + piece.silence == 0)
                ++m_piece;
        }
        return Joined(length, std::move(parts));
    }

private:
    struct SPiece
    {
        uint64_t sound;   // remaining bytes
        uint64_t silence; // and those after them
        CKrJoinedChunks chunks;
    };

    [[nodiscard]] SKrSampleBytes Silence(uint32_t length) const
    {
        return {length, [value = m_silence, length](uint8_t* buffer)
                {
                    std::memset(buffer, value, length);
                }};
    }

    static SKrSampleBytes Joined(uint32_t length, std::vector<SKrSampleBytes> parts)
    {
        if (parts.size() == 1)
            return std::move(parts.front());
        return {length, [parts = std::move(parts)](uint8_t* buffer)
                {
                    for (const SKrSampleBytes& part : parts)
                    {
                        part.load(buffer);
                        buffer += part.length;
                    }
                }};
    }

    const uint8_t m_silence;
    std::vector<SPiece> m_pieces;
    size_t m_piece = 0;
    uint64_t m_bytes = 0;
};

SKrSampleBytes Turned(SKrSampleBytes frame, uint64_t row, int32_t rows)
{
    if (row == 0 || frame.length != row * static_cast<uint32_t>(rows))
        return frame;
    const uint32_t length = frame.length;
    return {length, [frame = std::move(frame), row = static_cast<std::ptrdiff_t>(row)](uint8_t* buffer)
            {
                frame.load(buffer);
                uint8_t* first = buffer;
                for (uint8_t* end = buffer + frame.length; end - first >= 2 * row; first += row)
                {
                    end -= row;
                    std::swap_ranges(first, first + row, end);
                }
            }};
}
} // namespace

SKrRecordingResult WriteClips(std::vector<SKrClip> clips, const SKrRecordingFormat& format,
                              const std::string& output, bool force, CKrProgress& progress)
{
    const SKrPcm pcm = format.audio.value_or(SKrPcm{});
    CKrClipSound audio(clips, pcm);
    CKrRecording recording(output, force, format, progress);
    CKrSoundByFrame sound(pcm, format.video.frameRate, audio.Bytes(),
                          [&audio](uint64_t, uint32_t length) { return audio.Next(length); });
    uint64_t total = 0;
    for (const SKrClip& clip : clips)
        total += clip.frames.size();
    progress.Begin("writing", total, EKrUnit::Frame);
    uint64_t done = 0;
    for (const SKrClip& clip : clips)
    {
        CKrJoinedChunks frames(clip.source, clip.frames);
        for (const SKrChunkIndexEntry& frame : clip.frames)
        {
            sound.AddForFrame(recording);
            recording.AddFrame(Turned(frames.Next(frame.size), clip.turnedRow, format.video.height));
            progress.Advance(done++);
        }
    }
    sound.AddRest(recording);
    const SKrRecordingResult result = recording.Commit();
    progress.End();
    return result;
}
} // namespace KrTool
