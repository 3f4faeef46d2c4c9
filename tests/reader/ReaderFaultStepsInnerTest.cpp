// Each operation with every one of its calls to the file system failing or falling short in turn.
#include "tests/reader/ReaderFaultSupport.h"

using namespace KrTest;

namespace
{
constexpr size_t kShortReads[] = {0, 1, 7, 8, 11, 12, 31, 33, 100};

class ReaderFaultSteps : public testing::TestWithParam<std::tuple<SKrReaderStep, EKrIndexKind>>
{
protected:
    void SetUp() override
    {
        m_memory.Set(L"a.avi", BuildSimpleAvi(FaultyAvi(std::get<1>(GetParam()))).content);
        CKrRiffReader reader(m_memory);
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        m_truth = Step(reader);
        ASSERT_EQ(m_truth.status, 1);
        ASSERT_FALSE(m_truth.seen.empty());
    }

    static SKrOutcome Step(IKrRiffReader& reader) { return std::get<0>(GetParam()).run(reader); }
    static bool IsLoad()
    {
        return std::string("Video Audio").find(std::get<0>(GetParam()).name) != std::string::npos;
    }

    // Opens without faults, then does the step with the fault that `plan` makes. False when no fault
    // occurred.
    template <class Plan, class Check>
    bool RunWith(Plan&& plan, Check&& check)
    {
        CKrRiffReader reader(m_files);
        m_files.Reset();
        EXPECT_EQ(reader.Open(L"a.avi"), 1);
        m_files.Reset();
        plan();
        const SKrOutcome outcome = Step(reader);
        if (!m_files.FaultStruck())
        {
            EXPECT_EQ(outcome, m_truth);
            return false;
        }
        EXPECT_TRUE(IsPartOf(outcome.seen, m_truth.seen)) << testing::PrintToString(outcome);
        check(outcome);
        EXPECT_TRUE(OtherThreadsGetTheLock(reader));
        ExpectSound(reader);
        return true;
    }

    // The same reader works correctly once the faults are over.
    void ExpectSound(CKrRiffReader& reader)
    {
        m_files.Reset();
        reader.Close();
        EXPECT_EQ(reader.GetFileLength(), 0u);
        ASSERT_EQ(reader.Open(L"a.avi"), 1);
        EXPECT_EQ(Step(reader), m_truth);
    }

    // One run for every call, up to the run without a fault. Returns how many runs had one.
    template <class Plan, class Check>
    uint64_t ForEveryCall(Plan&& plan, Check&& check)
    {
        uint64_t number = 1;
        while (!HasFailure() && RunWith([&] { plan(number); }, check))
            ++number;
        m_struck += number - 1;
        RecordProperty("struck", std::to_string(m_struck));
        return number - 1;
    }

    CKrMemoryFileSystem m_memory;
    CKrFaultyFileSystem m_files{m_memory};
    SKrOutcome m_truth;
    uint64_t m_struck = 0; // runs of this test with a fault, for the report
};
} // namespace

INSTANTIATE_TEST_SUITE_P(All, ReaderFaultSteps,
                         testing::Combine(testing::ValuesIn(kReaderSteps),
                                          testing::Values(EKrIndexKind::Idx1, EKrIndexKind::OpenDml)),
                         [](const auto& value)
                         {
                             const bool old = std::get<1>(value.param) == EKrIndexKind::Idx1;
                             return std::string(std::get<0>(value.param).name) + (old ? "Old" : "OpenDml");
                         });

TEST_P(ReaderFaultSteps, FailedRead_EndsTheStepWithAStatus)
{
    for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
    {
        const uint64_t struck =
            ForEveryCall([&](uint64_t number) { m_files.FailCall(EKrFileCall::Read, number, span); },
                         [&](const SKrOutcome& outcome)
                         {
                             if (IsLoad()) // unread content is never invented
                                 EXPECT_EQ(outcome.status, 0);
                             else
                                 EXPECT_FALSE(outcome.threw);
                         });
        EXPECT_GE(struck, 1u);
    }
}

TEST_P(ReaderFaultSteps, ShortRead_IsTreatedAsTheEndOfTheFile)
{
    for (const EKrFaultSpan span : {EKrFaultSpan::Once, EKrFaultSpan::FromThenOn})
    {
        for (const size_t bytes : kShortReads)
        {
            const uint64_t struck =
                ForEveryCall([&](uint64_t number) { m_files.ShortenRead(number, bytes, span); },
                             [&](const SKrOutcome& outcome) { EXPECT_TRUE(IsLoad() || !outcome.threw); });
            EXPECT_GE(struck, 1u) << bytes;
        }
    }
}
