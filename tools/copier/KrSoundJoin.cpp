#include "tools/copier/KrSoundJoin.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/copier/KrStreamTime.h"

#include <algorithm>
#include <optional>

namespace KrTool
{
namespace
{
constexpr uint64_t kMostSilencePerByte = 16;
constexpr uint64_t kAlwaysSilence = uint64_t{64} << 20;

// Chunks of silence last a second. Formats of few bytes a second would make too many.
constexpr uint64_t kLeastSilence = 4096;

constexpr uint64_t kALawSilence = 0xD5;
constexpr uint64_t kMuLawSilence = 0xFF;

uint64_t SilenceOf(const SKrWaveFormat& format)
{
    if (format.formatTag == kFormatTagALaw)
        return kALawSilence;
    if (format.formatTag == kFormatTagMuLaw)
        return kMuLawSilence;
    return SilenceByte(format.bitsPerSample);
}

class CKrSoundJoining
{
public:
    CKrSoundJoining(std::vector<SKrCarriedSource>& sources, CKrReport& report)
        : m_sources(sources), m_report(report), m_video(FirstStreamOfType(sources.front().header, kFccVids)),
          m_audio(FirstStreamOfType(sources.front().header, kFccAuds))
    {
    }

    std::vector<SKrJoinedClip> Run()
    {
        std::vector<SKrJoinedClip> clips(m_sources.size());
        uint64_t frames = 0;
        for (size_t number = 0; number < clips.size(); ++number)
        {
            clips[number].firstFrame = frames;
            clips[number].frames = m_video ? CountUnits(m_sources[number].chunks, *m_video) : 0;
            frames += clips[number].frames;
        }
        const std::vector<SKrCarriedStream>& streams = m_sources.front().header.streams;
        for (uint32_t stream = 0; stream < streams.size(); ++stream)
        {
            if (streams[stream].Fields().type == kFccAuds)
                JoinStream(stream, clips);
        }
        return clips;
    }

private:
    [[nodiscard]] CKrStreamTime TimeOf(size_t source, uint32_t stream) const
    {
        const SKrCarriedSource& file = m_sources[source];
        const std::vector<SKrCarriedStream>& streams = file.header.streams;
        return {streams[m_video.value_or(stream)], streams[stream], stream, file.file->Path()};
    }

    void JoinStream(uint32_t stream, std::vector<SKrJoinedClip>& clips)
    {
        const CKrStreamTime time = TimeOf(0, stream);
        uint64_t done = 0; // units in the new file
        for (size_t number = 0; number < clips.size(); ++number)
        {
            SKrJoinedSound sound;
            sound.first = done;
            const bool isLast = number + 1 == clips.size();
            if (!isLast)
                CutPartOfUnit(m_sources[number], stream, time);
            sound.there = UnitsThere(m_sources[number], stream, time);
            if (!isLast && m_video)
                Fit(number, stream, time,
                    NextStart(number + 1, stream, time, clips) - static_cast<int64_t>(done), sound);
            done += sound.there - sound.cut + sound.repeated + sound.silence;
            if (stream == m_audio)
                clips[number].sound = sound;
        }
    }

    // Where the sound of a file starts in the new one, in units of the first file's.
    [[nodiscard]] int64_t NextStart(size_t number, uint32_t stream, const CKrStreamTime& time,
                                    const std::vector<SKrJoinedClip>& clips) const
    {
        return time.UnitAtFrame(clips[number].firstFrame) + TimeOf(number, stream).StartUnits();
    }

    // Bytes of a stream's chunks, or their number where each is a unit.
    static uint64_t AmountThere(const SKrCarriedSource& source, uint32_t stream, const CKrStreamTime& time)
    {
        uint64_t amount = 0;
        for (const SKrCarriedChunk& chunk : source.chunks)
        {
            if (chunk.stream == stream)
                amount += time.UnitBytes() == 0 ? 1 : chunk.size;
        }
        return amount;
    }

    static uint64_t UnitsThere(const SKrCarriedSource& source, uint32_t stream, const CKrStreamTime& time)
    {
        return AmountThere(source, stream, time) / std::max(time.UnitBytes(), 1U);
    }

    // The sound that follows must start with a whole sample frame.
    static void CutPartOfUnit(SKrCarriedSource& source, uint32_t stream, const CKrStreamTime& time)
    {
        if (time.Cutting() == EKrCutting::Bytes)
            static_cast<void>(
                Cut(source, stream, time, AmountThere(source, stream, time) % time.UnitBytes()));
    }

    [[nodiscard]] bool HasLaterSound(size_t number, uint32_t stream) const
    {
        const auto isThere = [stream](const SKrCarriedSource& source)
        {
            return std::ranges::any_of(source.chunks, [stream](auto& chunk)
                                       { return chunk.stream == stream && chunk.size != 0; });
        };
        return std::any_of(m_sources.begin() + static_cast<std::ptrdiff_t>(number) + 1, m_sources.end(),
                           isThere);
    }

    void Fit(size_t number, uint32_t stream, const CKrStreamTime& time, int64_t wantedUnits,
             SKrJoinedSound& sound)
    {
        const uint64_t wanted = static_cast<uint64_t>(std::max<int64_t>(wantedUnits, 0));
        const uint64_t unit = std::max(time.UnitBytes(), 1U);
        SKrCarriedSource& source = m_sources[number];
        if (sound.there > wanted)
            sound.cut = Cut(source, stream, time, (sound.there - wanted) * unit) / unit;
        else if (wanted > sound.there && !HasLaterSound(number, stream))
            return; // nothing that could be early
        else if (wanted > sound.there && IsPlainSound(source.header.streams[stream]))
            Fill(source, stream, time, wanted - sound.there, sound);
        Note(source, stream, time, wanted, sound);
    }

    // From the end on; sound in packets keeps one that lies on both sides. Returns how much was cut.
    static uint64_t Cut(SKrCarriedSource& source, uint32_t stream, const CKrStreamTime& time, uint64_t amount)
    {
        const bool cutsChunks = time.Cutting() == EKrCutting::Bytes;
        uint64_t left = amount;
        for (auto chunk = source.chunks.rbegin(); chunk != source.chunks.rend() && left > 0; ++chunk)
        {
            if (chunk->stream != stream)
                continue;
            const uint64_t size = time.UnitBytes() == 0 ? 1 : chunk->size;
            if (size > left && !cutsChunks)
                break;
            const uint64_t part = std::min(size, left);
            if (part == size)
                chunk->kind = kRemoved;
            else
                chunk->size -= static_cast<uint32_t>(part);
            left -= part;
        }
        std::erase_if(source.chunks, [](const SKrCarriedChunk& chunk) { return chunk.kind == kRemoved; });
        return amount - left;
    }

    // A single missing sample frame, where frames do not last a whole number of them, repeats the last one.
    void Fill(SKrCarriedSource& source, uint32_t stream, const CKrStreamTime& time, uint64_t units,
              SKrJoinedSound& sound)
    {
        const uint32_t unit = time.UnitBytes();
        const auto last = std::find_if(source.chunks.rbegin(), source.chunks.rend(),
                                       [stream, unit](auto& chunk)
                                       { return chunk.stream == stream && chunk.size >= unit; });
        SKrCarriedChunk added = {0, unit, KrFourCC("00wb") >> 16, static_cast<uint8_t>(stream),
                                 SKrCarriedChunk::kKeyFrame};
        if (units == 1 && last != source.chunks.rend())
        {
            added.position = last->position + last->size - unit;
            sound.repeated = 1;
            source.chunks.push_back(added);
            return;
        }
        const SKrWaveFormat format = DecodeResolvedWaveFormat(source.header.streams[stream].Format());
        const uint64_t least = (kLeastSilence + unit - 1) / unit * unit;
        const uint64_t second = std::clamp(uint64_t{format.samplesPerSec} * unit, least, kAlwaysSilence);
        if (units > MostSilence(source.file->Length()) / unit)
            throw CKrToolError(
                source.file->Path(),
                "its headers have too much silence follow its sound; --no-audio leaves the sound out");
        sound.silence = units;
        added.position = SKrCarriedChunk::kMade | SilenceOf(format);
        for (uint64_t left = units * unit; left > 0; left -= added.size)
        {
            added.size = static_cast<uint32_t>(std::min(left, second));
            source.chunks.push_back(added);
        }
    }

    // Frame rates cause differences of one unit.
    void Note(const SKrCarriedSource& source, uint32_t stream, const CKrStreamTime& time, uint64_t wanted,
              const SKrJoinedSound& sound) const
    {
        const std::string& path = source.file->Path();
        const char* const noun = IsPlainSound(source.header.streams[stream]) ? "sample frame" : "unit";
        const std::string which = stream == m_audio ? std::string() : Format("stream {}: ", stream);
        if (sound.cut > 1)
            m_report.Note(
                Format("{}: {}left out: {} after its last frame", path, which, Counted(sound.cut, noun)));
        if (sound.silence > 0)
            m_report.Note(Format("{}: {}its sound ends before its last frame; {} of silence follow", path,
                                 which, Counted(sound.silence, noun)));
        const uint64_t there = sound.there - sound.cut + sound.repeated + sound.silence;
        if (there + 1 < wanted)
            m_report.Finding(Format(
                "{}: stream {}: its coded sound ends {} before its frames, and later sound starts early by as much",
                path, stream, Counted(wanted - there, "unit")));
        else if (there > wanted + 1 && time.Cutting() == EKrCutting::Packets)
            m_report.Note(Format("{}: stream {}: its last packet lasts {} longer than its frames", path,
                                 stream, Counted(there - wanted, "unit")));
    }

    static constexpr uint16_t kRemoved = 0xFFFF;

    std::vector<SKrCarriedSource>& m_sources;
    CKrReport& m_report;
    const std::optional<uint32_t> m_video;
    const std::optional<uint32_t> m_audio; // the one that is reported
};
} // namespace

uint64_t MostSilence(uint64_t fileBytes)
{
    return fileBytes > UINT64_MAX / kMostSilencePerByte
               ? UINT64_MAX
               : std::max(kAlwaysSilence, fileBytes * kMostSilencePerByte);
}

std::vector<SKrJoinedClip> JoinSound(std::vector<SKrCarriedSource>& sources, CKrReport& report)
{
    return CKrSoundJoining(sources, report).Run();
}
} // namespace KrTool
