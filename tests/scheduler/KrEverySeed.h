// Runs a scenario with many seeds. KR_SEEDS sets their number, KR_SEED selects a single one, for a replay;
// KR_SHOW_SEEDS prints each before it runs, so that the seed of a crash is known.
#ifndef KR_TESTS_SCHEDULER_KREVERYSEED_H
#define KR_TESTS_SCHEDULER_KREVERYSEED_H

#include "tests/scheduler/KrScheduler.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace KrTest
{
inline uint64_t NumberFromEnvironment(const char* name, uint64_t otherwise)
{
    const char* const text = std::getenv(name);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

// `scenario` adds its activities to the scheduler, runs it, and asserts. Stops at the first seed that fails.
template <class Scenario>
void WithEverySeed(Scenario scenario)
{
    constexpr uint64_t kUsualSeeds = 1000;
    const uint64_t first = NumberFromEnvironment("KR_SEED", 0);
    const uint64_t count =
        std::getenv("KR_SEED") != nullptr ? 1 : NumberFromEnvironment("KR_SEEDS", kUsualSeeds);
    const bool show = std::getenv("KR_SHOW_SEEDS") != nullptr;
    for (uint64_t seed = first; seed < first + count && !testing::Test::HasFailure(); ++seed)
    {
        SCOPED_TRACE("KR_SEED=" + std::to_string(seed));
        if (show)
            std::fprintf(stderr, "seed %llu\n", static_cast<unsigned long long>(seed));
        CKrScheduler scheduler(seed);
        scenario(scheduler);
    }
}
} // namespace KrTest

#endif
