// The power goes: whatever the disk then holds of a power-safe recording can be opened, and its indexes name
// nothing that is not there.
#include "tests/scheduler/KrPowerCut.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace KrTest
{
namespace
{
// How many entries name something else than the chunk of the whole file in their place.
size_t WrongNames(const std::vector<SKrChunkIndexEntry>& entries, const std::vector<SKrChunkIndexEntry>& all,
                  const KrBytes& crashed, const KrBytes& whole)
{
    size_t wrong = entries.size() > all.size() ? entries.size() - all.size() : 0;
    for (size_t number = 0; number < std::min(entries.size(), all.size()); ++number)
    {
        const SKrChunkIndexEntry& entry = entries[number];
        const uint64_t end = all[number].position + all[number].size;
        const bool isRight = entry.position == all[number].position && entry.size == all[number].size &&
                             end <= crashed.size() &&
                             std::equal(whole.begin() + static_cast<ptrdiff_t>(entry.position) - 8,
                                        whole.begin() + static_cast<ptrdiff_t>(end),
                                        crashed.begin() + static_cast<ptrdiff_t>(entry.position) - 8);
        wrong += isRight ? 0 : 1;
    }
    return wrong;
}
} // namespace

TEST(PowerCut, PowerSafeRecordings_CanBeOpenedAndNameOnlyWhatIsThere)
{
    uint64_t withFrames = 0;
    uint64_t withoutAll = 0;
    ForEveryCrash(kKrRecordingPowerSafe, CrashStates(),
                  [&](const CKrPowerCut& cut, const KrBytes& crashed)
                  {
                      const SKrFound found = FindByReader(crashed);
                      EXPECT_TRUE(found.opened);
                      EXPECT_EQ(WrongNames(found.video, cut.All().video, crashed, cut.Whole()), 0u);
                      EXPECT_EQ(WrongNames(found.audio, cut.All().audio, crashed, cut.Whole()), 0u);
                      withFrames += found.video.empty() ? 0 : 1;
                      withoutAll += found.video.size() < cut.All().video.size() ? 1 : 0;
                  });
    EXPECT_GT(withFrames, CrashStates() / 10) << "else nothing is shown";
    EXPECT_GT(withoutAll, CrashStates() / 10);
}

// Why there is the option: the system writes pages in any order.
TEST(PowerCut, OtherRecordings_MayNameWhatIsNotThere)
{
    uint64_t broken = 0;
    ForEveryCrash(0, 250,
                  [&](const CKrPowerCut& cut, const KrBytes& crashed)
                  {
                      const SKrFound found = FindByReader(crashed);
                      broken +=
                          !found.opened || WrongNames(found.video, cut.All().video, crashed, cut.Whole()) != 0
                              ? 1
                              : 0;
                  });
    EXPECT_GT(broken, 0u);
}
} // namespace KrTest
