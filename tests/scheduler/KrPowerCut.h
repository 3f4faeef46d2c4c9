// Recordings whose power goes. KR_CRASHES says how many states of the disk each test looks at; the usual
// 5,000 take seconds.
#ifndef KR_TESTS_SCHEDULER_KRPOWERCUT_H
#define KR_TESTS_SCHEDULER_KRPOWERCUT_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "tests/scheduler/KrEverySeed.h"
#include "tests/scheduler/KrYieldingFileSystem.h"
#include "tests/support/KrCrashFileSystem.h"
#include "tests/support/KrMemoryFileSystem.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace KrTest
{
[[nodiscard]] inline uint64_t CrashStates()
{
    return NumberFromEnvironment("KR_CRASHES", 5000);
}

// What our reader says of a file.
struct SKrFound
{
    bool opened = false;
    std::vector<SKrChunkIndexEntry> video;
    std::vector<SKrChunkIndexEntry> audio;
};
[[nodiscard]] SKrFound FindByReader(const KrBytes& bytes);

// One recording, its worker and its flushes in an order that the seed chooses.
class CKrPowerCut
{
public:
    explicit CKrPowerCut(uint64_t seed) : m_random(seed) {}

    void Record(CKrScheduler& scheduler, uint32_t flags);

    [[nodiscard]] bool HasAudio() const { return m_hasAudio; }
    [[nodiscard]] const KrBytes& Whole() const { return m_whole; }   // the file after the close
    [[nodiscard]] const SKrFound& All() const { return m_all; }      // that it names
    [[nodiscard]] uint64_t DurableSize() const { return m_durable; } // what the last crash could not undo

    // What the disk holds after a crash at some moment since the return of OpenFile.
    [[nodiscard]] KrBytes Crash();

private:
    void RecordFile(uint32_t flags);

    CKrMemoryFileSystem m_memory;
    CKrCrashFileSystem m_crashes{m_memory};
    CKrYieldingFileSystem m_files{m_crashes};
    std::mt19937_64 m_random;
    size_t m_opened = 0; // events when OpenFile returned
    bool m_hasAudio = false;
    KrBytes m_whole;
    SKrFound m_all;
    uint64_t m_durable = 0;
};

// Calls `look` with the recording and the crashed bytes, for so many states. Stops at a seed that fails.
template <class Action>
void ForEveryCrash(uint32_t flags, uint64_t states, Action look)
{
    constexpr uint64_t kStatesOfARecording = 25;
    for (uint64_t seed = 0; seed < states / kStatesOfARecording && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        CKrScheduler scheduler(seed);
        CKrPowerCut cut(seed);
        cut.Record(scheduler, flags);
        for (uint64_t state = 0; state < kStatesOfARecording; ++state)
        {
            const KrBytes crashed = cut.Crash();
            look(cut, crashed);
        }
    }
}
} // namespace KrTest

#endif
