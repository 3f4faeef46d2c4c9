// The format of a recovered file: from the options, else from the remaining headers.
#ifndef KR_TOOLS_RECOVER_KRRECOVEREDFORMAT_H
#define KR_TOOLS_RECOVER_KRRECOVEREDFORMAT_H

#include "tools/output/KrRecording.h"
#include "tools/recover/KrDamagedHeaders.h"

#include <cstdint>
#include <optional>
#include <string>

namespace KrTool
{
class CKrReport;

// What a recovery is asked for.
struct SKrRecoverOptions
{
    std::string file;
    std::string output;
    std::optional<uint64_t> video; // stream numbers
    std::optional<uint64_t> audio;
    bool noAudio = false;
    std::string size; // WIDTHxHEIGHT; this and the next four override the headers
    std::string rate;
    std::string codec;
    std::optional<uint64_t> bits;
    std::string pcm;  // RATE,CHANNELS,BITS
    std::string like; // a file to take headers from; empty: none
    bool noFill = false;
    bool isRecording = false; // in the layout of recordings
    bool force = false;

    [[nodiscard]] bool OverridesHeaders() const
    {
        return bits.has_value() || !size.empty() || !rate.empty() || !codec.empty() || !pcm.empty();
    }
};

class CKrRecoveredFormat
{
public:
    CKrRecoveredFormat(const SKrRecoverOptions& options, const SKrAviFacts& headers, CKrReport& report);

    // Takes the video format; `stream` is null when its header is lost. Throws CKrToolError, with the
    // options that would help, when something is not known, and for what the writer does not store.
    void TakeVideo(const SKrAviStream* stream);

    // The same for the sound. False, with a finding, when its format is not known.
    [[nodiscard]] bool TakeAudio(const SKrAviStream* stream);

    [[nodiscard]] const SKrRecordingFormat& Format() const { return m_format; }

    // Bytes of a row of top-down frames, which must be reversed for the writer; 0 for others.
    [[nodiscard]] uint64_t TurnedRow() const { return m_turnedRow; }

private:
    [[noreturn]] void Refuse(const std::string& cause) const;
    void TakeSize(const SKrAviStream* stream);
    void TakeCodec(const SKrAviStream* stream);
    void TakeRate(const SKrAviStream* stream);
    void TakeRowOrder(const SKrAviStream* stream);
    void TakeScanModeAndAspect();

    const SKrRecoverOptions& m_options;
    const SKrAviFacts& m_headers;
    CKrReport& m_report;
    SKrRecordingFormat m_format;
    uint64_t m_turnedRow = 0;
    std::string m_missing; // the options that are needed
};
} // namespace KrTool

#endif
