// What an engineer wants to know of a file first: its length in time, its streams, its health.
#ifndef KR_TOOLS_INFO_KRFILESUMMARY_H
#define KR_TOOLS_INFO_KRFILESUMMARY_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/avi/KrChunkIds.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KrTool
{
class CKrAviFile;
class CKrProgress;
struct SKrCarriedHeader;

// Where a fact comes from.
enum class EKrFactSource : uint8_t
{
    None, // the file does not say
    PrivateChunk,
    VideoProperties, // 'vprp'
    Frames           // of DV, which describe themselves
};
const char* SourceName(EKrFactSource source);

// Width to height.
struct SKrDisplayAspect
{
    uint32_t horizontal = 0;
    uint32_t vertical = 0;
    EKrFactSource source = EKrFactSource::None;
};

struct SKrPictureFacts
{
    uint32_t compression = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t bitCount = 0;
    bool isTopDown = false;
    SKrDisplayAspect aspect;
    EKrScanMode scan = EKrScanMode::Unknown;
    bool isInterlaced = false; // though the order of the fields may be unknown
    EKrFactSource scanSource = EKrFactSource::None;
};

struct SKrStreamSummary
{
    uint32_t number = 0;
    uint32_t type = 0;
    EKrStreamKind kind = EKrStreamKind::Other;
    std::string codec; // in words; empty: not known
    SKrUnitRate rate;  // of units: frames, sample frames or packets
    uint64_t units = 0;
    double start = 0; // seconds
    std::optional<double> seconds;
    uint64_t bytes = 0;               // of the chunks that were found
    std::optional<uint64_t> chunks;   // nothing where none could be found
    std::optional<uint64_t> keyUnits; // chunks that an index marks; nothing where none does
    SKrPictureFacts picture;          // of video
    SKrAudioFormat sound;             // of audio
    uint64_t bitsPerSecond = 0;       // 0: unknown
};

enum class EKrHealth : uint8_t
{
    Complete,
    BeingRecorded,
    NotClosed,
    Truncated,
    NotAnAviFile // bare chunks
};

struct SKrHealth
{
    EKrHealth state = EKrHealth::Complete;
    uint64_t missingBytes = 0; // of a truncated file
};

// `growing`: as GetGrowingState reports the file, or 0.
SKrHealth HealthOf(const CKrAviFile& file, const SKrAviFacts& facts, uint32_t growing);

struct SKrFileSummary
{
    std::string container;
    size_t segments = 0;
    uint64_t bytes = 0;
    std::optional<double> seconds;
    uint64_t bitsPerSecond = 0; // 0: unknown
    std::vector<SKrStreamSummary> streams;
    SKrHealth health;

    [[nodiscard]] const SKrStreamSummary* FirstVideo() const;
};

// `header`: null where the headers are not whole.
SKrFileSummary Summarise(const CKrAviFile& file, const SKrAviFacts& facts, const SKrCarriedHeader* header,
                         const SKrHealth& health, CKrProgress& progress);
} // namespace KrTool

#endif
