#include "tools/KrCommandLine.h"

#include "tools/KrProgress.h"
#include "tools/KrReport.h"
#include "tools/KrStandardOutput.h"
#include "tools/KrText.h"
#include "tools/KrToolError.h"
#include "tools/KrVerbs.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <functional>
#include <map>

#if !defined(KR_VERSION)
#error "the build defines KR_VERSION as the version text"
#endif

namespace KrTool
{
namespace
{
constexpr char kExitCodes[] = "Exit codes:\n"
                              "  0  done\n"
                              "  1  done, and the report has findings: something is wrong with the file\n"
                              "  2  failed: nothing to report, or the output is not complete\n";

constexpr char kAbout[] =
    "Looks into AVI files (AVI 1.0 and OpenDML), takes frames and audio out of them unchanged, "
    "and writes new ones.";

constexpr char kInfoFooter[] =
    "Findings: the file is truncated (a segment ends behind the end of the file) or has no AVI headers; a\n"
    "stream has no usable format or no index that can be loaded; the video index has fewer frames than the\n"
    "headers declare; index entries reach behind the end of the file.\n";

constexpr char kTreeFooter[] =
    "Long rows of chunks are summed up behind the first ones, see --run and --all.\n\n"
    "Findings: chunks that reach behind the end of the file or of the list around them; lists too deep to "
    "be\n"
    "entered; more chunks than --limit; and what is wrong with the file as a whole (see info).\n";

constexpr char kIndexFooter[] =
    "Numbers count from 0. The reader loads the index of the first video stream and of the first usable "
    "audio\n"
    "stream.\n\n"
    "Findings: an index that cannot be loaded; entries that reach behind the end of the file; with --check,\n"
    "chunks that are not in the index, and entries at no chunk; and what is wrong with the file as a "
    "whole.\n";

constexpr char kExtractFooter[] =
    "PATTERN: a name with one %d or %0Nd for the frame number gives a file for each frame; one without it\n"
    "gives one file with all frames; %% is a percent sign. Frames count from 0. A chunk without data, by "
    "which\n"
    "some programs repeat a frame, gives an empty file.\n\n"
    "With --from or --to, audio is cut to the same time: exact to the sample for uncompressed audio, in "
    "whole\n"
    "blocks or chunks for compressed audio.\n\n"
    "Streams that the reader's indexes do not cover are found by searching the file for their chunks; the\n"
    "report says so. Empty chunks are then not found, so that later frames have lower numbers.\n\n"
    "Findings: chunks cut by the end of the file; an index that points at wrong places; streams without\n"
    "chunks; and what is wrong with the file as a whole (see info).\n";

constexpr char kWriteFooter[] =
    "PATTERN: a name with one %d or %0Nd for the frame number, or, for raw pictures, the name of one file "
    "with "
    "all\n"
    "frames. Numbers go up from --start to the first one that is missing.\n\n"
    "JPEG pictures are stored as they are, as 'MJPG'. Raw pictures are stored as uncompressed frames: 16, 24 "
    "or "
    "32\n"
    "bits in the order of Windows bitmaps; rows are put into the order and the padding of such frames. With\n"
    "--codec they are stored as they are.\n\n"
    "The pixel aspect ratio is stored from --display-width; without it pixels are square.\n\n"
    "Examples:\n"
    "  kravi write clip.avi --jpeg 'shot%04d.jpg' --audio sound.wav --rate 29.97\n"
    "  kravi write clip.avi --raw frames.rgb --size 720x576 --bits 24 --display-width 1024\n";

constexpr char kRewrapFooter[] = "Frames and PCM sound come out unchanged, with complete indexes. What the "
                                 "new file cannot carry is refused "
                                 "with\n"
                                 "the reason, or left out where an option says so: further streams, sound "
                                 "that is not PCM, frame rates other "
                                 "than\n"
                                 "23.976, 24, 25, 29.97, 30, 50, 59.94 and 60, format data behind the 40 "
                                 "bytes of the picture format, frames\n"
                                 "without data.\n\n"
                                 "Findings: what is wrong with the file that is read (see info).\n\n"
                                 "Example:\n"
                                 "  kravi rewrap download.avi clip.avi --audio 1\n";

constexpr char kRecoverFooter[] =
    "Frames and PCM sound are found by searching the file, without its indexes and whatever the sizes of "
    "its\n"
    "lists say: files that were cut anywhere, overwritten in places, or never completed. Every chunk that "
    "is\n"
    "there in full comes over, unchanged; the report tells what is lost. What the headers do not tell any\n"
    "more is given with --size, --rate, --codec ('DIB ' for uncompressed frames), --bits (24) and --pcm, "
    "which\n"
    "also stand above what the headers say.\n\n"
    "Findings: frames and chunks that are lost or left out; bytes that belong to no whole chunk.\n\n"
    "Examples:\n"
    "  kravi recover cut.avi whole.avi\n"
    "  kravi recover headless.avi whole.avi --size 720x576 --rate 25 --codec MJPG --pcm 48000,2,16\n";

constexpr size_t kMostNumberDigits = 18;

// A decimal number; CLI11's own conversion takes octal and hexadecimal ones as well.
uint64_t ParseNumber(const std::string& text)
{
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, number);
    if (text.size() > kMostNumberDigits || error != std::errc() || behind != end)
        throw CLI::ValidationError("'" + Printable(text) + "' is no decimal number in range");
    return number;
}

template <class NUMBER>
void AddNumber(CLI::App& verb, const std::string& name, NUMBER& number, const std::string& about)
{
    verb.add_option_function<std::string>(
            name, [&number](const std::string& text) { number = ParseNumber(text); }, about)
        ->type_name("N");
}

// The verbs with their options, and the verb that was chosen.
class CKrCommandLine
{
public:
    CKrCommandLine() : m_app(kAbout, "kravi")
    {
        m_app.allow_windows_style_options(false); // a path may start with a slash everywhere
        m_app.set_version_flag("--version", std::string("kravi ") + KR_VERSION);
        m_app.require_subcommand(1);
        m_app.footer(kExitCodes);
        AddInfo();
        AddTree();
        AddIndex();
        AddExtract();
        AddWrite();
        AddRewrap();
        AddRecover();
    }

    int Run(const std::vector<std::string>& arguments)
    {
        try
        {
            m_app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        }
        catch (const CLI::ParseError& answer)
        {
            if (answer.get_exit_code() == 0)
                return Answer(answer);
            CKrReport report(std::find(arguments.begin(), arguments.end(), "--json") != arguments.end());
            return Failed(report, {}, std::string(answer.what()) + "; see kravi --help");
        }
        return RunVerb();
    }

private:
    using Verb = std::function<void(CKrReport&, CKrProgress&)>;

    // Help and version.
    int Answer(const CLI::ParseError& answer)
    {
        std::ostringstream text;
        m_app.exit(answer, text, text);
        Print(text.str());
        FlushOutput();
        return kExitDone;
    }

    static int Failed(CKrReport& report, const std::string& path, const std::string& cause)
    {
        const std::string about = path.empty() ? std::string() : Printable(path) + ": ";
        PrintDiagnostic("kravi: " + about + Printable(cause) + '\n');
        return report.Fail(path, cause);
    }

    int RunVerb()
    {
        CKrReport report(m_json);
        try
        {
            CKrProgress progress(m_progress, m_verbName);
            m_verb(report, progress);
            return report.Finish();
        }
        catch (const CKrToolError& error)
        {
            return Failed(report, error.Path(), error.what());
        }
        catch (const std::bad_alloc&)
        {
            return Failed(report, {}, "memory is short");
        }
        catch (const std::exception& error)
        {
            return Failed(report, {}, error.what());
        }
    }

    CLI::App& AddVerb(const std::string& name, const std::string& about, const std::string& footer,
                      std::string& file, Verb verb, const std::string& aboutFile = "The AVI file")
    {
        static const std::map<std::string, EKrProgressMode> kModes = {{"auto", EKrProgressMode::Auto},
                                                                      {"none", EKrProgressMode::None},
                                                                      {"json", EKrProgressMode::Json}};
        CLI::App& app = *m_app.add_subcommand(name, about);
        app.footer(footer + '\n' + kExitCodes);
        app.add_option("FILE", file, aboutFile)->required()->type_name("");
        app.add_flag("--json", m_json, "Report as one JSON object; a failure gives an object with \"error\"");
        app.add_option("--progress", m_progress, "Progress on the error stream: auto, none or json")
            ->transform(CLI::CheckedTransformer(kModes))
            ->type_name("MODE");
        app.callback(
            [this, name, verb = std::move(verb)]
            {
                m_verbName = name;
                m_verb = verb;
            });
        return app;
    }

    void AddInfo()
    {
        AddVerb("info", "Streams, formats, segments, private chunks and kinds of index", kInfoFooter,
                m_info.file, [this](auto& report, auto& progress) { RunInfo(m_info, report, progress); });
    }

    void AddTree()
    {
        CLI::App& verb = AddVerb("tree", "The chunks of the file", kTreeFooter, m_tree.file,
                                 [this](auto& report, auto& progress) { RunTree(m_tree, report, progress); });
        AddNumber(verb, "--depth", m_tree.depth, "Show so many levels only; segments are level 1");
        AddNumber(verb, "--run", m_tree.run, "Chunks shown of a long row (8)");
        AddNumber(verb, "--limit", m_tree.limit, "Chunks read at most (10000000)");
        verb.add_flag("--all", m_tree.all, "Show long rows in full");
    }

    void AddIndex()
    {
        CLI::App& verb = AddVerb(
            "index", "The index entries of the video and the audio stream", kIndexFooter, m_index.file,
            [this](auto& report, auto& progress) { RunIndex(m_index, report, progress); });
        verb.add_flag("--video", m_index.video, "The video index only");
        verb.add_flag("--audio", m_index.audio, "The audio index only");
        verb.add_flag("--summary", m_index.summary, "No entries, just counts and sizes");
        verb.add_flag("--check", m_index.check, "Compare with the chunks that are in the file");
        AddNumber(verb, "--from", m_index.from, "First entry shown");
        AddNumber(verb, "--to", m_index.to, "Last entry shown");
    }

    void AddExtract()
    {
        CLI::App& verb =
            AddVerb("extract", "Write frames and audio to files, unchanged", kExtractFooter, m_extract.file,
                    [this](auto& report, auto& progress) { RunExtract(m_extract, report, progress); });
        verb.add_option("--video", m_extract.video, "Write video frames")->type_name("PATTERN");
        verb.add_option("--audio", m_extract.audio, "Write audio as a WAVE file (RF64 above 4 GiB)")
            ->type_name("NAME");
        AddNumber(verb, "--video-stream", m_extract.videoStream, "Another video stream, by its number");
        AddNumber(verb, "--audio-stream", m_extract.audioStream, "Another audio stream, by its number");
        AddNumber(verb, "--from", m_extract.from, "First frame");
        AddNumber(verb, "--to", m_extract.to, "Last frame");
        verb.add_flag("--force", m_extract.force, "Replace files that exist");
    }

    void AddWrite()
    {
        CLI::App& verb = AddVerb(
            "write", "Make an AVI file from pictures and sound", kWriteFooter, m_write.file,
            [this](auto& report, auto& progress) { RunWrite(m_write, report, progress); },
            "The AVI file that is written");
        verb.add_option("--jpeg", m_write.jpeg, "JPEG pictures")->type_name("PATTERN");
        verb.add_option("--raw", m_write.raw, "Raw pictures")->type_name("PATTERN");
        AddNumber(verb, "--start", m_write.start, "Number of the first picture (0, or 1 if there is no 0)");
        verb.add_option("--audio", m_write.audio, "Sound from a WAVE file with PCM")->type_name("NAME");
        verb.add_option("--rate", m_write.rate, "Frames per second (25)")->type_name("RATE");
        verb.add_option("--scan", m_write.scan, "upper, lower, progressive (default) or unknown")
            ->type_name("MODE");
        AddNumber(verb, "--display-width", m_write.displayWidth, "Width in square pixels");
        AddNumber(verb, "--aspect-mode", m_write.aspectMode,
                  "0, 1: by the display width; 3: square; 4, 5: fixed");
        verb.add_option("--size", m_write.size, "Size of raw pictures")->type_name("WIDTHxHEIGHT");
        AddNumber(verb, "--bits", m_write.bits, "Bits per pixel of raw pictures (24)");
        verb.add_option("--codec", m_write.codec, "FourCC of raw pictures that are stored as they are")
            ->type_name("FOURCC");
        AddNumber(verb, "--stride", m_write.stride, "Bytes from row to row of raw pictures");
        verb.add_option("--rows", m_write.rows, "Order of raw rows: top-down (default) or bottom-up")
            ->type_name("ORDER");
        verb.add_flag("--force", m_write.force, "Replace a file that exists");
    }

    void AddRewrap()
    {
        CLI::App& verb = AddVerb(
            "rewrap", "Copy frames and sound of an AVI file into a new one", kRewrapFooter, m_rewrap.file,
            [this](auto& report, auto& progress) { RunRewrap(m_rewrap, report, progress); });
        verb.add_option("OUTPUT", m_rewrap.output, "The AVI file that is written")->required()->type_name("");
        AddNumber(verb, "--video", m_rewrap.video, "The video stream to take, by its number");
        AddNumber(verb, "--audio", m_rewrap.audio, "The audio stream to take, by its number");
        verb.add_flag("--no-audio", m_rewrap.noAudio, "Leave the sound out");
        verb.add_option("--rate", m_rewrap.rate, "Frames per second, instead of the file's own")
            ->type_name("RATE");
        verb.add_flag("--lossy-header", m_rewrap.lossyHeader,
                      "Leave out further format data, and streams that are neither video nor audio");
        verb.add_flag("--drop-empty", m_rewrap.dropEmpty, "Leave out frames without data");
        verb.add_flag("--force", m_rewrap.force, "Replace a file that exists");
    }

    void AddRecover()
    {
        CLI::App& verb = AddVerb(
            "recover", "Make a complete AVI file out of a damaged one", kRecoverFooter, m_recover.file,
            [this](auto& report, auto& progress) { RunRecover(m_recover, report, progress); });
        verb.add_option("OUTPUT", m_recover.output, "The AVI file that is written")
            ->required()
            ->type_name("");
        AddNumber(verb, "--video", m_recover.video, "The video stream to take, by its number");
        AddNumber(verb, "--audio", m_recover.audio, "The audio stream to take, by its number");
        verb.add_flag("--no-audio", m_recover.noAudio, "Leave the sound out");
        verb.add_option("--size", m_recover.size, "Size of the pictures")->type_name("WIDTHxHEIGHT");
        verb.add_option("--rate", m_recover.rate, "Frames per second")->type_name("RATE");
        verb.add_option("--codec", m_recover.codec, "FourCC of the frames")->type_name("FOURCC");
        AddNumber(verb, "--bits", m_recover.bits, "Bits per pixel");
        verb.add_option("--pcm", m_recover.pcm, "Format of the sound")->type_name("RATE,CHANNELS,BITS");
        verb.add_flag("--force", m_recover.force, "Replace a file that exists");
    }

    CLI::App m_app;
    bool m_json = false;
    EKrProgressMode m_progress = EKrProgressMode::Auto;
    std::string m_verbName;
    Verb m_verb;
    SKrInfoOptions m_info;
    SKrTreeOptions m_tree;
    SKrIndexOptions m_index;
    SKrExtractOptions m_extract;
    SKrWriteOptions m_write;
    SKrRewrapOptions m_rewrap;
    SKrRecoverOptions m_recover;
};
} // namespace

int RunCommandLine(const std::vector<std::string>& arguments)
{
    try
    {
        return CKrCommandLine().Run(arguments);
    }
    catch (const std::exception& error)
    {
        PrintDiagnostic("kravi: " + Printable(error.what()) + '\n');
        return kExitFailed;
    }
}
} // namespace KrTool
