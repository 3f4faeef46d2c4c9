// Payloads of the chunks in an AVI file, for building test files. Each record holds the fields in file order
// with harmless defaults; ToBytes returns the payload without the chunk header. A record can hold any damage
// that a file can.
#ifndef KR_TESTS_SUPPORT_KRAVIRECORDS_H
#define KR_TESTS_SUPPORT_KRAVIRECORDS_H

#include "tests/support/KrFileContent.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KrTest
{
inline constexpr uint32_t kTestHasIndex = 0x10; // AVIF_HASINDEX

// 'avih', 56 bytes. The fields without a value are filled in by BuildSimpleAvi, and are 0 in ToBytes.
struct SKrTestMainHeader
{
    uint32_t microSecPerFrame = 40000;
    uint32_t maxBytesPerSec = 0;
    uint32_t paddingGranularity = 0;
    uint32_t flags = kTestHasIndex;
    std::optional<uint32_t> totalFrames{};
    uint32_t initialFrames = 0;
    std::optional<uint32_t> streams{};
    uint32_t suggestedBufferSize = 0;
    uint32_t width = 720;
    uint32_t height = 576;
};
[[nodiscard]] KrBytes ToBytes(const SKrTestMainHeader& header);

// 'strh'. ToBytes returns 56 bytes with the frame rectangle in four 16-bit values, ToBytes64 the variant with
// four 32-bit values. A length without a value is filled in by BuildSimpleAvi, and is 0 in ToBytes.
struct SKrTestStreamHeader
{
    std::string type = "vids";
    std::string handler = "MJPG";
    uint32_t flags = 0;
    uint16_t priority = 0;
    uint16_t language = 0;
    uint32_t initialFrames = 0;
    uint32_t scale = 1;
    uint32_t rate = 25;
    uint32_t start = 0;
    std::optional<uint32_t> length{};
    uint32_t suggestedBufferSize = 0;
    uint32_t quality = 0xFFFFFFFF;
    uint32_t sampleSize = 0;
    int32_t left = 0;
    int32_t top = 0;
    int32_t right = 720;
    int32_t bottom = 576;
};
[[nodiscard]] KrBytes ToBytes(const SKrTestStreamHeader& header);
[[nodiscard]] KrBytes ToBytes64(const SKrTestStreamHeader& header);

// 'strf' of a video stream: 40 bytes and `extra`.
struct SKrTestBitmapInfo
{
    uint32_t headerSize = 40;
    int32_t width = 720;
    int32_t height = 576;
    uint16_t planes = 1;
    uint16_t bitCount = 24;
    std::string compression = "MJPG";
    uint32_t sizeImage = 0;
    int32_t xPelsPerMeter = 0;
    int32_t yPelsPerMeter = 0;
    uint32_t colorsUsed = 0;
    uint32_t colorsImportant = 0;
    KrBytes extra{};
};
[[nodiscard]] KrBytes ToBytes(const SKrTestBitmapInfo& format);

// 'strf' of an audio stream. ToBytes returns 16 bytes (no cbSize), 18 bytes, or 40 bytes (the extensible
// form: tag 0xFFFE, cbSize 22, valid bits, channel mask and the GUID of the format tag), and then `extra`.
// Throws std::invalid_argument for other sizes.
struct SKrTestWaveFormat
{
    uint16_t formatTag = 1;
    uint16_t channels = 2;
    uint32_t samplesPerSec = 48000;
    uint32_t avgBytesPerSec = 192000;
    uint16_t blockAlign = 4;
    uint16_t bitsPerSample = 16;
    uint16_t cbSize = 0; // in the 18-byte form
    uint32_t channelMask = 3;
    KrBytes extra{};
};
[[nodiscard]] KrBytes ToBytes(const SKrTestWaveFormat& format, size_t size = 16);

// PCM with its block align and byte rate.
[[nodiscard]] SKrTestWaveFormat PcmFormat(uint16_t channels, uint32_t samplesPerSec, uint16_t bitsPerSample);

// 'indx': a 24-byte head, the entries, then `emptySlots` zero-filled entries.
struct SKrTestSuperEntry
{
    uint64_t position = 0; // of the standard index chunk's header
    uint32_t size = 0;     // of the standard index chunk, header included
    uint32_t duration = 0;
};
struct SKrTestSuperIndex
{
    uint16_t longsPerEntry = 4;
    uint8_t subType = 0;
    uint8_t type = 0;
    std::optional<uint32_t> entriesInUse{}; // without a value: the number of entries
    std::string chunkId = "00dc";
    std::array<uint32_t, 3> reserved{};
    std::vector<SKrTestSuperEntry> entries{};
    size_t emptySlots = 0;
};
[[nodiscard]] KrBytes ToBytes(const SKrTestSuperIndex& index);

// 'ix##': a 24-byte head and the entries; 8 bytes each with sub-type 0 (32-bit offset, 32-bit size whose bit
// 31 is set when it is not a key frame), 24 bytes each with sub-type 0x10 (64-bit offset, 32-bit size, 12
// bytes of 0xEE). Other sub-types are written like 0.
struct SKrTestStdEntry
{
    uint64_t offset = 0; // of the payload, from the base offset
    uint32_t size = 0;
    bool keyFrame = true;
};
struct SKrTestStdIndex
{
    std::optional<uint16_t> longsPerEntry{}; // without a value: 2, or 6 with sub-type 0x10
    uint8_t subType = 0;
    uint8_t type = 1;
    std::optional<uint32_t> entriesInUse{}; // without a value: the number of entries
    std::string chunkId = "00dc";
    uint64_t baseOffset = 0;
    uint32_t reserved = 0;
    std::vector<SKrTestStdEntry> entries{};
};
[[nodiscard]] KrBytes ToBytes(const SKrTestStdIndex& index);

// 'idx1': 16 bytes for each entry.
struct SKrTestIdx1Entry
{
    std::string chunkId = "00dc";
    uint32_t flags = 0x10; // AVIIF_KEYFRAME
    uint32_t offset = 0;   // of the chunk's header, from 'movi' or from the file start
    uint32_t size = 0;
};
[[nodiscard]] KrBytes ToBytes(const std::vector<SKrTestIdx1Entry>& entries);

// The private information chunks. `size` truncates the payload or extends it with zeros. The two values of
// the pixel aspect ratio are written highest byte first.
struct SKrTestKrlA
{
    std::array<uint8_t, 16> signature{'k', 'o', 'r', 'i', 'n', '-', 'a', 'v', 'i'};
    uint8_t byte16 = 0;
    std::array<uint8_t, 4> mark{0x00, 0x00, 0x0F, 0x00};
    uint8_t scanMode = 0xFF;
    uint32_t horizontal = 1;
    uint32_t vertical = 1;
    size_t size = 508;
};
[[nodiscard]] KrBytes ToBytes(const SKrTestKrlA& chunk);

struct SKrTestPrmA
{
    std::string atom = "PARf";
    uint32_t atomLength = 20;
    uint32_t version = 0x00010000;
    uint32_t horizontal = 1;
    uint32_t vertical = 1;
    size_t size = 20;
};
[[nodiscard]] KrBytes ToBytes(const SKrTestPrmA& chunk);

struct SKrTestCtsI
{
    std::array<uint8_t, 4> version{0x00, 0x00, 0x02, 0x00};
    uint8_t scanMode = 0xFF;
    size_t size = 196;
};
[[nodiscard]] KrBytes ToBytes(const SKrTestCtsI& chunk);
} // namespace KrTest

#endif
