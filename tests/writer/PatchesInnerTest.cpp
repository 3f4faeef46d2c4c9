// Patches that wait for flushes: names until the bytes are on the disk, counts until the names are.
#include "tests/support/KrFileContent.h"
#include "tests/support/KrManualClock.h"
#include "writer/KrPatches.h"

#include <gtest/gtest.h>

using namespace KrTest;

namespace
{
class Patches : public testing::Test
{
protected:
    class CView final : public IKrMappedView
    {
    public:
        uint8_t* Data() override { return bytes.data(); }
        KrBytes bytes = KrBytes(16);
    };

    // A flush with that outcome; what it finds in the view is kept.
    auto Flush(std::vector<bool> outcomes)
    {
        return [this, outcomes, number = size_t{0}]() mutable
        {
            m_seen.push_back(m_view->bytes);
            return outcomes.at(number++);
        };
    }

    void Put(size_t at, uint8_t value, EKrPatch kind) { m_patches.Put({m_view, at}, KrBytes{value}, kind); }

    [[nodiscard]] KrBytes First(size_t count) const
    {
        return {m_view->bytes.begin(), m_view->bytes.begin() + static_cast<ptrdiff_t>(count)};
    }

    std::shared_ptr<CView> m_view = std::make_shared<CView>();
    std::vector<KrBytes> m_seen; // at each flush
    CKrManualClock m_clock;
    CKrRecordingStatus m_status{m_clock};
    CKrPatches m_patches{m_status};
};
} // namespace

TEST_F(Patches, AtOnce_ChangeTheView)
{
    Put(0, 1, EKrPatch::Name);
    Put(1, 2, EKrPatch::Count);
    EXPECT_EQ(First(2), (KrBytes{1, 2}));
    m_patches.Put({nullptr, 5}, KrBytes{1}, EKrPatch::Name); // what could not be mapped
}

TEST_F(Patches, Deferred_ComeBetweenFlushes)
{
    m_patches.Defer();
    Put(0, 1, EKrPatch::Name);
    Put(1, 2, EKrPatch::Count);
    m_patches.SetFramesInIndex(7);
    EXPECT_EQ(First(2), (KrBytes{0, 0}));
    m_patches.Publish(Flush({true, true}));
    ASSERT_EQ(m_seen.size(), 2u);
    EXPECT_EQ(m_seen[0], KrBytes(16)) << "first the bytes that are named";
    EXPECT_EQ(m_seen[1][0], 1) << "then the names";
    EXPECT_EQ(m_seen[1][1], 0);
    EXPECT_EQ(First(2), (KrBytes{1, 2})) << "the counts at last";
    EXPECT_EQ(m_status.Snapshot().framesInIndex, 7u);
}

TEST_F(Patches, CountsAlone_NeedOneFlush)
{
    m_patches.Defer();
    Put(1, 2, EKrPatch::Count);
    m_patches.Publish(Flush({true}));
    EXPECT_EQ(m_seen.size(), 1u);
    EXPECT_EQ(First(2), (KrBytes{0, 2}));
}

TEST_F(Patches, FlushesThatFail_HoldThemBack)
{
    m_patches.Defer();
    Put(0, 1, EKrPatch::Name);
    Put(1, 2, EKrPatch::Count);
    m_patches.SetFramesInIndex(7);
    m_patches.Publish(Flush({false}));
    EXPECT_EQ(First(2), (KrBytes{0, 0}));
    m_patches.Publish(Flush({true, false}));
    EXPECT_EQ(First(2), (KrBytes{1, 0})) << "the names are there, the disk may not have them";
    EXPECT_EQ(m_status.Snapshot().framesInIndex, 0u);
    Put(1, 3, EKrPatch::Count);
    Put(2, 4, EKrPatch::Count);
    m_patches.Publish(Flush({true}));
    EXPECT_EQ(First(3), (KrBytes{1, 3, 4})) << "what was put last";
    EXPECT_EQ(m_status.Snapshot().framesInIndex, 7u);
}

TEST_F(Patches, Unflushed_AreAllPut)
{
    m_patches.Defer();
    Put(0, 1, EKrPatch::Name);
    Put(1, 2, EKrPatch::Count);
    m_patches.PublishUnflushed();
    EXPECT_EQ(First(2), (KrBytes{1, 2}));
    m_patches.Publish(Flush({true, true}));
    EXPECT_EQ(m_seen.size(), 1u) << "nothing is left";
}

// The file of what was patched may have given its views back by then.
TEST_F(Patches, ViewsLiveUntilTheirPatchesArePut)
{
    m_patches.Defer();
    Put(0, 1, EKrPatch::Name);
    const std::weak_ptr<CView> view = m_view;
    m_view.reset();
    EXPECT_FALSE(view.expired());
    m_patches.PublishUnflushed();
    EXPECT_TRUE(view.expired());
}
