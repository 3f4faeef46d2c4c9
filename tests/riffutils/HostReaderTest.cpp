// The queries on a reader that is not the library's own: they use only the interface and lock nothing.
#include "tests/riffutils/KrHostReader.h"
#include "tests/riffutils/KrQueries.h"
#include "tests/support/KrAviRecords.h"
#include "tests/support/KrThreadGate.h"

using namespace KrTest;

namespace
{
using SChunk = CHostReader::SKrHostChunk;
using SSegment = CHostReader::SKrHostSegment;
using KrLog = std::vector<std::string>;

SChunk KrlAChunk(uint8_t scanMode)
{
    return {"KrlA", ToBytes(SKrTestKrlA{.scanMode = scanMode, .horizontal = 64, .vertical = 45})};
}

SChunk CtsI(uint8_t scanMode)
{
    return {"CtsI", ToBytes(SKrTestCtsI{.scanMode = scanMode})};
}

SChunk PrmA()
{
    return {"PrmA", ToBytes(SKrTestPrmA{.horizontal = 16, .vertical = 15})};
}

SChunk Junk()
{
    return {"JUNK", KrBytes(40, 0)};
}

IKrRiffReader* Interface(CHostReader& host)
{
    return &host;
}
} // namespace

TEST(HostReader, EachQuery_AnswersFromItsChunks)
{
    CHostReader host({{.children = {Junk(), KrlAChunk(1), PrmA(), CtsI(2)}}});
    IKrRiffReader* const reader = Interface(host);
    EXPECT_EQ(AskMode(reader), Mode(1));
    EXPECT_EQ(AskMode(reader, 1), Mode(1));
    EXPECT_EQ(AskMode(reader, 2), Mode(2)); // the last child comes with a 0
    EXPECT_EQ(AskAspect(reader), Aspect(64, 45));
    EXPECT_EQ(AskAspect(reader, 1), Aspect(64, 45));
    EXPECT_EQ(AskAspect(reader, 2), Aspect(16, 15));
}

TEST(HostReader, NoQuery_TakesOrGivesAReference)
{
    CHostReader host({{.children = {KrlAChunk(0xFF), PrmA(), CtsI(2)}}});
    IKrRiffReader* const reader = Interface(host);
    AskMode(reader);
    AskAspect(reader);
    for (const int flavour : {1, 2, 0, 3, -1})
    {
        AskMode(reader, flavour);
        AskAspect(reader, flavour);
    }
    EXPECT_EQ(host.referencesTaken(), 0);
    EXPECT_EQ(host.referencesGiven(), 0);
}

TEST(HostReader, LengthOf0_EndsEveryQueryAtOnce)
{
    CHostReader host({{.children = {KrlAChunk(1), PrmA(), CtsI(2)}}});
    host.length = 0;
    ExpectNothing(Interface(host));
    EXPECT_EQ(host.Log(), KrLog(6, "GetFileLength"));
}

TEST(HostReader, UnknownFlavour_ReadsNoChunk)
{
    CHostReader host({{.children = {KrlAChunk(1), PrmA(), CtsI(2)}}});
    for (const int flavour : {0, 3, -1})
    {
        EXPECT_EQ(AskMode(Interface(host), flavour), kNoMode);
        EXPECT_EQ(AskAspect(Interface(host), flavour), kNoAspect);
    }
    EXPECT_EQ(host.Log(), KrLog(6, "GetFileLength"));
}

TEST(HostReader, NoSegment_EndsTheSearch)
{
    CHostReader host({});
    EXPECT_EQ(AskMode(Interface(host), 1), kNoMode);
    EXPECT_EQ(host.Log(), (KrLog{"GetFileLength", "FindFirstRiffSegment"}));
    ExpectNothing(Interface(host));
}

TEST(HostReader, FirstSegmentWithoutTheChunk_LeadsToTheLastAndToNoOther)
{
    CHostReader host({{.children = {Junk()}},
                      {.children = {KrlAChunk(0), PrmA(), CtsI(0)}},
                      {.children = {Junk(), KrlAChunk(2), Junk()}}});
    EXPECT_EQ(AskMode(Interface(host)), Mode(2));
    EXPECT_EQ(AskMode(Interface(host), 2), kNoMode);
    EXPECT_EQ(AskAspect(Interface(host), 2), kNoAspect);
}

TEST(HostReader, MiddleSegmentWithoutNode_DoesNotHideTheLast)
{
    CHostReader host(
        {{.children = {Junk()}}, {.children = {}, .hasNode = false}, {.children = {KrlAChunk(2)}}});
    EXPECT_EQ(AskMode(Interface(host), 1), Mode(2));
}

TEST(HostReader, FirstMatch_EndsTheWalk)
{
    CHostReader host({{.children = {KrlAChunk(1), Junk(), KrlAChunk(2)}}, {.children = {KrlAChunk(0)}}});
    EXPECT_EQ(AskMode(Interface(host), 1), Mode(1));
    const KrLog log = host.Log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "FindFirstSubChunk"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), "FindNextSubChunk"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), "ReadChunkData"), 1);
}

TEST(HostReader, WalkThatDoesNotStartInTheFirstSegment_EndsTheSearch)
{
    CHostReader host(
        {{.children = {KrlAChunk(1)}, .walkFails = true}, {.children = {KrlAChunk(2), PrmA(), CtsI(2)}}});
    ExpectNothing(Interface(host));
    const KrLog log = host.Log();
    // one start for each of eight chunk searches, each in the first segment
    EXPECT_EQ(std::count(log.begin(), log.end(), "FindFirstSubChunk"), 8);
    EXPECT_EQ(std::count(log.begin(), log.end(), "FindNextSubChunk"), 0);
}

TEST(HostReader, WalkThatDoesNotStartInTheLastSegment_EndsTheSearch)
{
    CHostReader host({{.children = {Junk()}}, {.children = {KrlAChunk(2)}, .walkFails = true}});
    ExpectNothing(Interface(host));
}

TEST(HostReader, MatchWithoutNode_DoesNotCount)
{
    SChunk nodeless = KrlAChunk(1);
    nodeless.hasNode = false;
    CHostReader host({{.children = {nodeless}}});
    ExpectNothing(Interface(host));
    CHostReader first({{.children = {Junk(), nodeless, Junk()}}});
    ExpectNothing(Interface(first));
    CHostReader second({{.children = {nodeless, KrlAChunk(2)}}});
    EXPECT_EQ(AskMode(Interface(second), 1), Mode(2)) << "the next one does";
}

TEST(HostReader, FirstSegmentWithoutNode_EndsTheSearch)
{
    CHostReader host({{.hasNode = false}, {.children = {KrlAChunk(1)}}, {.children = {KrlAChunk(2)}}});
    ExpectNothing(Interface(host));
}

TEST(HostReader, ReadThatFallsShort_IsAFailure)
{
    for (SChunk chunk : {KrlAChunk(1), PrmA(), CtsI(1)})
    {
        chunk.readable = chunk.data.size() - 1;
        CHostReader host({{.children = {chunk}}});
        ExpectNothing(Interface(host));
    }
}

TEST(HostReader, ReadThatReturnsNothing_IsAFailure)
{
    for (SChunk chunk : {KrlAChunk(1), PrmA(), CtsI(1)})
    {
        chunk.readable = 0;
        CHostReader host({{.children = {chunk}}});
        ExpectNothing(Interface(host));
    }
}

// Each query stops inside the host's reader until both have arrived: nothing serialises them.
TEST(HostReader, QueriesOfTwoThreads_RunAtTheSameTime)
{
    CKrThreadGate gate;
    CHostReader host({{.children = {KrlAChunk(1)}}});
    host.inFirstSegment = [&]
    {
        gate.Pass();
    };
    SKrModeAnswer answers[2];
    {
        std::jthread first([&] { answers[0] = AskMode(Interface(host)); });
        std::jthread second([&] { answers[1] = AskMode(Interface(host)); });
        const CKrGateOpener opener(gate);
        EXPECT_TRUE(gate.WaitForArrival(2));
    }
    EXPECT_EQ(answers[0], Mode(1));
    EXPECT_EQ(answers[1], Mode(1));
}

TEST(HostReader, BesideReadersOfTheLibrary_IsNotMistakenForOne)
{
    const CKrRef<IKrRiffReader> before = NewReader();
    CHostReader host({{.children = {KrlAChunk(1)}}});
    const CKrRef<IKrRiffReader> after = NewReader();
    EXPECT_EQ(AskMode(Interface(host)), Mode(1));
    ExpectNothing(after.Get());
    EXPECT_EQ(AskMode(Interface(host)), Mode(1));
    EXPECT_EQ(host.referencesTaken(), 0);
}
