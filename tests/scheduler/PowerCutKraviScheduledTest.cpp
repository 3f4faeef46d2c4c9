// The power goes: what kravi verify finds in the states of the disk, and what kravi recover brings back.
#include "format/KrChunkHeader.h"
#include "tests/scheduler/KrPowerCut.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrProgress.h"
#include "tools/recover/KrChunkScan.h"
#include "tools/recover/KrDamagedHeaders.h"
#include "tools/verify/KrVerify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace KrTest
{
namespace
{
class CBytesInMemory final : public KrTool::CKrByteSource
{
public:
    explicit CBytesInMemory(const KrBytes& bytes) : CKrByteSource("crashed.avi"), m_bytes(bytes)
    {
        SetLength(bytes.size());
    }
    size_t ReadAt(uint64_t position, void* buffer, size_t count) const override
    {
        if (position >= m_bytes.size())
            return 0;
        const size_t there = std::min<size_t>(count, m_bytes.size() - static_cast<size_t>(position));
        std::memcpy(buffer, m_bytes.data() + position, there);
        return there;
    }

private:
    const KrBytes& m_bytes;
};

using Checks = std::vector<KrTool::EKrCheck>;

// Entries that name something else than a chunk, and what leads to the entries.
const Checks& ChecksOfNames()
{
    using enum KrTool::EKrCheck;
    static const Checks checks = {
        RiffMissing,    HdrlMissing,   MoviMissing,  AvihMissing,      StrhMissing,       StrfMissing,
        IndxShort,      IndxShape,     IndxCount,    IndxEntryZero,    IndxEntryRepeated, IndxEntryNoIndex,
        IxShort,        IxShape,       IxCount,      IxOffsetAtHeader, IxOffsetRepeated,  IxEntryNoChunk,
        IxEntryInChunk, IxSizeDiffers, IxOtherStream};
    return checks;
}

const Checks& ChecksOfOldIndexes()
{
    using enum KrTool::EKrCheck;
    static const Checks checks = {Idx1EntryNoChunk, Idx1EntryInChunk, Idx1SizeDiffers,   Idx1IdDiffers,
                                  Idx1IdUnknown,    Idx1OffsetZero,   Idx1OffsetRepeated};
    return checks;
}

// One that the size of its segment does not cover yet is not in the file for those who read by sizes.
bool HasOldIndex(const KrTool::SKrVerifyModel& model)
{
    if (model.segments.empty() || !model.segments[0].oldIndex)
        return false;
    const KrTool::SKrSegmentPlace& segment = model.segments[0];
    return segment.oldIndex->End() <= segment.position + kChunkHeaderSize + segment.size;
}

std::string FoundBy(const Checks& checks, const KrTool::CKrVerifyResults& results)
{
    std::string codes;
    for (const KrTool::EKrCheck check : checks)
    {
        const KrTool::SKrCheckResult& result = results.Of(check);
        if (result.count != 0)
            codes += std::string(KrTool::kChecks[static_cast<size_t>(check)].code) + ": expected " +
                     result.places[0].what.expected + ", found " + result.places[0].what.found + "; ";
    }
    return codes;
}

// Also sets whether the file has an 'idx1', which is the last that a recording writes.
std::string WrongNamesByVerify(const KrTool::CKrByteSource& file, bool& hasOldIndex)
{
    KrTool::CKrProgress silent(KrTool::EKrProgressMode::None, "verify");
    KrTool::SKrVerification verification;
    KrTool::Verify(file, verification, silent);
    hasOldIndex = HasOldIndex(verification.model);
    return FoundBy(ChecksOfNames(), verification.results) +
           (hasOldIndex ? FoundBy(ChecksOfOldIndexes(), verification.results) : "");
}

// How many of the chunks kravi recover would leave out. Both are in the order of the file.
size_t LostChunks(std::span<const SKrChunkIndexEntry> chunks, const KrTool::SKrScanResult& scan,
                  KrTool::StreamKey stream)
{
    if (chunks.empty())
        return 0;
    const auto at = scan.streams.find(stream);
    if (at == scan.streams.end())
        return chunks.size();
    size_t lost = 0;
    auto found = at->second.chunks.begin();
    const auto end = at->second.chunks.end();
    for (const SKrChunkIndexEntry& chunk : chunks)
    {
        while (found != end && found->position < chunk.position)
            ++found;
        lost += found == end || found->position != chunk.position || found->size != chunk.size ? 1 : 0;
    }
    return lost;
}

// Those that a crash could not undo.
std::span<const SKrChunkIndexEntry> DurableChunks(const std::vector<SKrChunkIndexEntry>& all, uint64_t size)
{
    const auto isDurable = [size](const SKrChunkIndexEntry& chunk)
    {
        return chunk.position + chunk.size <= size;
    };
    return {all.begin(), std::ranges::partition_point(all, isDurable)};
}

// Answers how many frames were durable.
size_t ExpectRecovery(const CKrPowerCut& cut, const KrTool::CKrByteSource& file)
{
    KrTool::CKrProgress silent(KrTool::EKrProgressMode::None, "recover");
    const KrTool::SKrScanResult scan = KrTool::FindWholeChunks(file, cut.HasAudio() ? 2 : 1, silent);
    const auto video = DurableChunks(cut.All().video, cut.DurableSize());
    const auto audio = DurableChunks(cut.All().audio, cut.DurableSize());
    EXPECT_EQ(LostChunks(video, scan, {0, KrTool::EKrStreamKind::Video}), 0u);
    EXPECT_EQ(LostChunks(audio, scan, {1, KrTool::EKrStreamKind::Audio}), 0u);
    return video.size();
}

// What kravi recover takes the format from.
void ExpectHeaders(const CKrPowerCut& cut, const KrTool::CKrByteSource& file)
{
    const KrTool::CKrDamagedHeaders headers(file);
    const KrTool::SKrAviStream* const video = headers.HeaderOf(KrTool::EKrStreamKind::Video, 0);
    const KrTool::SKrAviStream* const audio = headers.HeaderOf(KrTool::EKrStreamKind::Audio, 1);
    ASSERT_NE(video, nullptr);
    EXPECT_TRUE(video->hasHeader);
    EXPECT_EQ(audio != nullptr && audio->hasHeader, cut.HasAudio());
}
} // namespace

TEST(PowerCutKravi, PowerSafeRecordings_NameOnlyWhatIsThereAndAreRecovered)
{
    uint64_t frames = 0;
    uint64_t looks = 0;
    uint64_t withOldIndex = 0;
    ForEveryCrash(kKrRecordingPowerSafe, CrashStates(),
                  [&](const CKrPowerCut& cut, const KrBytes& crashed)
                  {
                      const CBytesInMemory file(crashed);
                      bool hasOldIndex = false;
                      EXPECT_EQ(WrongNamesByVerify(file, hasOldIndex), "");
                      withOldIndex += hasOldIndex ? 1 : 0;
                      frames += ExpectRecovery(cut, file);
                      if (looks++ % 10 == 0) // they are 64 KB, and take longer than all the rest
                          ExpectHeaders(cut, file);
                  });
    EXPECT_GT(frames, CrashStates()) << "else nothing is shown";
    EXPECT_GT(withOldIndex, 0u);
}

// Their indexes may name anything, but what a flush has covered is brought back.
TEST(PowerCutKravi, OtherRecordings_AreRecovered)
{
    uint64_t frames = 0;
    uint64_t broken = 0;
    ForEveryCrash(0, std::min<uint64_t>(CrashStates(), 1000),
                  [&](const CKrPowerCut& cut, const KrBytes& crashed)
                  {
                      const CBytesInMemory file(crashed);
                      bool hasOldIndex = false;
                      broken += WrongNamesByVerify(file, hasOldIndex).empty() ? 0 : 1;
                      frames += ExpectRecovery(cut, file);
                  });
    EXPECT_GT(frames, 1000u);
    EXPECT_GT(broken, 0u);
}
} // namespace KrTest
