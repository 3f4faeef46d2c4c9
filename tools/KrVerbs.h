// The verbs: what each is asked for, and the function that does it. They throw CKrToolError when they fail.
#ifndef KR_TOOLS_KRVERBS_H
#define KR_TOOLS_KRVERBS_H

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;
class CKrReport;
struct SKrAviFacts;

struct SKrInfoOptions
{
    std::string file;
};
void RunInfo(const SKrInfoOptions& options, CKrReport& report, CKrProgress& progress);

struct SKrTreeOptions
{
    std::string file;
    uint64_t depth = 0;        // levels shown; 0: all
    uint64_t run = 8;          // chunks shown of a run before the rest is summed up
    bool all = false;          // show runs in full
    uint64_t limit = 10000000; // nodes read at most
};
void RunTree(const SKrTreeOptions& options, CKrReport& report, CKrProgress& progress);

struct SKrIndexOptions
{
    std::string file;
    bool video = false; // neither: both
    bool audio = false;
    bool summary = false;
    bool check = false; // compare with the chunks in the file
    std::optional<uint64_t> from;
    std::optional<uint64_t> to; // inclusive
};
void RunIndex(const SKrIndexOptions& options, CKrReport& report, CKrProgress& progress);

struct SKrExtractOptions
{
    std::string file;
    std::string video; // pattern or name; empty: no video
    std::string audio; // name; empty: no audio
    std::optional<uint64_t> videoStream;
    std::optional<uint64_t> audioStream;
    std::optional<uint64_t> from; // frames
    std::optional<uint64_t> to;   // inclusive
    bool force = false;
};
void RunExtract(const SKrExtractOptions& options, CKrReport& report, CKrProgress& progress);

struct SKrWriteOptions
{
    std::string file;  // that is written
    std::string jpeg;  // pattern; this or raw
    std::string raw;   // pattern or name
    std::string audio; // WAVE file; empty: no sound
    std::optional<uint64_t> start;
    std::string rate = "25";
    std::string scan = "progressive";
    std::optional<uint64_t> aspectMode;
    std::optional<uint64_t> displayWidth;
    std::string size; // of raw pictures, WIDTHxHEIGHT
    uint64_t bits = 24;
    std::string codec; // of raw pictures; empty: uncompressed
    uint64_t stride = 0;
    std::string rows = "top-down";
    bool force = false;
};
void RunWrite(const SKrWriteOptions& options, CKrReport& report, CKrProgress& progress);

struct SKrRewrapOptions
{
    std::string file;
    std::string output;
    std::optional<uint64_t> video; // stream numbers
    std::optional<uint64_t> audio;
    bool noAudio = false;
    std::string rate; // instead of the file's own
    bool lossyHeader = false;
    bool dropEmpty = false;
    bool force = false;
};
void RunRewrap(const SKrRewrapOptions& options, CKrReport& report, CKrProgress& progress);

struct SKrRecoverOptions
{
    std::string file;
    std::string output;
    std::optional<uint64_t> video; // stream numbers
    std::optional<uint64_t> audio;
    bool noAudio = false;
    std::string size; // WIDTHxHEIGHT; this and the next four instead of what the headers say
    std::string rate;
    std::string codec;
    std::optional<uint64_t> bits;
    std::string pcm; // RATE,CHANNELS,BITS
    bool force = false;
};
void RunRecover(const SKrRecoverOptions& options, CKrReport& report, CKrProgress& progress);

// What is wrong with a file as a whole, whatever it was opened for.
void ReportFileFindings(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report);
} // namespace KrTool

#endif
