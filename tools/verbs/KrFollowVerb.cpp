// kravi follow: how a recording goes on, until it ends.
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrFollowedFile.h"
#include "tools/avi/KrStreamChunks.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <deque>

namespace KrTool
{
namespace
{
const SKrVerbHelp kFollowHelp = {
    "follow",
    "Follow a recording while it is made",
    {
        R"(Prints a line a second until the recording ends: frames, seconds of sound, duration, data rate and
        lag. Of a file that is complete, it prints one line. With --json each line is an object, and so is the
        report at the end.)",
        R"(Data rate: bytes of all streams for each second of the recording, over its last ten lines. Lag: the
        seconds since its newest frame could first be read, or since kravi started; a recorder of this library
        adds frames to the index once a second.)",
        R"(A recording without an index, as some programs make it, has no frames until it is complete; the lag
        then counts from the last growth of the file.)",
        "Findings: the recording was abandoned, or ended before the frame of --until-frame.",
    },
    {
        "kravi follow recording.avi",
        "kravi follow recording.avi --until-frame 249 && kravi extract recording.avi --follow --video f%d --to 249",
    },
};

struct SKrFollowOptions
{
    std::string file;
    std::optional<uint64_t> untilFrame; // inclusive
};

// What is there of one stream.
struct SKrFollowedStream
{
    uint32_t number = 0;
    bool hasIndex = false;
    uint64_t chunks = 0;
    uint64_t bytes = 0;

    // Takes in what was added; answers whether anything was.
    bool Take(const CKrAviFile& file)
    {
        const std::optional<SKrStreamIndex> added = LoadStreamIndex(file, number, chunks);
        if (!added)
            return false;
        hasIndex = true;
        chunks += added->entries.size();
        for (const SKrStreamIndexEntry& entry : added->entries)
            bytes += entry.size;
        return !added->entries.empty();
    }
};

double ToTenths(double value)
{
    return std::round(value * 10) / 10;
}

// A number to a tenth, or "-".
std::string Column(const Json& value, int width)
{
    const std::string text = value.is_null() ? std::string("-") : JsonText(value);
    return Format("{:>{}}", text, width);
}

class CKrFollower
{
public:
    CKrFollower(const SKrFollowOptions& options, CKrReport& report, CKrProgress& progress)
        : m_options(options), m_report(report), m_progress(progress), m_followed(options.file),
          m_facts(ReadFacts(m_followed.File(), progress)), m_newest(Clock::now())
    {
        for (const SKrAviStream& stream : m_facts.streams)
            m_streams.push_back({.number = stream.number});
        m_samples.push_back({});
    }

    void Run()
    {
        if (!m_report.AsJson())
            m_report.Line(nullptr, "    frames     sound  duration      MB/s     lag\n");
        Take();
        Print();
        auto next = Clock::now() + kLineEvery;
        while (!HasEnded())
        {
            m_followed.Wait(m_progress);
            Take();
            if (Clock::now() < next && !HasEnded())
                continue;
            Print();
            next += kLineEvery;
        }
        Finish();
    }

private:
    using Clock = CKrFollowedFile::Clock;

    static constexpr std::chrono::seconds kLineEvery{1};
    static constexpr size_t kRateLines = 10;

    // Where the recording was at a line.
    struct SKrSample
    {
        double seconds = 0;
        uint64_t bytes = 0;
    };

    [[nodiscard]] bool HasEnded() const
    {
        return m_followed.State() != EKrRecording::BeingWritten || IsFrameThere();
    }

    [[nodiscard]] bool IsFrameThere() const
    {
        const SKrFollowedStream* const video = First(EKrStreamKind::Video);
        return m_options.untilFrame && video != nullptr && video->chunks > *m_options.untilFrame;
    }

    // Takes in what was added to the streams.
    void Take()
    {
        for (SKrFollowedStream& stream : m_streams)
        {
            const bool isNewer = stream.Take(m_followed.File());
            if (isNewer && (&stream == First(EKrStreamKind::Video) || First(EKrStreamKind::Video) == nullptr))
                m_newest = Clock::now();
        }
    }

    [[nodiscard]] const SKrFollowedStream* First(EKrStreamKind kind) const
    {
        const SKrAviStream* const header = FirstStream(m_facts.streams, kind);
        return header != nullptr && m_streams[header->number].hasIndex ? &m_streams[header->number] : nullptr;
    }

    // Nothing where the headers have no rate, or no index counts the units.
    [[nodiscard]] std::optional<double> Seconds(EKrStreamKind kind) const
    {
        const SKrFollowedStream* const stream = First(kind);
        if (stream == nullptr)
            return std::nullopt;
        const SKrAviStream& header = m_facts.streams[stream->number];
        const SKrAudioUnit unit =
            kind == EKrStreamKind::Audio ? AudioUnit(header) : SKrAudioUnit{{header.rate, header.scale}};
        if (!unit.rate.IsValid())
            return std::nullopt;
        const uint64_t units = unit.bytes == 0 ? stream->chunks : stream->bytes / unit.bytes;
        return static_cast<double>(units) * unit.rate.scale / unit.rate.rate;
    }

    Json Moment()
    {
        const SKrFollowedStream* const video = First(EKrStreamKind::Video);
        const std::optional<double> pictures = Seconds(EKrStreamKind::Video);
        const std::optional<double> sound = Seconds(EKrStreamKind::Audio);
        SKrSample sample = {std::max(pictures.value_or(0), sound.value_or(0)), 0};
        for (const SKrFollowedStream& stream : m_streams)
            sample.bytes += stream.bytes;
        const double lag = std::chrono::duration<double>(
                               Clock::now() - (video != nullptr ? m_newest : m_followed.LastGrowth()))
                               .count();
        const auto tenths = [](const std::optional<double>& value)
        {
            return value ? Json(ToTenths(*value)) : Json();
        };
        Json moment = {{"frames", video != nullptr ? Json(video->chunks) : Json()},
                       {"soundSeconds", tenths(sound)},
                       {"seconds", pictures || sound ? Json(ToTenths(sample.seconds)) : Json()},
                       {"bytesPerSecond", Rate(sample)},
                       {"lagSeconds", ToTenths(lag)},
                       {"bytes", m_followed.File().Length()}};
        return moment;
    }

    Json Rate(const SKrSample& sample)
    {
        const SKrSample& before = m_samples.front();
        const double seconds = sample.seconds - before.seconds;
        const Json rate = seconds > 0
                              ? Json(std::llround(static_cast<double>(sample.bytes - before.bytes) / seconds))
                              : Json();
        m_samples.push_back(sample);
        if (m_samples.size() > kRateLines)
            m_samples.pop_front();
        return rate;
    }

    void Print()
    {
        m_last = Moment();
        Json rate = m_last["bytesPerSecond"];
        if (!rate.is_null())
            rate = ToTenths(rate.get<double>() / 1e6);
        m_report.Line({{"moment", m_last}},
                      Format("{}{}{}{}{}\n", Column(m_last["frames"], 10), Column(m_last["soundSeconds"], 10),
                             Column(m_last["seconds"], 10), Column(rate, 10),
                             Column(m_last["lagSeconds"], 8)));
    }

    void Finish()
    {
        const EKrRecording state = m_followed.State();
        m_report.Fact("file", m_options.file);
        m_report.Fact("state", RecordingName(state));
        m_report.Fact("frames", m_last["frames"]);
        m_report.Fact("seconds", m_last["seconds"]);
        m_report.Fact("bytes", m_last["bytes"]);
        if (IsFrameThere())
            return;
        m_followed.ReportEnd(m_report);
        if (m_options.untilFrame)
            m_report.Finding(Format("the recording ended before frame {}", *m_options.untilFrame));
    }

    const SKrFollowOptions& m_options;
    CKrReport& m_report;
    CKrProgress& m_progress;
    CKrFollowedFile m_followed;
    const SKrAviFacts m_facts;
    std::vector<SKrFollowedStream> m_streams; // by number
    Clock::time_point m_newest;               // when the newest frame was seen
    std::deque<SKrSample> m_samples;
    Json m_last;
};

void RunFollow(const SKrFollowOptions& options, CKrReport& report, CKrProgress& progress)
{
    report.SetLines();
    CKrFollower(options, report, progress).Run();
}
} // namespace

void AddFollowVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrFollowOptions>();
    CKrVerbOptions& verb =
        verbs.Add(kFollowHelp, options->file,
                  [options](auto& report, auto& progress) { RunFollow(*options, report, progress); });
    verb.AddNumber("--until-frame", options->untilFrame, "End with 0 once this frame is there");
}
} // namespace KrTool
