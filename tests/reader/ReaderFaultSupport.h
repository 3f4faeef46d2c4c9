// One operation of a reader after the other while the file system fails, and the results of each.
#ifndef KR_TESTS_READER_READERFAULTSUPPORT_H
#define KR_TESTS_READER_READERFAULTSUPPORT_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "tests/reader/IndexLoadInnerSupport.h"
#include "tests/support/KrFaultyFileSystem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace KrTest
{
// All results of an operation, in order: chunks as id, size and position; entries as size and position.
using KrSeen = std::vector<std::tuple<uint32_t, uint32_t, uint64_t>>;

struct SKrOutcome
{
    int status = 0;
    bool threw = false; // CInvalidArgException, which loads may throw
    KrSeen seen;

    bool operator==(const SKrOutcome&) const = default;
};

inline void PrintTo(const SKrOutcome& outcome, std::ostream* out)
{
    *out << "status " << outcome.status << (outcome.threw ? ", thrown, " : ", ") << outcome.seen.size()
         << " seen";
}

// All nodes, level by level. A node that was reported with a container's id but without its type is a leaf.
[[nodiscard]] inline SKrOutcome Walk(IKrRiffReader& reader)
{
    SKrOutcome outcome;
    uint32_t ckid, type, size;
    uint64_t offset;
    std::vector<SKrRiffChunkNode*> open;
    outcome.status = reader.FindFirstRiffSegment();
    for (int more = outcome.status; more != 0;)
    {
        SKrRiffChunkNode* node = nullptr;
        more = reader.FindNextRiffSegment(&type, &size, &offset, &node);
        if (node == nullptr)
            break;
        outcome.seen.emplace_back(node->chunk.ckid, size, offset);
        open.push_back(node);
    }
    for (size_t at = 0; at < open.size(); ++at)
    {
        for (int more = reader.FindFirstSubChunk(open[at]); more != 0;)
        {
            SKrRiffChunkNode* node = nullptr;
            more = reader.FindNextSubChunk(&ckid, &type, &size, &offset, &node);
            if (node == nullptr)
                break;
            outcome.seen.emplace_back(ckid, size, offset);
            if (type != 0)
                open.push_back(node);
        }
    }
    return outcome;
}

[[nodiscard]] inline SKrOutcome Search(IKrRiffReader& reader)
{
    SKrOutcome outcome;
    CDWordArray ids;
    for (const uint32_t id : {0x5453494Cu /* LIST */, 0x63643030u /* 00dc */, 0x31786469u /* idx1 */})
        ids.Add(id);
    outcome.status = reader.FindFirstChunk(&ids, ~uint64_t{0});
    for (int more = outcome.status; more != 0;)
    {
        uint32_t ckid, type, size;
        uint64_t offset;
        more = reader.FindNextChunk(&ckid, &type, &size, &offset, nullptr);
        outcome.seen.emplace_back(ckid, size, offset);
    }
    reader.EndChunkSearch();
    return outcome;
}

template <class Load>
[[nodiscard]] SKrOutcome OutcomeOfLoad(Load&& load)
{
    SKrOutcome outcome;
    try
    {
        const SKrLoadAnswer answer = load();
        outcome.status = answer.status;
        for (const auto& [position, size] : answer.entries)
            outcome.seen.emplace_back(0, size, position);
    }
    catch (const CInvalidArgException&)
    {
        outcome.threw = true;
    }
    return outcome;
}

[[nodiscard]] inline SKrOutcome LoadVideoStep(IKrRiffReader& reader)
{
    return OutcomeOfLoad([&] { return LoadVideoOf(reader); });
}

[[nodiscard]] inline SKrOutcome LoadAudioStep(IKrRiffReader& reader)
{
    return OutcomeOfLoad([&] { return LoadAudioOf(reader); });
}

[[nodiscard]] inline SKrOutcome Queries(IKrRiffReader& reader)
{
    SKrOutcome outcome;
    EKrScanMode mode = EKrScanMode::Unknown;
    int horizontal = 0;
    int vertical = 0;
    outcome.status = KrRiffUtils::GetAviScanMode(&reader, mode);
    if (outcome.status != 0)
        outcome.seen.emplace_back(1, static_cast<uint32_t>(mode), 0);
    if (KrRiffUtils::GetAviPixelAspectRatio(&reader, horizontal, vertical) != 0)
        outcome.seen.emplace_back(2, static_cast<uint32_t>(horizontal), static_cast<uint64_t>(vertical));
    return outcome;
}

struct SKrReaderStep
{
    const char* name;
    SKrOutcome (*run)(IKrRiffReader& reader);
};

inline void PrintTo(const SKrReaderStep& step, std::ostream* out)
{
    *out << step.name;
}

inline constexpr SKrReaderStep kReaderSteps[] = {{"Walk", Walk},
                                                 {"Search", Search},
                                                 {"Video", LoadVideoStep},
                                                 {"Audio", LoadAudioStep},
                                                 {"Queries", Queries}};

// Whether everything that was reported exists, wherever the operation ended.
[[nodiscard]] inline bool IsPartOf(const KrSeen& seen, const KrSeen& truth)
{
    return std::all_of(seen.begin(), seen.end(),
                       [&](const auto& item)
                       { return std::find(truth.begin(), truth.end(), item) != truth.end(); });
}

// Whether a thread that never held the reader's lock gets it.
[[nodiscard]] inline bool OtherThreadsGetTheLock(CKrRiffReader& reader)
{
    bool entered = false;
    std::thread(
        [&]
        {
            entered = reader.Lock().TryEnter();
            if (entered)
                reader.Lock().Leave();
        })
        .join();
    return entered;
}

// A file with everything that the steps search for; only its first headers lie within the first 8 KiB.
[[nodiscard]] inline SKrSimpleAvi FaultyAvi(EKrIndexKind index)
{
    SKrSimpleAvi avi;
    avi.index = index;
    avi.streams = {VideoStream({20'000, 20'001, 20'002, 20'003}), PcmStream({7680, 7681, 7682, 7683})};
    avi.krlA = SKrTestKrlA{.scanMode = 2, .horizontal = 64, .vertical = 45};
    avi.entriesPerStdIndex = 1;
    if (index == EKrIndexKind::OpenDml)
        avi.roundsPerSegment = {2, 1, 1};
    avi.afterMovi = [](CKrAviBuilder& file)
    {
        file.Chunk("JUNK", KrBytes(9000, 0x22));
        file.Zeros(70'000); // which the lookups jump, a read at a time
    };
    return avi;
}
} // namespace KrTest

#endif
