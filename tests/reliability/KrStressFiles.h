// AVI files on disk that differ in everything a reader reports, with all valid results.
#ifndef KR_TESTS_RELIABILITY_KRSTRESSFILES_H
#define KR_TESTS_RELIABILITY_KRSTRESSFILES_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"
#include "format/KrBytes.h"
#include "tests/support/KrSimpleAvi.h"
#include "tests/support/KrTempFolder.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace KrTest
{
inline void Require(bool holds, const char* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

// The bytes of several values, to compare them at once.
template <class... Values>
std::string Pack(const Values&... values)
{
    std::string packed;
    (packed.append(reinterpret_cast<const char*>(&values), sizeof values), ...);
    return packed;
}

// The outputs of GetVideoStreamInfo, without the frame count that it returns.
inline uint32_t AskVideo(IKrRiffReader& reader, std::string& facts)
{
    SKrAviVideoParams format{};
    uint32_t compression = 0;
    uint16_t bits = 0;
    int isValid = 0;
    uint32_t id = 0;
    const uint32_t frames = reader.GetVideoStreamInfo(&format, &compression, &bits, &isValid, &id);
    facts = Pack(format, compression, bits, isValid, id);
    return frames;
}

inline int AskAudio(IKrRiffReader& reader, std::string& facts)
{
    SKrWaveFormatInfo format{};
    int isValid = 0;
    uint32_t id = 0;
    double duration = 0;
    const int status = reader.GetAudioStreamInfo(&format, &isValid, &id, &duration);
    facts = Pack(format, isValid, id, duration);
    return status;
}

struct SKrStressFile
{
    std::wstring path;
    KrBytes bytes;
    std::vector<SKrRiffChunkInfo> chunks; // all of them, lists included
    std::vector<SKrChunkIndexEntry> videoIndex;
    std::vector<SKrChunkIndexEntry> audioIndex;
    uint32_t headerFrames = 0; // reported until the index is loaded
    std::string video;
    std::string audio;
    std::string audioPattern;
    EKrScanMode scanMode = EKrScanMode::Unknown;
    int horizontal = 0; // of the pixel aspect ratio
    int vertical = 0;

    [[nodiscard]] bool Has(const SKrRiffChunkInfo& chunk) const
    {
        const auto isIt = [&](const SKrRiffChunkInfo& other)
        {
            return other.offset == chunk.offset && other.ckid == chunk.ckid && other.cksize == chunk.cksize &&
                   other.fccType == chunk.fccType;
        };
        return std::ranges::any_of(chunks, isIt);
    }
};

inline bool IsIndex(const CArray<SKrChunkIndexEntry>& loaded, const std::vector<SKrChunkIndexEntry>& index)
{
    return static_cast<size_t>(loaded.GetSize()) == index.size() &&
           std::memcmp(loaded.GetData(), index.data(), index.size() * sizeof index[0]) == 0;
}

// Walks everything below a node, or the whole file, and requires each chunk to be one of the file's.
inline size_t CountChunks(IKrRiffReader& reader, const SKrStressFile& file, SKrRiffChunkNode* node = nullptr)
{
    SKrRiffChunkInfo found{};
    std::vector<SKrRiffChunkNode*> nodes;
    int more = node == nullptr ? reader.FindFirstRiffSegment() : reader.FindFirstSubChunk(node);
    while (more != 0)
    {
        SKrRiffChunkNode*& next = nodes.emplace_back();
        more =
            node == nullptr
                ? reader.FindNextRiffSegment(&found.fccType, &found.cksize, &found.offset, &next)
                : reader.FindNextSubChunk(&found.ckid, &found.fccType, &found.cksize, &found.offset, &next);
    }
    size_t count = nodes.size();
    for (SKrRiffChunkNode* const child : nodes)
    {
        Require(file.Has(child->chunk), "a node of no chunk");
        count += child->chunk.fccType != 0 ? CountChunks(reader, file, child) : 0;
    }
    return count;
}

// Chunk headers are at these positions in each of the files, so that a search can start there whichever is
// open. A close while the reader is busy sets the default start of searches to 200 until the next open.
inline constexpr uint64_t kStressSearchStarts[] = {0, 12, 200, UINT64_MAX};

inline SKrSimpleAvi DescribeStressFile(uint32_t number)
{
    constexpr EKrIndexKind kKinds[] = {EKrIndexKind::Idx1, EKrIndexKind::OpenDml, EKrIndexKind::Both};
    constexpr uint32_t kRates[] = {25, 30, 50};
    const uint32_t rounds = 40 + 11 * number;
    SKrTestBitmapInfo picture;
    picture.width = 640 + 160 * static_cast<int32_t>(number);
    picture.bitCount = static_cast<uint16_t>(16 + 8 * number);
    picture.compression = "KRV" + std::to_string(number);
    SKrSimpleAvi avi;
    avi.streams = {VideoStream(std::vector<uint32_t>(rounds, 1800 + 333 * number), picture),
                   PcmStream(std::vector<uint32_t>(rounds, 400 + 60 * number),
                             PcmFormat(static_cast<uint16_t>(1 + number), 16000 + 16000 * number, 16))};
    avi.streams[0].header.rate = kRates[number];
    avi.mainHeader.totalFrames = 900 + number;
    avi.index = kKinds[number];
    if (number != 0)
        avi.roundsPerSegment = {10 * number, 15};
    avi.entriesPerStdIndex = 7;
    avi.krlA = SKrTestKrlA{
        .scanMode = static_cast<uint8_t>(number), .horizontal = 10 + number, .vertical = 20 + number};
    avi.beforeHdrl = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(180, 0x55));
    }; // to byte 200
    return avi;
}

// Replaces a stream's payloads by bytes that differ between any two files at every position.
inline std::vector<SKrChunkIndexEntry> FillPayloads(SKrBuiltAvi& built, size_t stream, uint32_t number)
{
    std::vector<SKrChunkIndexEntry> entries;
    for (const SKrBuiltChunk& chunk : built.streamChunks[stream])
    {
        KrBytes payload(chunk.size);
        for (size_t at = 0; at < payload.size(); ++at)
            payload[at] = static_cast<uint8_t>((chunk.data + at) * 2654435761u / 65536 + 85 * number);
        built.content.Put(chunk.data, payload);
        entries.push_back({chunk.data, chunk.size, 0});
    }
    return entries;
}

inline SKrStressFile WriteStressFile(const CKrTempFolder& folder, uint32_t number)
{
    SKrBuiltAvi built = BuildSimpleAvi(DescribeStressFile(number));
    SKrStressFile file;
    file.videoIndex = FillPayloads(built, 0, number);
    file.audioIndex = FillPayloads(built, 1, number);
    file.path = folder.Write(std::to_wstring(number) + L".avi", built.content);
    file.bytes = built.Bytes();
    const auto fourCC = [](const std::string& text)
    {
        return text.empty() ? 0 : GetLe32(reinterpret_cast<const uint8_t*>(text.data()));
    };
    for (const SKrBuiltChunk& chunk : built.chunks)
        file.chunks.push_back({fourCC(chunk.id), chunk.size, fourCC(chunk.type), chunk.data});
    file.scanMode = static_cast<EKrScanMode>(number);
    file.horizontal = 10 + static_cast<int>(number);
    file.vertical = 20 + static_cast<int>(number);
    file.headerFrames = 900 + number;
    return file;
}

// Has a reader in one thread report the formats and the summary of the sound.
inline void LearnFormats(SKrStressFile& file)
{
    CKrRef<IKrRiffReader> reader;
    CArray<SKrChunkIndexEntry> entries;
    SKrAudioChunkPattern pattern{};
    Require(KrCreateRiffReader(reader.Put()) != 0 && reader->Open(file.path.c_str()) != 0 &&
                AskVideo(*reader, file.video) == file.headerFrames && AskAudio(*reader, file.audio) != 0 &&
                reader->LoadAudioIndex(entries, &pattern) != 0,
            "a file that cannot be read");
    file.audioPattern = Pack(pattern);
}

// Throws std::runtime_error when the results do not distinguish the files.
inline std::vector<SKrStressFile> WriteStressFiles(const CKrTempFolder& folder)
{
    std::vector<SKrStressFile> files;
    for (uint32_t number = 0; number < 3; ++number)
    {
        SKrStressFile file = WriteStressFile(folder, number);
        LearnFormats(file);
        for (const SKrStressFile& other : files)
            Require(file.bytes.size() != other.bytes.size() && file.video != other.video &&
                        file.audio != other.audio && file.audioPattern != other.audioPattern,
                    "two files cannot be distinguished");
        files.push_back(std::move(file));
    }
    return files;
}
} // namespace KrTest

#endif
