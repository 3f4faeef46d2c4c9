// The chunk lookup against a plain one over random bytes: its shortcuts must not change the result.
#include "tests/reader/ChunkLookupSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

using namespace KrTest;

namespace
{
class CRandom
{
public:
    explicit CRandom(uint32_t seed) : m_engine(seed) {}

    // The same on every platform, unlike the standard distributions.
    uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(m_engine()) % limit; }
    bool OneIn(uint32_t count) { return Below(count) == 0; }

private:
    std::mt19937 m_engine;
};

// Often a container, for whichever mode.
constexpr std::array<const char*, 8> kIds = {"RIFF", "LIST", "RIFF", "LIST", "JUNK", "00dc", "movi", "AVI "};

uint32_t RandomId(CRandom& random)
{
    return FourCcValue(kIds[random.Below(kIds.size())]);
}

uint32_t RandomSize(CRandom& random)
{
    switch (random.Below(10))
    {
    case 0:
        return 0;
    case 1:
        return 0xFFFFFFFF - random.Below(4);
    case 2:
        return random.Below(300);
    default:
        return random.Below(24);
    }
}

// Zeros, ids, headers, sizes and single bytes, in any order and at any alignment.
KrBytes RandomBytes(CRandom& random, size_t length, uint32_t longestRun)
{
    CKrTestByteWriter out;
    while (out.Bytes().size() < length)
    {
        switch (random.Below(12))
        {
        case 0:
        case 1:
            out.Fill(random.Below(longestRun), 0);
            break;
        case 2:
            out.U32(RandomId(random));
            break;
        case 3:
            out.U32(RandomSize(random));
            break;
        case 4:
            out.U8(static_cast<uint8_t>(random.Below(256)));
            break;
        case 5:
            out.U32(RandomId(random)).U32(RandomSize(random)).U32(RandomId(random));
            break;
        default:
        {
            const uint32_t size = random.Below(9);
            out.U32(RandomId(random)).U32(size).Fill(size, static_cast<uint8_t>(random.Below(3)));
            break;
        }
        }
    }
    KrBytes bytes = out.Bytes();
    bytes.resize(length);
    return bytes;
}

SKrLookupCase RandomCase(CRandom& random, uint32_t length)
{
    static constexpr std::array kModes = {EKrLookupMode::AnyChunk, EKrLookupMode::RiffOnly,
                                          EKrLookupMode::ListOnly};
    static constexpr std::array kLimits = {-1, 0, 0, 1, 2, 5, 5, 9};
    SKrLookupCase lookup;
    lookup.start = random.OneIn(2) ? 0 : random.Below(random.OneIn(2) ? length + 3 : 8);
    lookup.id = random.OneIn(3) ? RandomId(random) : 0;
    lookup.type = random.OneIn(3) ? RandomId(random) : 0;
    lookup.mode = kModes[random.Below(kModes.size())];
    lookup.zeroLimit = kLimits[random.Below(kLimits.size())];
    if (random.OneIn(3))
    {
        SKrRiffChunkInfo parent = {};
        parent.offset = random.OneIn(2) ? 0 : random.Below(length + 3);
        parent.cksize = random.OneIn(4) ? RandomSize(random) : random.Below(length + 3);
        lookup.parent = parent;
    }
    return lookup;
}

std::string Describe(const KrBytes& bytes, const SKrLookupCase& lookup)
{
    std::string text = "start " + std::to_string(lookup.start) + ", id " + std::to_string(lookup.id) +
                       ", type " + std::to_string(lookup.type) + ", mode " +
                       std::to_string(static_cast<int>(lookup.mode)) + ", zero limit " +
                       std::to_string(lookup.zeroLimit);
    if (lookup.parent)
        text += ", parent " + std::to_string(lookup.parent->offset) + " + " +
                std::to_string(lookup.parent->cksize);
    text += ", " + std::to_string(bytes.size()) + " bytes:";
    for (size_t index = 0; index < std::min<size_t>(bytes.size(), 300); ++index)
        text += (index % 4 == 0 ? " " : "") + std::to_string(bytes[index]) + ".";
    return text;
}

// Chunks found, by mode.
struct STally
{
    size_t anyChunk = 0;
    size_t riff = 0;
    size_t list = 0;
    size_t notFound = 0;

    void Count(EKrLookupMode mode, bool found)
    {
        ++(!found                            ? notFound
           : mode == EKrLookupMode::AnyChunk ? anyChunk
           : mode == EKrLookupMode::RiffOnly ? riff
                                             : list);
    }
};

// Compares lookups over `files` random files. False after the first difference.
bool Compare(uint32_t seed, size_t files, size_t lookupsPerFile, uint32_t longestFile, uint32_t longestRun,
             STally& tally)
{
    CRandom random(seed);
    for (size_t number = 0; number < files; ++number)
    {
        const uint32_t length = random.Below(longestFile);
        const KrBytes bytes = RandomBytes(random, length, longestRun);
        CKrBytesFile file(bytes);
        CKrFileCursor cursor;
        cursor.Attach(file, bytes.size());
        for (size_t count = 0; count < lookupsPerFile; ++count)
        {
            const SKrLookupCase lookup = RandomCase(random, length);
            const SKrLookupOutcome expected = RunPlainLookup(bytes, lookup);
            const SKrLookupOutcome outcome = RunLookup(cursor, lookup);
            tally.Count(lookup.mode, expected.found);
            EXPECT_EQ(outcome, expected) << "file " << number << ": " << Describe(bytes, lookup);
            if (!(outcome == expected))
                return false;
        }
    }
    return true;
}
} // namespace

TEST(ChunkLookupReference, SmallFilesDenseInZeros_GiveTheSameAsThePlainLookup)
{
    for (uint32_t seed = 1; seed <= 20; ++seed)
    {
        STally tally;
        ASSERT_TRUE(Compare(seed, 1000, 12, 120, 14, tally)) << "seed " << seed;
        EXPECT_GT(tally.anyChunk, 1000u) << "seed " << seed;
        EXPECT_GT(tally.riff, 100u) << "seed " << seed;
        EXPECT_GT(tally.list, 100u) << "seed " << seed;
        EXPECT_GT(tally.notFound, 2000u) << "seed " << seed;
    }
}

TEST(ChunkLookupReference, TinyFiles_GiveTheSameAsThePlainLookup)
{
    for (uint32_t seed = 101; seed <= 105; ++seed)
    {
        STally tally;
        ASSERT_TRUE(Compare(seed, 4000, 6, 24, 6, tally)) << "seed " << seed;
        EXPECT_GT(tally.anyChunk, 300u) << "seed " << seed;
    }
}

// Longer than what is read ahead, with runs that the jump over zeros crosses in several steps.
TEST(ChunkLookupReference, LargeFilesWithLongZeroRuns_GiveTheSameAsThePlainLookup)
{
    STally tally;
    ASSERT_TRUE(Compare(201, 20, 30, 400'000, 150'000, tally));
    EXPECT_GT(tally.anyChunk, 30u);
    ASSERT_TRUE(Compare(202, 30, 60, 30'000, 2'000, tally));
    EXPECT_GT(tally.anyChunk, 100u);
}

// Every possible lookup over a few bytes around the end of a run of zeros and the end of the file.
TEST(ChunkLookupReference, EveryLookupOverZerosAndOneList_GivesTheSameAsThePlainLookup)
{
    size_t found = 0;
    for (uint32_t before = 0; before <= 14; ++before)
    {
        for (uint32_t after = 0; after <= 14; ++after)
        {
            const KrBytes bytes = CKrTestByteWriter()
                                      .Fill(before, 0)
                                      .FourCc("LIST")
                                      .U32(4)
                                      .FourCc("movi")
                                      .Fill(after, 0)
                                      .Bytes();
            const uint32_t length = static_cast<uint32_t>(bytes.size());
            for (uint32_t choice = 0; choice < 3 * 3 * 2 * (length + 2); ++choice)
            {
                SKrLookupCase lookup;
                lookup.mode = std::array{EKrLookupMode::AnyChunk, EKrLookupMode::RiffOnly,
                                         EKrLookupMode::ListOnly}[choice % 3];
                lookup.zeroLimit = std::array{0, 5, 1}[choice / 3 % 3];
                lookup.id = choice / 9 % 2 == 0 ? 0 : FourCcValue("JUNK");
                const uint32_t parentSize = choice / 18; // the last one means no parent
                if (parentSize <= length)
                    lookup.parent =
                        SKrRiffChunkInfo{.ckid = 0, .cksize = parentSize, .fccType = 0, .offset = 0};
                const SKrLookupOutcome expected = RunPlainLookup(bytes, lookup);
                ASSERT_EQ(RunLookup(bytes, lookup), expected) << Describe(bytes, lookup);
                found += expected.found ? 1 : 0;
            }
        }
    }
    EXPECT_GT(found, 1000u);
}
