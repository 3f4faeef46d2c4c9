// Every call of the writer to the file system failing or falling short in turn, in each operation; the number
// of these runs is printed as a table.
#include "format/KrBytes.h"
#include "tests/writer/KrRecorder.h"

#include <cstdio>
#include <functional>

using namespace KrTest;

namespace
{
constexpr size_t kLargeFrame = 60'000'000;

// The effect of a fault on the file.
enum class EKrHarm
{
    None,     // none
    Unmapped, // headers or indexes stay empty
    Ends      // writing ends
};

struct SKrFault
{
    const char* name;
    std::function<void(CKrFaultyFileSystem&, uint64_t)> plan;
    EKrHarm harm = EKrHarm::Ends;
};

SKrFault Failing(const char* name, EKrFileCall call, EKrFaultSpan span, EKrHarm harm = EKrHarm::Ends)
{
    return {name, [=](CKrFaultyFileSystem& files, uint64_t number) { files.FailCall(call, number, span); },
            harm};
}

SKrFault Short(const char* name, size_t bytes, EKrFaultSpan span)
{
    return {name, [=](CKrFaultyFileSystem& files, uint64_t number)
            {
                files.ShortenWrite(number, bytes, span);
            }};
}

std::vector<SKrFault> Faults()
{
    constexpr EKrFaultSpan once = EKrFaultSpan::Once;
    constexpr EKrFaultSpan always = EKrFaultSpan::FromThenOn;
    return {Failing("write fails", EKrFileCall::Write, once),
            Failing("all writes fail", EKrFileCall::Write, always),
            Short("write of 0 bytes", 0, once),
            Short("write of 7 bytes", 7, once),
            Short("write of 100 bytes", 100, always),
            Failing("flush fails", EKrFileCall::Flush, once, EKrHarm::None),
            Failing("all flushes fail", EKrFileCall::Flush, always, EKrHarm::None),
            Failing("map fails", EKrFileCall::Map, once, EKrHarm::Unmapped),
            Failing("all maps fail", EKrFileCall::Map, always, EKrHarm::Unmapped),
            Failing("create fails", EKrFileCall::Create, once),
            Failing("delete fails", EKrFileCall::Delete, once),
            Failing("existence query fails", EKrFileCall::Exists, once, EKrHarm::None),
            Failing("sector query fails", EKrFileCall::SectorQuery, once, EKrHarm::None)};
}

// One operation, before which everything succeeds. Returns how many frames were accepted by then.
struct SKrOperation
{
    const char* name;
    bool needsOpen;
    bool isTheClose;
    std::function<size_t(CKrRecorder&)> before;
    std::function<void(CKrRecorder&)> run;
};

size_t Record(CKrRecorder& recorder, size_t pairs)
{
    size_t frames = 0;
    while (frames < pairs && recorder.AddPatternAudio(kBytesOf25thSecond) != 0 &&
           recorder.AddPatternVideo(100) != 0)
        ++frames;
    return frames;
}

size_t RecordLarge(CKrRecorder& recorder)
{
    size_t frames = 0;
    while (frames < 17 && recorder.AddPatternAudio(kBytesOf25thSecond) != 0 &&
           recorder.AddZeroVideo(kLargeFrame) != 0)
        ++frames;
    return frames;
}

const SKrOperation kOperations[] = {
    {"open", false, false, [](CKrRecorder&) { return size_t{0}; },
     [](CKrRecorder& recorder)
     {
         recorder.Open(WithAudio());
     }},
    {"write", true, false, [](CKrRecorder& recorder) { return Record(recorder, 30); },
     [](CKrRecorder& recorder)
     {
         Record(recorder, 60);
     }},
    {"roll over", true, false, [](CKrRecorder& recorder) { return RecordLarge(recorder); },
     [](CKrRecorder& recorder)
     {
         recorder.AddZeroVideo(kLargeFrame);
         recorder.AddPatternAudio(kBytesOf25thSecond);
         recorder.AddZeroVideo(kLargeFrame);
     }},
    {"close", true, true, [](CKrRecorder& recorder) { return Record(recorder, 40); },
     [](CKrRecorder& recorder)
     {
         recorder.writer->CloseFile();
     }}};

void ExpectNothingLeft(CKrRecorder& recorder)
{
    EXPECT_EQ(recorder.files.OpenFiles(), 0u);
    EXPECT_EQ(recorder.files.OpenViews(), 0u);
    EXPECT_EQ(CKrTestSample::Alive(), 0);
}

// One run. False when the fault never occurred.
bool RunWith(const SKrOperation& operation, const SKrFault& fault, uint64_t number)
{
    CKrRecorder recorder(EKrWorker::None);
    recorder.files.Set(kRecordedPath, KrBytes{1}); // an old file, to be deleted
    size_t frames = 0;
    if (operation.needsOpen)
    {
        EXPECT_EQ(recorder.Open(WithAudio()), 1);
        frames = operation.before(recorder);
    }
    recorder.faults.Reset();
    fault.plan(recorder.faults, number);
    operation.run(recorder);
    const bool struck = recorder.faults.FaultStruck();
    recorder.faults.FailCall(EKrFileCall::Open, 0); // the fault is over
    recorder.writer->CloseFile();
    ExpectNothingLeft(recorder);
    if (!struck)
    {
        recorder.Check();
        return false;
    }
    if (operation.needsOpen && fault.harm == EKrHarm::Ends)
    {
        // The following close completes the file; anything that it does not write was flushed before.
        EXPECT_GE(FramesReadable(recorder.Content()), operation.isTheClose ? frames / 25 * 25 : frames);
    }
    if (operation.needsOpen && fault.harm == EKrHarm::None)
        recorder.Check();
    EXPECT_EQ(recorder.Open(WithAudio()), 1) << "the writer is as good as new";
    EXPECT_EQ(Record(recorder, 3), 3u);
    EXPECT_EQ(recorder.Close().video.size(), 3u);
    return true;
}
} // namespace

TEST(WriterFaultTable, EveryFaultInEveryOperation)
{
    uint64_t all = 0;
    for (const SKrOperation& operation : kOperations)
    {
        for (const SKrFault& fault : Faults())
        {
            SCOPED_TRACE(std::string(operation.name) + ", " + fault.name);
            uint64_t number = 1;
            while (!testing::Test::HasFailure() && RunWith(operation, fault, number))
                ++number;
            if (number > 1)
                std::printf("| %-9s | %-21s | %5d |\n", operation.name, fault.name,
                            static_cast<int>(number - 1));
            all += number - 1;
        }
    }
    std::printf("| all       |                       | %5d |\n", static_cast<int>(all));
    EXPECT_GT(all, 300u);
}
