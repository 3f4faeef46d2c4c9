// kravi hash: checksums of frames and sound, to compare the material of two files.
#include "tools/avi/KrFileList.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/hash/KrHashedFile.h"
#include "tools/hash/KrMaterialComparison.h"

#include <nlohmann/json.hpp>

namespace KrTool
{
namespace
{
const SKrVerbHelp kHashHelp = {
    "hash",
    "Checksums of each stream and each frame",
    {
        R"(Two checksums each: XXH3 with 128 bits (xxh128) and MD5, over the data alone, without chunk headers
        and padding.)",
        R"(Those of a video stream cover the bytes of its frames in order; a second pair (lengths) covers the
        length of each frame as a little-endian 64-bit number. Those of a text stream or another one do the same
        with its chunks. Those of an audio stream cover its bytes
        regardless of chunks, so that they survive a rewrite of the file. The MD5 of a stream is that of the
        output of extract (of a WAVE file: its data).)",
        R"(Streams without an index, or whose index has wrong entries or leaves out chunks, are found by scanning
        the file for their chunks.)",
        R"(--compare compares only the content of the streams, matches streams of a kind in the order of their numbers, and
        names the first frame, chunk or byte that differs.)",
        R"(Findings: differences, with --compare; chunks truncated by the end of the file; wrong and missing index
        entries; fewer frames than the headers announce; frames of zeros; and defects of the whole file (see
        info).)",
    },
    {
        "kravi hash clip.avi",
        "kravi hash clip.avi --frames --json",
        "kravi hash clip.avi --compare copy.avi",
        "kravi hash --brief recordings/",
    },
};

struct SKrHashOptions
{
    SKrFileList files;
    std::string other; // empty: none
    bool frames = false;
};

CKrHashedFile::OnFrame FrameRows(CKrReport& report)
{
    return [&report](const SKrHashedStream& stream, uint64_t frame, uint64_t bytes, const SKrDigest& digest)
    {
        const Json row = {{"stream", stream.chunks.stream},
                          {"frame", frame},
                          {"bytes", bytes},
                          {"xxh128", digest.xxh128},
                          {"md5", digest.md5}};
        report.Row(row, Format("{:>6}{:>10}{:>12}  {}  {}\n", stream.chunks.stream, frame, bytes,
                               digest.xxh128, digest.md5));
    };
}

Json StreamJson(const SKrHashedStream& stream)
{
    Json facts = {{"number", stream.chunks.stream},      {"kind", KindName(stream.kind)},
                  {"source", SourceName(stream.chunks)}, {"bytes", stream.bytes},
                  {"xxh128", stream.content.xxh128},     {"md5", stream.content.md5}};
    if (stream.kind != EKrStreamKind::Audio)
    {
        facts[stream.kind == EKrStreamKind::Video ? "frames" : "chunks"] = stream.chunks.chunks.size();
        facts["lengthsXxh128"] = stream.lengths.xxh128;
        facts["lengthsMd5"] = stream.lengths.md5;
    }
    else
    {
        facts["sampleFrames"] = stream.blockAlign != 0 ? Json(stream.bytes / stream.blockAlign) : Json();
    }
    return facts;
}

// A stream's lines in text.
std::string StreamText(const Json& facts)
{
    std::string text = Format("stream {}\n", JsonText(facts["number"]));
    for (const auto& fact : facts.items())
    {
        if (fact.key() != "number")
            text += "  " + PlainText(fact.key(), fact.value());
    }
    return text;
}

void ReportStreams(const CKrHashedFile& file, std::string_view key, CKrReport& report)
{
    report.BeginRows(key, "");
    for (const SKrHashedStream& stream : file.Streams())
    {
        const Json facts = StreamJson(stream);
        report.Row(facts, StreamText(facts));
    }
    report.EndRows();
}

void Compare(const CKrHashedFile& file, const std::string& otherPath, CKrReport& report,
             CKrProgress& progress)
{
    report.SetSubject(otherPath);
    CKrHashedFile other(otherPath, report, progress);
    other.Hash({});
    report.SetSubject({});
    const std::vector<SKrDifference> differences = Differences(file, other, progress);
    report.Fact("other", otherPath);
    ReportStreams(other, "otherStreams", report);
    report.Fact("same", differences.empty());
    Json list = Json::array();
    for (const SKrDifference& difference : differences)
    {
        list.push_back(difference.facts);
        report.Finding("different: " + difference.text);
    }
    if (report.AsJson())
        report.Fact("differences", list);
}

// "video 0 84ee3c1b..., audio 1 2f53c0b4...": enough to tell files apart.
std::string BriefHashes(const CKrHashedFile& file)
{
    std::vector<std::string> parts;
    for (const SKrHashedStream& stream : file.Streams())
        parts.push_back(
            Format("{} {} {}", KindName(stream.kind), stream.chunks.stream, stream.content.xxh128));
    return parts.empty() ? "no streams" : Joined(parts, ", ");
}

void HashFile(const std::string& path, const SKrHashOptions& options, CKrReport& report,
              CKrProgress& progress)
{
    CKrHashedFile file(path, report, progress);
    report.Fact("file", path);
    if (options.frames)
        report.BeginRows("frames", Format("stream     frame       bytes  {:34}md5\n", "xxh128"));
    file.Hash(options.frames ? FrameRows(report) : CKrHashedFile::OnFrame());
    if (options.frames)
        report.EndRows();
    ReportStreams(file, "streams", report);
    report.Brief(BriefHashes(file));
    if (!options.other.empty())
        Compare(file, options.other, report, progress);
}

void RunHash(const SKrHashOptions& options, CKrReport& report, CKrProgress& progress)
{
    if (!options.other.empty() && (!IsOneFile(options.files) || options.files.isBrief))
        throw CKrToolError({}, "--compare needs exactly one FILE, and not --brief");
    if (!options.other.empty())
        CheckReadable(options.other);
    RunOnEach(options.files, report, progress,
              [&](const std::string& file) { HashFile(file, options, report, progress); });
}
} // namespace

void AddHashVerb(CKrVerbTable& verbs)
{
    const auto options = std::make_shared<SKrHashOptions>();
    CKrVerbOptions& verb = verbs.Add(kHashHelp, [options](auto& report, auto& progress)
                                     { RunHash(*options, report, progress); });
    AddFileList(verb, options->files);
    verb.AddSwitch("--frames", options->frames, "Each frame's checksums as well");
    verb.AddText("--compare", options->other, "FILE", "Another file to compare with");
}
} // namespace KrTool
