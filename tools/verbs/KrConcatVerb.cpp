// kravi concat: joins the frames and the sound of several files in a new one.
#include "tools/avi/KrAudioRange.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/copy/KrCarriedFile.h"
#include "tools/copy/KrClipMatch.h"
#include "tools/copy/KrCopyOptions.h"
#include "tools/copy/KrCopySource.h"
#include "tools/output/KrOutputFile.h"
#include "tools/output/KrRecordingOptions.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace KrTool
{
namespace
{
const SKrVerbHelp kConcatHelp = {
    "concat",
    "Join AVI files in order",
    {
        R"(All streams of the files are joined, in the order of their chunks; headers, names and texts are those of
        the first file. The files must match in their streams: picture size, codec, bits per pixel, frame rate,
        further format data, sound format; the first difference is named.)",
        R"(The sound of each file starts with its first frame. Of PCM, sound after a file's last frame is left out, and
        sound that ends earlier is filled with silence; a single missing sample frame, where frames do not last a
        whole number of them, repeats the last one. Coded sound is left out packet by packet; what is missing is
        reported. The sound of the last file keeps its length. The report counts the sample frames of each
        file.)",
        kWhatIsCarried,
        kWhatIsRefused,
        R"(Findings: coded sound that ends before its frames; and what rewrap finds.)",
    },
    {
        "kravi concat one.avi two.avi three.avi -o all.avi",
    },
};

struct SKrConcatOptions
{
    std::vector<std::string> files;
    SKrCopyOptions copy;
};

// More than any sound has; wrong headers could fill a disk with silence.
constexpr uint64_t kMostBytesPerSecond = uint64_t{1} << 27;

// What became of the sound of a clip, in sample frames.
struct SKrSoundFit
{
    uint64_t there = 0;
    uint64_t cut = 0;
    uint64_t repeated = 0;
    uint64_t silence = 0;
};

// Makes the sound of a clip as long as its frames.
SKrSoundFit FitSound(SKrClip& clip, const SKrRecordingFormat& format, uint64_t wanted)
{
    const SKrPcm& pcm = *format.audio;
    const SKrAudioUnit unit = {{pcm.samplesPerSec, 1}, pcm.blockAlign};
    SKrSoundFit fit;
    fit.there = SampleFramesOf(clip, format);
    const Chunks last = fit.there == 0 ? Chunks() : UnitsOf(clip.audio, unit, fit.there - 1, fit.there);
    clip.audio = UnitsOf(clip.audio, unit, 0, std::min(fit.there, wanted));
    if (fit.there > wanted)
    {
        fit.cut = fit.there - wanted;
    }
    else if (wanted == fit.there + 1 && !last.empty())
    {
        fit.repeated = 1;
        clip.audio.insert(clip.audio.end(), last.begin(), last.end());
    }
    else
    {
        fit.silence = wanted - fit.there;
        if (fit.silence > 0 && uint64_t{pcm.samplesPerSec} * pcm.blockAlign > kMostBytesPerSecond)
            throw CKrToolError(
                clip.source->Path(),
                "its sound has too many bytes per second to add silence; --no-audio leaves the sound out");
        clip.silence = fit.silence * pcm.blockAlign;
    }
    return fit;
}

class CKrConcatenation
{
public:
    CKrConcatenation(const SKrConcatOptions& options, CKrReport& report, CKrProgress& progress)
        : m_options(options), m_report(report), m_progress(progress)
    {
    }

    void Run()
    {
        for (const std::string& file : m_options.files)
            CheckTarget(m_options.copy.output, m_options.copy.force, file);
        for (const std::string& file : m_options.files)
            AddSource(file);
        const SKrRecordingFormat format = m_sources.front().format;
        Json rows = Json::array();
        std::vector<SKrClip> clips;
        uint64_t frame = 0; // of the new file
        for (SKrCopySource& source : m_sources)
        {
            const bool isLast = &source == &m_sources.back();
            const uint64_t frames = source.clip.frames.size();
            rows.push_back(ClipJson(source, frame, isLast));
            frame += frames;
            clips.push_back(std::move(source.clip));
        }
        const SKrRecordingResult result =
            WriteClips(std::move(clips), format, m_options.copy.output, m_options.copy.force, m_progress);
        m_report.Fact("clips", rows);
        ReportRecording(result, format, m_options.copy.output, m_report);
    }

private:
    void AddSource(const std::string& file)
    {
        m_report.SetSubject(file);
        m_sources.push_back(PrepareCopy(file, SKrFrameRange(), m_options.copy, m_report, m_progress));
        m_report.SetSubject({});
        CheckMatch(m_sources.front(), m_sources.back());
    }

    Json ClipJson(SKrCopySource& source, uint64_t frame, bool isLast)
    {
        const uint64_t frames = source.clip.frames.size();
        Json row = {{"file", source.clip.source->Path()}, {"firstFrame", frame}, {"frames", frames}};
        if (!source.format.audio)
            return row;
        const uint64_t first = SampleFramesUntil(frame, source.format);
        SKrSoundFit fit;
        if (isLast)
            fit.there = SampleFramesOf(source.clip, source.format);
        else
            fit = FitSound(source.clip, source.format,
                           SampleFramesUntil(frame + frames, source.format) - first);
        row["firstSampleFrame"] = first;
        row["sampleFrames"] = fit.there;
        row["cut"] = fit.cut;
        row["repeated"] = fit.repeated;
        row["silence"] = fit.silence;
        NoteFit(source.clip.source->Path(), fit);
        return row;
    }

    // Frame rates cause differences of one sample frame.
    void NoteFit(const std::string& path, const SKrSoundFit& fit)
    {
        if (fit.cut > 1)
            m_report.Note(
                Format("{}: left out: {} after its last frame", path, Counted(fit.cut, "sample frame")));
        if (fit.silence > 0)
            m_report.Note(Format("{}: its sound ends before its last frame; {} of silence follow", path,
                                 Counted(fit.silence, "sample frame")));
    }

    const SKrConcatOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    std::vector<SKrCopySource> m_sources;
};

} // namespace

void AddConcatVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrConcatOptions>();
    CKrVerbOptions& verb = verbs.Add(kConcatHelp,
                                     [options](auto& report, auto& progress)
                                     {
                                         if (options->copy.IsRecording())
                                             CKrConcatenation(*options, report, progress).Run();
                                         else
                                             CarryFiles(options->files, options->copy, report, progress);
                                     });
    verb.AddArguments("FILES", options->files, "The AVI files, in order");
    verb.AddRequiredText("-o,--output", options->copy.output, "FILE", "The AVI file to write");
    AddCopyOptions(verb, options->copy);
}
} // namespace KrTool
