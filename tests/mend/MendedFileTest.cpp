// Changes in place: the bytes written, what a failed call leaves, and what a crash leaves.
#include "tests/mend/KrCrashDisk.h"
#include "tests/support/KrCountingFileSystem.h"
#include "tests/support/KrFaultyFileSystem.h"
#include "tests/support/KrSimpleAvi.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrToolError.h"
#include "tools/mend/KrFieldPlan.h"
#include "tools/mend/KrMendedFile.h"
#include "tools/mend/KrReindexPlan.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

namespace KrTest
{
namespace
{
using KrTool::CKrBytePatches;
using KrTool::CKrMendedFile;
using KrTool::CKrToolError;

constexpr char kFile[] = "a.avi";
constexpr wchar_t kWideFile[] = L"a.avi";
constexpr wchar_t kUndoFile[] = L"a.avi.kravi-undo";

KrBytes RandomBytes(size_t count, std::mt19937_64& random)
{
    KrBytes bytes(count);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random());
    return bytes;
}

void Apply(KrBytes& content, uint64_t position, const KrBytes& bytes)
{
    content.resize(std::max(content.size(), static_cast<size_t>(position) + bytes.size()));
    std::ranges::copy(bytes, content.begin() + static_cast<ptrdiff_t>(position));
}

// A few patches one after the other, of which the last may lead past the end. Also applies them.
CKrBytePatches RandomPatches(KrBytes& content, std::mt19937_64& random)
{
    CKrBytePatches patches;
    size_t position = 0;
    for (size_t count = 1 + random() % 4; count > 0 && position < content.size(); --count)
    {
        position += random() % (content.size() - position + 1);
        const KrBytes bytes = RandomBytes(1 + random() % 1500, random);
        patches.Put(position, bytes);
        Apply(content, position, bytes);
        position += bytes.size();
    }
    return patches;
}

// An AVI file, which may be cut.
KrBytes RandomAvi(std::mt19937_64& random)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream({300, 301, 302, 303, 304}), PcmStream({400, 400, 400, 400, 400})};
    constexpr EKrIndexKind kKinds[] = {EKrIndexKind::None, EKrIndexKind::Idx1, EKrIndexKind::OpenDml,
                                       EKrIndexKind::Both};
    avi.index = kKinds[random() % std::size(kKinds)];
    if (avi.index == EKrIndexKind::OpenDml)
        avi.roundsPerSegment = {2, 2};
    KrBytes bytes = BuildSimpleAvi(avi).Bytes();
    if (random() % 4 != 0)
        bytes.resize(bytes.size() / 2 + random() % (bytes.size() / 2));
    return bytes;
}

// What reindex and set would change.
CKrBytePatches MendingPatches(const CKrMendedFile& file, std::mt19937_64& random)
{
    KrTool::CKrProgress silent(KrTool::EKrProgressMode::None, "reindex");
    if (random() % 3 != 0)
        return KrTool::PlanReindex(file, silent).patches;
    KrTool::SKrFieldValues values;
    values.rate = std::to_string(1 + random() % 100);
    values.codec = "XVID";
    return KrTool::PlanFields(file, values).patches;
}

uint64_t States()
{
    const char* const text = std::getenv("KR_CRASHES");
    return text != nullptr ? std::strtoull(text, nullptr, 10) : 2000;
}

// Changes of a file and their undoing, with each content that it had.
class CKrMendedHistory
{
public:
    explicit CKrMendedHistory(uint64_t seed)
        : m_random(seed), m_isAvi(seed % 2 == 0),
          m_first(m_isAvi ? RandomAvi(m_random) : RandomBytes(1 + m_random() % 6000, m_random)),
          m_disk({{kWideFile, m_first}})
    {
    }

    void Run()
    {
        std::vector<KrBytes> contents = {m_first};
        m_known.insert(m_first);
        for (size_t steps = 1 + m_random() % 4; steps > 0; --steps)
        {
            CKrMendedFile file(m_disk, kFile);
            if (contents.size() > 1 && m_random() % 2 == 0)
            {
                static_cast<void>(file.Undo());
                contents.pop_back();
            }
            else
            {
                KrBytes next = contents.back();
                const CKrBytePatches patches =
                    m_isAvi ? MendingPatches(file, m_random) : RandomPatches(next, m_random);
                if (file.Change(patches, "set").ranges == 0)
                    continue;
                contents.push_back(m_isAvi ? m_disk.Now().at(kWideFile) : next);
                m_known.insert(contents.back());
            }
            ASSERT_EQ(m_disk.Now().at(kWideFile), contents.back());
        }
    }

    [[nodiscard]] CKrCrashDisk::Files Crash()
    {
        return m_disk.Crash(m_random() % (m_disk.Events() + 1), m_random);
    }
    [[nodiscard]] bool IsKnown(const KrBytes& content) const { return m_known.contains(content); }
    [[nodiscard]] const KrBytes& First() const { return m_first; }
    [[nodiscard]] std::mt19937_64& Random() { return m_random; }

private:
    std::mt19937_64 m_random;
    const bool m_isAvi;
    const KrBytes m_first;
    CKrCrashDisk m_disk;
    std::set<KrBytes> m_known;
};

struct SKrCrashCounts
{
    uint64_t states = 0;
    uint64_t half = 0; // neither the old file nor the new one
    uint64_t again = 0;
};

// Takes all changes back, in which the power may fail once more. Every content on the way is one that the
// file had.
void ExpectAllUndone(CKrMendedHistory& history, CKrCrashDisk::Files files, SKrCrashCounts& counts)
{
    for (int step = 0; files.contains(kUndoFile); ++step)
    {
        ASSERT_LT(step, 20);
        CKrCrashDisk disk(files);
        static_cast<void>(CKrMendedFile(disk, kFile).Undo());
        ASSERT_TRUE(history.IsKnown(disk.Now().at(kWideFile))) << "step " << step;
        const bool failsAgain = step < 6 && history.Random()() % 3 == 0;
        counts.again += failsAgain ? 1 : 0;
        files =
            failsAgain ? disk.Crash(history.Random()() % (disk.Events() + 1), history.Random()) : disk.Now();
    }
    EXPECT_EQ(files.at(kWideFile), history.First());
}

// A further change is refused while one is half done, and possible otherwise.
void ExpectChangeable(CKrMendedHistory& history, const CKrCrashDisk::Files& files)
{
    CKrCrashDisk disk(files);
    const bool isKnown = history.IsKnown(files.at(kWideFile));
    KrBytes next = files.at(kWideFile);
    const CKrBytePatches patches = RandomPatches(next, history.Random());
    try
    {
        static_cast<void>(CKrMendedFile(disk, kFile).Change(patches, "set"));
        EXPECT_TRUE(isKnown);
        EXPECT_EQ(disk.Now().at(kWideFile), next);
        static_cast<void>(CKrMendedFile(disk, kFile).Undo());
    }
    catch (const CKrToolError& error)
    {
        EXPECT_FALSE(isKnown) << error.what();
    }
    EXPECT_EQ(disk.Now().at(kWideFile), files.at(kWideFile));
}
} // namespace

TEST(MendedFile, CrashAtAnyWrite_LeavesAKnownFileOrOneThatUndoRestores)
{
    constexpr uint64_t kStatesOfAHistory = 20;
    SKrCrashCounts counts;
    for (uint64_t seed = 0; counts.states < States() && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        CKrMendedHistory history(seed);
        history.Run();
        for (uint64_t state = 0; state < kStatesOfAHistory; ++state, ++counts.states)
        {
            const CKrCrashDisk::Files files = history.Crash();
            const bool isKnown = history.IsKnown(files.at(kWideFile));
            counts.half += isKnown ? 0 : 1;
            EXPECT_TRUE(isKnown || files.contains(kUndoFile));
            if (state % 4 == 0)
                ExpectChangeable(history, files);
            ExpectAllUndone(history, files, counts);
        }
    }
    EXPECT_GT(counts.half, States() / 50) << "else nothing is shown";
    EXPECT_GT(counts.again, States() / 50);
}

// A full disk, an error of the device: at every call, once and from then on.
TEST(MendedFile, FailedCall_LeavesTheOldFileOrOneThatUndoRestores)
{
    std::mt19937_64 random(1);
    const KrBytes first = RandomBytes(3000, random);
    KrBytes changed = first;
    const CKrBytePatches patches = RandomPatches(changed, random);
    for (const EKrFileCall kind :
         {EKrFileCall::Open, EKrFileCall::Size, EKrFileCall::Read, EKrFileCall::Create, EKrFileCall::Write,
          EKrFileCall::Flush, EKrFileCall::FlushName})
    {
        for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
        {
            CKrMemoryFileSystem memory;
            CKrFaultyFileSystem files(memory);
            uint64_t refused = 0;
            const auto change = [&](uint64_t)
            {
                memory.Set(kWideFile, KrBytes(first));
                memory.Remove(kUndoFile);
                try
                {
                    static_cast<void>(CKrMendedFile(files, kFile).Change(patches, "set"));
                    EXPECT_EQ(memory.Content(kWideFile).ToBytes(), changed);
                }
                catch (const CKrToolError&)
                {
                    ++refused;
                }
                if (memory.Exists(kUndoFile))
                    static_cast<void>(CKrMendedFile(memory, kFile).Undo());
                EXPECT_EQ(memory.Content(kWideFile).ToBytes(), first);
            };
            const uint64_t faults = ForEveryFailedCall(files, kind, span, change);
            EXPECT_EQ(refused, faults);
            EXPECT_GT(faults, 0u);
        }
    }
}

TEST(MendedFile, FullDisk_LeavesTheOldFile)
{
    std::mt19937_64 random(2);
    const KrBytes first = RandomBytes(3000, random);
    CKrBytePatches patches;
    patches.Put(100, RandomBytes(50, random));
    patches.Put(2990, RandomBytes(4000, random));
    for (const uint64_t capacity : {0, 50, 100, 3000, 3500, 6989}) // of the undo file, and of the file
    {
        CKrMemoryFileSystem memory;
        memory.Set(kWideFile, KrBytes(first));
        memory.SetCapacity(capacity);
        EXPECT_THROW(static_cast<void>(CKrMendedFile(memory, kFile).Change(patches, "set")), CKrToolError);
        EXPECT_EQ(memory.Content(kWideFile).ToBytes(), first) << capacity;
        EXPECT_FALSE(memory.Exists(kUndoFile)) << capacity;
    }
}

// Of a file of 10 GB little is read, and no more than the change and its record written.
TEST(MendedFile, FieldsOfALargeFile_CostNoMoreThanThoseOfASmallOne)
{
    SKrSimpleAvi avi;
    avi.streams = {VideoStream(std::vector<uint32_t>(11, 1'000'000'000))};
    avi.roundsPerSegment = std::vector<size_t>(11, 1);
    avi.index = EKrIndexKind::OpenDml;
    CKrMemoryFileSystem memory;
    memory.Set(kWideFile, BuildSimpleAvi(avi).content);
    CKrCountingFileSystem files(memory);
    KrTool::SKrFieldValues values;
    values.rate = "30000/1001";
    {
        CKrMendedFile file(files, kFile);
        EXPECT_GT(file.Length(), 10'000'000'000u);
        EXPECT_GT(file.Change(KrTool::PlanFields(file, values).patches, "set").bytes, 0u);
    }
    const SKrFileCalls calls = files.Calls();
    EXPECT_LT(calls.bytes, 250'000u);
    EXPECT_LT(calls.written, 250u);
    EXPECT_EQ(calls.flushes, 2u) << "of the undo file, and of the file";
    static_cast<void>(CKrMendedFile(files, kFile).Undo());
    EXPECT_LT(files.Calls().written, 300u);
}

// One read for each chunk, also where neither an index nor its codec shows which frames are key frames.
TEST(MendedFile, Reindex_ReadsLittleMoreThanTheHeadersOfChunks)
{
    constexpr size_t kFrames = 300;
    for (const char* const codec : {"abcd", "MJPG"})
    {
        SKrTestBitmapInfo format;
        format.compression = codec;
        SKrSimpleAvi avi;
        avi.streams = {VideoStream(std::vector<uint32_t>(kFrames, 2'000'000), format)};
        avi.index = EKrIndexKind::None;
        CKrMemoryFileSystem memory;
        memory.Set(kWideFile, BuildSimpleAvi(avi).content);
        CKrCountingFileSystem files(memory);
        CKrMendedFile file(files, kFile);
        KrTool::CKrProgress silent(KrTool::EKrProgressMode::None, "reindex");
        EXPECT_EQ(file.Change(KrTool::PlanReindex(file, silent).patches, "reindex").ranges, 2u);
        EXPECT_LT(files.Calls().reads, kFrames + 50);
    }
}

// Its checksum is right, and its numbers lead out of the file: it is no record, and nothing is written.
TEST(MendedFile, UndoFileWithImpossibleRanges_ChangesNothing)
{
    const KrBytes content(3000, uint8_t{7});
    const KrBytes some(20, uint8_t{9});
    KrTool::SKrUndoRecord possible;
    possible.verb = "set";
    possible.oldSize = 2500;
    possible.newSize = 3000;
    possible.ranges = {{100, some, some, 0, 0}, {2490, KrBytes(10), KrBytes(10), 490, 0}};
    EXPECT_TRUE(KrTool::DecodeUndoRecord(Encode(possible)));
    using Ranges = std::vector<KrTool::SKrUndoRange>;
    const Ranges impossible[] = {{{UINT64_MAX - 9, some, some, 0, 0}}, // its end is a small number again
                                 {{2490, some, some, 0, 0}},           // bytes that the file did not have
                                 {{2500, {}, {}, 501, 0}},             // more than were added
                                 {{400, {}, {}, 10, 0}},               // added in the middle
                                 {{110, some, some, 0, 0}, {100, some, some, 0, 0}}};
    for (const Ranges& ranges : impossible)
    {
        KrTool::SKrUndoRecord record = possible;
        record.ranges = ranges;
        EXPECT_FALSE(KrTool::DecodeUndoRecord(Encode(record)));
        CKrMemoryFileSystem memory;
        memory.Set(kWideFile, KrBytes(content));
        memory.Set(kUndoFile, Encode(record));
        EXPECT_TRUE(CKrMendedFile(memory, kFile).Undo().verb.empty());
        EXPECT_EQ(memory.Content(kWideFile).ToBytes(), content);
    }
}
} // namespace KrTest
