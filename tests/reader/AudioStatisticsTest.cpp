// The summary of the audio chunks that comes with the audio index.
#include "tests/reader/AudioStatisticsSupport.h"
#include "tests/reader/StreamIndexSupport.h"

using namespace KrTest;

namespace
{
class AudioPattern : public StreamIndexTest
{
protected:
    // The summary of a stream with chunks of these sizes.
    KrSizes Load(const KrSizes& sizes, EKrIndexKind index)
    {
        SKrSimpleAvi avi;
        avi.index = index;
        avi.streams = {VideoStream({10}), PcmStream(sizes)};
        BuildAndOpen(avi);
        EXPECT_EQ(LoadAudio(), 1);
        EXPECT_EQ(m_entries.GetSize(), static_cast<intptr_t>(sizes.size()));
        return ToWords(m_pattern);
    }
};
} // namespace

TEST_F(AudioPattern, EqualChunksWithAShortLast_GiveTheCommonSize)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
        EXPECT_EQ(Load({80, 80, 80, 80, 80, 12}, index), (KrSizes{1, 80, 1, 12}));
}

TEST_F(AudioPattern, RepeatingChunks_GiveThePeriod)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
        EXPECT_EQ(Load({8, 8, 4, 8, 4, 8, 8, 4, 8, 4, 8, 8}, index), (KrSizes{1, 32, 5, 8}));
}

TEST_F(AudioPattern, IrregularChunks_GiveTheTotalsOfTheQuarters)
{
    for (const EKrIndexKind index : {EKrIndexKind::Idx1, EKrIndexKind::OpenDml})
    {
        EXPECT_EQ(Load({4, 8, 12, 16, 20, 24, 28, 32, 36}, index),
                  (KrSizes{4 + 8, 12 + 16, 20 + 24, 28 + 32 + 36}));
    }
}
