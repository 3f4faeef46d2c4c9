// A file that is made with the library's writer, at the speed of the disk. It appears under its name only
// when it is complete and was read back.
#ifndef KR_TOOLS_OUTPUT_KRRECORDING_H
#define KR_TOOLS_OUTPUT_KRRECORDING_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "platform/KrPlatform.h"
#include "tools/output/KrSampleLoader.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KrTool
{
class CKrProgress;

struct SKrPcm
{
    uint16_t channels = 0;
    uint32_t samplesPerSec = 0;
    uint16_t bitsPerSample = 0;
    uint16_t blockAlign = 0;
};

struct SKrRecordingFormat
{
    SKrAviVideoParams video{};
    uint32_t codec = 0; // FourCC, 0 for uncompressed frames
    std::optional<SKrPcm> audio;
};

struct SKrRecordingResult
{
    uint64_t frames = 0;
    uint64_t audioBytes = 0;
    uint64_t fileBytes = 0;
    uint64_t segments = 0;
};

class CKrRecording
{
public:
    CKrRecording(std::string target, bool replace, const SKrRecordingFormat& format, CKrProgress& progress);
    ~CKrRecording();
    CKrRecording(const CKrRecording&) = delete;
    CKrRecording& operator=(const CKrRecording&) = delete;

    // Submits a frame with its audio before it. They throw CKrToolError once writing,
    // or loading a sample, has failed.
    void AddFrame(SKrSampleBytes frame);
    void AddAudio(SKrSampleBytes block);

    // What the writer does and has done.
    [[nodiscard]] SKrRecordingStatus Status() const;

    // Completes the file, reads it back and gives it its name.
    SKrRecordingResult Commit();

private:
    // A clock without the pauses that spare other disk traffic during a recording.
    class CDiskSpeedClock final : public IKrClock
    {
    public:
        uint32_t TickCount() override { return KrPlatform::OsClock().TickCount(); }
        int64_t PerformanceCounter() override { return KrPlatform::OsClock().PerformanceCounter(); }
        int64_t PerformanceFrequency() override { return KrPlatform::OsClock().PerformanceFrequency(); }
        void Sleep(uint32_t) override {}
    };

    [[noreturn]] void Fail(const std::string& cause) const;
    CKrRef<IKrMediaSample> Borrow(SKrSampleBytes bytes);
    void AddPool();
    [[nodiscard]] SKrRecordingResult ReadBackOrFail() const;
    [[nodiscard]] SKrRecordingResult ReadBack() const;
    void Check(int status);

    const std::string m_target;
    const bool m_replace;
    CKrProgress& m_progress;
    std::string m_temporary; // empty when there is none
    CDiskSpeedClock m_clock;
    KrPlatform::CClockScope m_clockScope{m_clock};
    std::shared_ptr<CKrSampleLoader> m_loader = std::make_shared<CKrSampleLoader>();
    std::vector<CKrRef<IKrdsMediaSamplePool>> m_pools;
    unsigned long m_poolSize = 256; // of the next one
    CKrRef<IKrAviWriter> m_writer;
    uint64_t m_frames = 0;
    uint64_t m_audioBytes = 0;
    uint64_t m_frameBytes = 0;
};
} // namespace KrTool

#endif
